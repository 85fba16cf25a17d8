// COM objects in the dump: the object line with and without a capture id, counted arrays, the
// two `void **` forms, and the id read through the right base's GetPrivateData. The fake objects
// have a vtable in which every entry but the expected GetPrivateData traps.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <sstream>
#include <vector>

#include "com_object_printers.h"

using namespace tov::com_values;

namespace {

enum class Tag { Id, Fails, Zero, Short };

struct FakeObject {
    const void* const* vtbl;
    Tag tag;
    std::uint64_t id;
    int privateDataCalls;
};

HRESULT TOV_COM_CALL FakeGetPrivateData(void* self, REFGUID guid, UINT* size, void* data) {
    auto* object = static_cast<FakeObject*>(self);
    ++object->privateDataCalls;
    EXPECT_EQ(std::memcmp(&guid, &kCaptureTimeIdGuid, sizeof guid), 0);
    EXPECT_EQ(*size, 8u);
    switch (object->tag) {
        case Tag::Id: std::memcpy(data, &object->id, 8); return 0;
        case Tag::Zero: std::memset(data, 0, 8); return 0;
        case Tag::Short: std::memcpy(data, &object->id, 4); *size = 4; return 0;
        case Tag::Fails: std::memset(data, 0x77, 8); return static_cast<HRESULT>(0x80004005);
    }
    return 0;
}

void TOV_COM_CALL Trap(void*) { ADD_FAILURE() << "a printer called something other than GetPrivateData"; }

// A vtable whose GetPrivateData sits at the given index.
struct FakeVtable {
    explicit FakeVtable(std::size_t privateDataIndex) : entries(128, reinterpret_cast<const void*>(&Trap)) {
        entries[privateDataIndex] = reinterpret_cast<const void*>(&FakeGetPrivateData);
    }
    std::vector<const void*> entries;
};

constexpr std::size_t kD3D11ChildIndex = offsetof(ID3D11DeviceChildVtbl, GetPrivateData) / sizeof(void*);
constexpr std::size_t kD3D11DeviceIndex = offsetof(ID3D11DeviceVtbl, GetPrivateData) / sizeof(void*);
constexpr std::size_t kD3D12ObjectIndex = offsetof(ID3D12ObjectVtbl, GetPrivateData) / sizeof(void*);
constexpr std::size_t kDxgiObjectIndex = offsetof(IDXGIObjectVtbl, GetPrivateData) / sizeof(void*);

template <typename Interface>
Interface* As(FakeObject& object) {
    return reinterpret_cast<Interface*>(&object);
}

template <typename F>
std::string Text(F print) {
    std::ostringstream os;
    print(os);
    return os.str();
}

TEST(CaptureTimeId, GuidBytesInMemory) {
    const unsigned char expected[16] = {0x62, 0x3F, 0x4D, 0x37, 0xCE, 0x2A, 0xF6, 0x4D,
                                        0xB6, 0x05, 0x9A, 0x62, 0xB2, 0xEA, 0x79, 0x3A};
    EXPECT_EQ(std::memcmp(&kCaptureTimeIdGuid, expected, 16), 0);
}

TEST(ObjectPrinters, OneObjectInEachState) {
    FakeVtable device(kD3D11DeviceIndex);
    struct Row {
        Tag tag;
        std::uint64_t id;
        const char* second;   // the object line
    };
    const Row rows[] = {
        {Tag::Id, 42, "         Capture Time ID: 0x2a ID3D11Device\n"},
        {Tag::Id, 255, "         Capture Time ID: 0xff ID3D11Device\n"},
        {Tag::Id, 0x0123456789abcdefull, "         Capture Time ID: 0x123456789abcdef ID3D11Device\n"},
        {Tag::Zero, 0, "         ID3D11Device\n"},
        {Tag::Fails, 0, "         ID3D11Device\n"},
        {Tag::Short, 0xffffffff000000abull, "         Capture Time ID: 0xab ID3D11Device\n"},
    };
    for (const Row& row : rows) {
        FakeObject object = {device.entries.data(), row.tag, row.id, 0};
        const std::string text = Text([&](std::ostream& os) {
            PrintObject_ID3D11Device(As<ID3D11Device>(object), "ID3D11Device* self", os, 1);
        });
        EXPECT_EQ(text, std::string("    ID3D11Device* self\n") + row.second);
        EXPECT_EQ(object.privateDataCalls, 1);
    }
    EXPECT_EQ(Text([](std::ostream& os) {
                  PrintObject_ID3D11DepthStencilView(nullptr, "ID3D11DepthStencilView * pDepthStencilView", os, 1);
              }),
              "    ID3D11DepthStencilView * pDepthStencilView NULLPTR\n");
}

TEST(ObjectPrinters, EachInterfaceReadsThroughTheBaseThatDeclaresGetPrivateData) {
    FakeVtable child(kD3D11ChildIndex), device(kD3D11DeviceIndex), d3d12(kD3D12ObjectIndex),
        dxgi(kDxgiObjectIndex);
    FakeObject texture = {child.entries.data(), Tag::Id, 1, 0};
    FakeObject device5 = {device.entries.data(), Tag::Id, 2, 0};
    FakeObject device8 = {d3d12.entries.data(), Tag::Id, 3, 0};
    FakeObject swapChain = {dxgi.entries.data(), Tag::Id, 4, 0};
    const std::string text = Text([&](std::ostream& os) {
        PrintObject_ID3D11Resource(As<ID3D11Resource>(texture), "ID3D11Resource * pResource", os, 0);
        PrintObject_ID3D11Device5(As<ID3D11Device5>(device5), "ID3D11Device5* self", os, 0);
        // The name is the declared interface's, never the object's own class.
        PrintObject_ID3D12Device(As<ID3D12Device>(device8), "ID3D12Device* self", os, 0);
        PrintObject_IDXGISwapChain4(As<IDXGISwapChain4>(swapChain), "IDXGISwapChain4* self", os, 0);
    });
    EXPECT_EQ(text,
              "ID3D11Resource * pResource\n     Capture Time ID: 0x1 ID3D11Resource\n"
              "ID3D11Device5* self\n     Capture Time ID: 0x2 ID3D11Device5\n"
              "ID3D12Device* self\n     Capture Time ID: 0x3 ID3D12Device\n"
              "IDXGISwapChain4* self\n     Capture Time ID: 0x4 IDXGISwapChain4\n");
}

TEST(ObjectPrinters, InterfacesWithoutAnIdReaderTouchNothing) {
    // Every entry traps: the Direct3D 10 family, IUnknown and the video device have no id.
    FakeVtable traps(127);
    FakeObject object = {traps.entries.data(), Tag::Id, 9, 0};
    const std::string text = Text([&](std::ostream& os) {
        PrintObject_ID3D10Buffer(As<ID3D10Buffer>(object), "ID3D10Buffer * pIndexBuffer", os, 1);
        PrintObject_ID3D10Device1(As<ID3D10Device1>(object), "ID3D10Device1* self", os, 1);
        PrintObject_IUnknown(As<IUnknown>(object), "IUnknown* self", os, 1);
        PrintObject_ID3D11VideoDevice(As<ID3D11VideoDevice>(object), "ID3D11VideoDevice* self", os, 1);
    });
    EXPECT_EQ(text,
              "    ID3D10Buffer * pIndexBuffer\n         ID3D10Buffer\n"
              "    ID3D10Device1* self\n         ID3D10Device1\n"
              "    IUnknown* self\n         IUnknown\n"
              "    ID3D11VideoDevice* self\n         ID3D11VideoDevice\n");
    EXPECT_EQ(object.privateDataCalls, 0);
}

TEST(ObjectArrays, MixedNullAndCounted) {
    FakeVtable child(kD3D11ChildIndex);
    FakeObject tagged = {child.entries.data(), Tag::Id, 0x2b, 0};
    FakeObject untagged = {child.entries.data(), Tag::Fails, 0, 0};
    ID3D11Buffer* buffers[] = {As<ID3D11Buffer>(tagged), nullptr, As<ID3D11Buffer>(untagged)};
    EXPECT_EQ(Text([&](std::ostream& os) {
                  PrintArray_ID3D11Buffer(buffers, 3, "ID3D11Buffer *const * ppConstantBuffers", os, 1);
              }),
              "    ID3D11Buffer *const * ppConstantBuffers\n"
              "        [0] Capture Time ID: 0x2b ID3D11Buffer\n"
              "        [1]  NULLPTR\n"
              "        [2] ID3D11Buffer\n");
    EXPECT_EQ(Text([&](std::ostream& os) { PrintArray_ID3D11Buffer(nullptr, 2, "ID3D11Buffer ** ppBuffer", os, 1); }),
              "    ID3D11Buffer ** ppBuffer\n NULLPTR\n");
    EXPECT_EQ(Text([&](std::ostream& os) { PrintArray_ID3D11Buffer(buffers, 0, "ID3D11Buffer ** ppBuffer", os, 1); }),
              "    ID3D11Buffer ** ppBuffer\n");
}

TEST(ObjectArrays, TwelveElementsInDecimal) {
    FakeVtable d3d12(kD3D12ObjectIndex);
    FakeObject heap = {d3d12.entries.data(), Tag::Zero, 0, 0};
    std::vector<ID3D12Pageable*> objects(12, As<ID3D12Pageable>(heap));
    const std::string text = Text([&](std::ostream& os) {
        PrintArray_ID3D12Pageable(objects.data(), objects.size(), "ID3D12Pageable *const * ppObjects", os, 0);
    });
    std::string expected = "ID3D12Pageable *const * ppObjects\n";
    for (int i = 0; i < 12; ++i) expected += "    [" + std::to_string(i) + "] ID3D12Pageable\n";
    EXPECT_EQ(text, expected);
    EXPECT_EQ(heap.privateDataCalls, 12);
}

TEST(VoidPointerArrays, PlainAndTightForms) {
    void* values[] = {nullptr, reinterpret_cast<void*>(0x10)};
    EXPECT_EQ(Text([&](std::ostream& os) { PrintArray_voidptr(values, 1, "void ** ppvObject", os, 1); }),
              "    void ** ppvObject\n        [0]  void ptr, can not infer type to print\n");
    EXPECT_EQ(Text([&](std::ostream& os) { PrintArray_voidptr_tight(values, 2, "void ** ppData", os, 1); }),
              "    void ** ppData\n        [0] void ptr, can not infer type to print\n"
              "        [1] void ptr, can not infer type to print\n");
    EXPECT_EQ(Text([&](std::ostream& os) { PrintArray_voidptr(nullptr, 1, "void ** ppvObject", os, 1); }),
              "    void ** ppvObject\n NULLPTR\n");
}

}  // namespace
