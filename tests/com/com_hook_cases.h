// Support for the generated per-slot fakes of the Direct3D and DXGI hooks: arguments unique to
// slot and position (structures by value filled byte by byte), results unique to the slot, and
// a record of what each fake received, as bit patterns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "../support/fake_args.h"
#include "com_api.h"

namespace tov::comtest {

using namespace tov::test;

// The Capture Time ID that every fake object of the Zeroed mode holds.
constexpr std::uint64_t kFakeObjectId = 0x2a;
// Stands in every entry of the fake objects' virtual table; the printers only ever call
// GetPrivateData, whose arguments it takes.
inline HRESULT TOV_COM_CALL FakeObjectGetPrivateData(void*, const void*, UINT* size, void* data) {
    if (size == nullptr || data == nullptr || *size < sizeof kFakeObjectId) return -2147024809;
    std::memcpy(data, &kFakeObjectId, sizeof kFakeObjectId);
    return 0;
}
struct FakeObject {
    void* const* lpVtbl;
};
inline void* const g_fakeObjectVtbl[256] = {
#define TOV_FAKE_ENTRY_8 reinterpret_cast<void*>(&FakeObjectGetPrivateData), \
    reinterpret_cast<void*>(&FakeObjectGetPrivateData), reinterpret_cast<void*>(&FakeObjectGetPrivateData), \
    reinterpret_cast<void*>(&FakeObjectGetPrivateData), reinterpret_cast<void*>(&FakeObjectGetPrivateData), \
    reinterpret_cast<void*>(&FakeObjectGetPrivateData), reinterpret_cast<void*>(&FakeObjectGetPrivateData), \
    reinterpret_cast<void*>(&FakeObjectGetPrivateData)
#define TOV_FAKE_ENTRY_64 TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8, \
    TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8, TOV_FAKE_ENTRY_8
    TOV_FAKE_ENTRY_64, TOV_FAKE_ENTRY_64, TOV_FAKE_ENTRY_64, TOV_FAKE_ENTRY_64
#undef TOV_FAKE_ENTRY_64
#undef TOV_FAKE_ENTRY_8
};
inline FakeObject g_fakeObject{g_fakeObjectVtbl};

// Interfaces are the structures that begin with a virtual table.
template <typename T>
concept ComObjectPointer = std::is_pointer_v<T> && requires(T p) { p->lpVtbl; };

// A Direct3D or DXGI argument in the present mode.
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    if (g_argMode != ArgMode::Unique) {
        if constexpr (std::is_same_v<T, const IID*>) {
            // Interface ids are passed by reference: never null.
            return reinterpret_cast<T>(ZeroedBlock(position));
        } else if constexpr (ComObjectPointer<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(&g_fakeObject);
        } else if constexpr (std::is_pointer_v<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(ZeroedBlock(position));
        } else if constexpr (!std::is_floating_point_v<T> && !std::is_class_v<T> && !std::is_union_v<T>) {
            return SmallArg<T>();
        }
    }
    return UniqueArg<T>(slot, position);
}

template <typename T>
T ResultFor(std::uint32_t slot) {
    return ArgFor<T>(slot, 99);
}

// Arguments the API declares as arrays of four numbers, not optional, must be there, and their
// printer reads them without a null test; with null pointers these hooks get zeroed arrays.
inline bool TakesFixedArray(const std::string& name) {
    const std::string method = name.substr(name.find("::") + 2);
    if (method == "OMSetBlendState") return name.rfind("ID3D10", 0) == 0;
    for (const char* m : {"ClearRenderTargetView", "ClearUnorderedAccessViewFloat",
                          "ClearUnorderedAccessViewUint", "ClearView"})
        if (method == m) return true;
    return false;
}

// Every Direct3D and DXGI slot, in ascending slot order.
const std::vector<HookCase>& ComHookCases();

}  // namespace tov::comtest
