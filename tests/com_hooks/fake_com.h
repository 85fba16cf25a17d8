// Fake COM objects and downstream functions for calling the Direct3D and DXGI hooks through the
// test host, as an application and a driver would.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "com_api.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace tov::comhooks {

// How a fake object answers GetPrivateData for the Capture Time ID.
enum class Tag {
    Id,      // holds its id
    Fails,   // the call fails
};

// The id's GUID, {374D3F62-2ACE-4DF6-B605-9A62B2EA793A}, as its 16 bytes in memory.
inline constexpr unsigned char kCaptureTimeIdGuid[16] = {0x62, 0x3F, 0x4D, 0x37, 0xCE, 0x2A, 0xF6, 0x4D,
                                                         0xB6, 0x05, 0x9A, 0x62, 0xB2, 0xEA, 0x79, 0x3A};

// An object whose virtual table has GetPrivateData alone, at the index of the base interface
// that declares it: a reader that called any other entry would crash the test.
struct FakeObject {
    void* const* lpVtbl = table;
    std::uint64_t id = 0;
    Tag tag = Tag::Id;
    int reads = 0;                 // GetPrivateData calls
    void* table[128] = {};

    FakeObject() = default;
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    template <typename I>
    I* as() { return reinterpret_cast<I*>(this); }

    static HRESULT TOV_COM_CALL GetPrivateData(void* self, const GUID& guid, UINT* size, void* data) {
        auto* object = static_cast<FakeObject*>(self);
        ++object->reads;
        if (object->tag == Tag::Fails) return -2147467259;   // E_FAIL
        if (std::memcmp(&guid, kCaptureTimeIdGuid, sizeof kCaptureTimeIdGuid) != 0)
            return -2005270526;                               // DXGI_ERROR_NOT_FOUND
        if (size == nullptr || *size < sizeof object->id) return -2147024809;
        std::memcpy(data, &object->id, sizeof object->id);
        *size = sizeof object->id;
        return 0;
    }
};

// The object of a base interface (ID3D11DeviceChildVtbl, ID3D11DeviceVtbl, ID3D12ObjectVtbl,
// IDXGIObjectVtbl, or any Vtbl without GetPrivateData for the objects that have no id).
template <typename Vtbl>
void Arm(FakeObject& object, std::uint64_t id, Tag tag = Tag::Id) {
    object.id = id;
    object.tag = tag;
    static_assert(sizeof(Vtbl) <= sizeof object.table);
    if constexpr (requires { &Vtbl::GetPrivateData; })
        object.table[offsetof(Vtbl, GetPrivateData) / sizeof(void*)] =
            reinterpret_cast<void*>(&FakeObject::GetPrivateData);
}

// A downstream function of any COM prototype: counts its calls, runs an optional body (which
// writes out-parameters) and returns a set value.
template <typename F>
struct Next;
template <typename R, typename... A>
struct Next<R(TOV_COM_CALL*)(A...)> {
    static inline R value{};
    static inline int calls = 0;
    static inline std::function<void(A...)> body;
    static R TOV_COM_CALL Fn(A... args) {
        ++calls;
        if (body) body(args...);
        return value;
    }
};
template <typename... A>
struct Next<void(TOV_COM_CALL*)(A...)> {
    static inline int calls = 0;
    static inline std::function<void(A...)> body;
    static void TOV_COM_CALL Fn(A... args) {
        ++calls;
        if (body) body(args...);
    }
};

// The layer loaded in verbose mode, its hooks routed one at a time.
class VerboseLayer {
public:
    VerboseLayer() {
        EXPECT_TRUE(layer_.loaded()) << layer_.error();
        layer_.GetDispatchTable({{u"verbose", u"1"}});
    }
    // Routes the slot to Next<F> and returns the slot's hook through the same prototype.
    template <typename F>
    F Hook(std::size_t slot) {
        layer_.Route(slot, reinterpret_cast<void*>(&Next<F>::Fn));
        return reinterpret_cast<F>(layer_.hook(slot));
    }
    testhost::Layer& layer() { return layer_; }

private:
    testhost::Layer layer_;
};

}  // namespace tov::comhooks
