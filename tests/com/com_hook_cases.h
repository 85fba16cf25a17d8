// Support for the generated per-slot fakes of the Direct3D and DXGI hooks: arguments unique to
// slot and position (structures by value filled byte by byte), results unique to the slot, and
// a record of what each fake received, as bit patterns.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "com_api.h"

namespace tov::comtest {

struct Args {
    Args() = default;
    Args(std::initializer_list<std::uint64_t> list) {
        for (std::uint64_t v : list) values[count++] = v;
    }
    bool operator==(const Args&) const = default;
    std::array<std::uint64_t, 16> values{};
    std::uint32_t count = 0;
};

struct FakeCall {
    std::uint32_t slot;
    Args args;
};
// Every call any fake received, in order (reserve ahead to keep calls allocation-free).
std::vector<FakeCall>& FakeCalls();

inline void Record(std::uint32_t slot, std::initializer_list<std::uint64_t> args) {
    FakeCalls().push_back({slot, Args(args)});
}

// A value as a bit pattern: pointers by address, scalars by their bits, structures by a hash
// of all their bytes.
template <typename T>
std::uint64_t Bits(const T& value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<std::uintptr_t>(value);
    } else if constexpr (std::is_class_v<T> || std::is_union_v<T>) {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        std::uint64_t hash = 0xcbf29ce484222325ull;
        for (unsigned char b : bytes) hash = (hash ^ b) * 0x100000001b3ull;
        return hash;
    } else {
        static_assert(sizeof(T) <= 8);
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof value);
        return bits;
    }
}

inline std::uint64_t Seed(std::uint32_t slot, std::uint32_t position) {
    return 0x5A5A000000000000ull ^ (std::uint64_t{slot} << 20) ^ (std::uint64_t{position} << 8) ^
           (slot * 31u + position * 7u + 1u);
}

// How the callers make their arguments.
enum class ArgMode {
    Unique,    // bit patterns unique to slot and position; nothing may read through the pointers
    Zeroed,    // objects are fake objects, other pointers aim at zeroed memory, integers are 1
    Null,      // null pointers, integers 0
};
inline ArgMode g_argMode = ArgMode::Unique;
// Large enough for any structure a printer reads behind any argument position.
constexpr std::size_t kZeroedBlock = 2048;
alignas(64) inline unsigned char g_zeroedMemory[32 * kZeroedBlock];

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

// An argument no other slot or position receives (for narrow types, as far as the width allows).
// In Unique mode pointers are never valid: a hook that read through one would crash the test.
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    const std::uint64_t seed = Seed(slot, position);
    if (g_argMode != ArgMode::Unique) {
        if constexpr (std::is_same_v<T, const IID*>) {
            // Interface ids are passed by reference: never null.
            return reinterpret_cast<T>(g_zeroedMemory + kZeroedBlock * (position % 32));
        } else if constexpr (ComObjectPointer<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(&g_fakeObject);
        } else if constexpr (std::is_pointer_v<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(g_zeroedMemory + kZeroedBlock * (position % 32));
        } else if constexpr (!std::is_floating_point_v<T> && !std::is_class_v<T> && !std::is_union_v<T>) {
            const std::uint64_t small = g_argMode == ArgMode::Null ? 0 : 1;
            T value;
            std::memcpy(&value, &small, sizeof value);
            return value;
        }
    }
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(static_cast<std::uintptr_t>(seed & ~std::uint64_t{7}));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(slot) + static_cast<T>(position) / 8 + static_cast<T>(0.25);
    } else if constexpr (std::is_class_v<T> || std::is_union_v<T>) {
        unsigned char bytes[sizeof(T)];
        for (std::size_t i = 0; i < sizeof(T); ++i)
            bytes[i] = static_cast<unsigned char>((seed >> (8 * (i % 8))) + i * 13);
        T value;
        std::memcpy(&value, bytes, sizeof(T));
        return value;
    } else {
        T value;
        std::memcpy(&value, &seed, sizeof value);
        return value;
    }
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

struct CallResult {
    Args args;                         // what the caller passed, as bit patterns
    std::uint64_t result;              // what came back, as a bit pattern
    std::uint64_t expected;            // what the slot's fake answers
    bool hasResult;
};

struct HookCase {
    std::uint32_t slot;
    const char* name;                  // the call name
    void* fake;                        // the next function to route the slot to
    CallResult (*call)(void* hook);    // calls a hook through the slot's exact prototype
    bool returnsValue;
};

// Every Direct3D and DXGI slot, in ascending slot order.
const std::vector<HookCase>& ComHookCases();

}  // namespace tov::comtest
