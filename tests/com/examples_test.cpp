// Direct3D and DXGI in verbose mode, byte for byte against files under tests/golden/com: worked
// calls through the test host with fake objects and fake downstream functions, and the object
// and enum printers called directly.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>

#include "capture.h"
#include "com_printers.h"
#include "golden.h"
#include "slot_catalogue.h"

namespace tov::test {
namespace {

namespace slots = logging_layer::slots;
using namespace com_values;

enum class Tag { Id, Fails, Short };   // how GetPrivateData answers for the capture id

// An object whose virtual table has GetPrivateData alone, where the base interface that declares
// it has it: a reader that called any other entry would crash the test.
struct FakeObject {
    void* const* lpVtbl = table;
    std::uint64_t id = 0;
    Tag tag = Tag::Id;
    int reads = 0;
    void* table[128] = {};

    template <typename I>
    I* as() { return reinterpret_cast<I*>(this); }

    static HRESULT TOV_COM_CALL GetPrivateData(void* self, const GUID& guid, UINT* size, void* data) {
        auto* object = static_cast<FakeObject*>(self);
        ++object->reads;
        EXPECT_EQ(std::memcmp(&guid, &kCaptureTimeIdGuid, sizeof guid), 0);
        EXPECT_EQ(*size, 8u);
        if (object->tag == Tag::Fails) return -2147467259;   // E_FAIL
        *size = object->tag == Tag::Short ? 4 : 8;
        std::memcpy(data, &object->id, *size);
        return 0;
    }
};

template <typename Vtbl>
void Arm(FakeObject& object, std::uint64_t id, Tag tag = Tag::Id) {
    object.id = id;
    object.tag = tag;
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
    static inline std::conditional_t<std::is_void_v<R>, int, R> value{};
    static inline int calls = 0;
    static inline std::function<void(A...)> body;
    static R TOV_COM_CALL Fn(A... args) {
        ++calls;
        if (body) body(args...);
        if constexpr (!std::is_void_v<R>) return value;
    }
};

// The layer loaded in verbose mode, its hooks routed one at a time to Next<F>.
struct VerboseLayer {
    VerboseLayer() {
        EXPECT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable({{u"verbose", u"1"}});
    }
    template <typename F>
    F Hook(std::size_t slot) {
        layer.Route(slot, reinterpret_cast<void*>(&Next<F>::Fn));
        return reinterpret_cast<F>(layer.hook(slot));
    }
    testhost::Layer layer;
};

#define HOOK(layer, Interface, Method) \
    layer.Hook<decltype(Interface##Vtbl::Method)>(slots::Interface##_##Method)

TEST(ComExamples, MethodsOfTheTemplate) {
    VerboseLayer layer;
    FakeObject device, device12, failing, zero, small, wide, device10;
    Arm<ID3D11DeviceVtbl>(device, 42);
    Arm<ID3D12ObjectVtbl>(device12, 42);
    Arm<ID3D11DeviceVtbl>(failing, 42, Tag::Fails);
    Arm<ID3D11DeviceVtbl>(zero, 0);
    Arm<ID3D11DeviceVtbl>(small, 0xffffffff000000abull, Tag::Short);
    Arm<ID3D11DeviceVtbl>(wide, 0x0123456789abcdefull);
    Arm<ID3D10DeviceVtbl>(device10, 42);
    auto* texture = new FakeObject;
    Arm<ID3D11DeviceChildVtbl>(*texture, 9);
    using Ref = decltype(ID3D11DeviceVtbl::AddRef);
    void* object = nullptr;
    const char text[] = "frame start";
    const std::string out = CaptureStdout([&] {
        HOOK(layer, ID3D11Device, QueryInterface)(device.as<ID3D11Device>(), IID_ID3D11Device, &object);
        Next<Ref>::value = 2;
        HOOK(layer, ID3D11Device, AddRef)(device.as<ID3D11Device>());
        Next<Ref>::value = 1;
        HOOK(layer, ID3D11Device, Release)(device.as<ID3D11Device>());
        Next<Ref>::value = 0;
        // The last Release frees the object downstream; the print behind it reads nothing from
        // it (under the address sanitizer a read of the freed object fails the test).
        using Last = decltype(ID3D11Texture2D1Vtbl::Release);
        Next<Last>::body = [](ID3D11Texture2D1* self) { delete reinterpret_cast<FakeObject*>(self); };
        HOOK(layer, ID3D11Texture2D1, Release)(texture->as<ID3D11Texture2D1>());
        HOOK(layer, ID3D12CommandQueue, SetMarker)(device12.as<ID3D12CommandQueue>(), 1, text, sizeof text);
        HOOK(layer, ID3D12GraphicsCommandList6, SetMarker)(device12.as<ID3D12GraphicsCommandList6>(), 1, nullptr, 0);
        // Objects without an id: a failing read, a stored 0, and the Direct3D 10 family, whose
        // objects are never asked; a record shorter than 8 bytes leaves the rest 0.
        const auto getFlags = HOOK(layer, ID3D11Device, GetCreationFlags);
        for (FakeObject* o : {&failing, &zero, &small, &wide}) getFlags(o->as<ID3D11Device>());
        HOOK(layer, ID3D10Device, GSSetShader)(device10.as<ID3D10Device>(), nullptr);
    });
    EXPECT_EQ(device.reads, 0) << "IUnknown's methods never ask the object for its id";
    EXPECT_EQ(device10.reads, 0);
    ExpectGolden("com/methods.txt", out);
}

TEST(ComExamples, ExportedFunctions) {
    VerboseLayer layer;
    Next<PFN_CreateDXGIFactory>::value = -2147024809;
    void* device = nullptr;
    const std::string out = CaptureStdout([&] {
        layer.Hook<PFN_CreateDXGIFactory>(slots::CreateDXGIFactory)(IID_IDXGIFactory, nullptr);
        layer.Hook<PFN_D3D12CreateDevice>(slots::D3D12CreateDevice)(nullptr, D3D_FEATURE_LEVEL_11_0,
                                                                     IID_ID3D12Device, &device);
    });
    ExpectGolden("com/functions.txt", out);
}

TEST(ComExamples, PresentEndsTheFrame) {
    VerboseLayer layer;
    FakeObject swapChain;
    Arm<IDXGIObjectVtbl>(swapChain, 7);
    Next<decltype(IDXGISwapChain4Vtbl::Present1)>::value = -2005270527;   // DXGI_ERROR_INVALID_CALL
    ExpectGolden("com/present.txt", CaptureStdout([&] {
                     HOOK(layer, IDXGISwapChain3, Present)(swapChain.as<IDXGISwapChain3>(), 1, 0);
                     HOOK(layer, IDXGISwapChain4, Present1)(swapChain.as<IDXGISwapChain4>(), 0, 2, nullptr);
                 }));
}

TEST(ComExamples, CreatingMethodsAndCountedArrays) {
    VerboseLayer layer;
    FakeObject context, device12, factory, adapter, shader, decoder, sampler, buffer, lists[3];
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    Arm<ID3D12ObjectVtbl>(device12, 42);
    Arm<ID3D11DeviceChildVtbl>(buffer, 43);
    Arm<IDXGIObjectVtbl>(factory, 42);
    Arm<IDXGIObjectVtbl>(adapter, 43);
    Arm<ID3D11DeviceChildVtbl>(shader, 44);
    Arm<ID3D11DeviceChildVtbl>(decoder, 43);
    Arm<ID3D11DeviceChildVtbl>(sampler, 0xff);
    Arm<ID3D12ObjectVtbl>(lists[0], 1);
    Arm<ID3D12ObjectVtbl>(lists[1], 0);
    Arm<ID3D12ObjectVtbl>(lists[2], 3, Tag::Fails);
    using Enum = decltype(IDXGIFactory1Vtbl::EnumAdapters);
    Next<Enum>::body = [&](IDXGIFactory1*, UINT, IDXGIAdapter** out) { *out = adapter.as<IDXGIAdapter>(); };
    Next<decltype(ID3D11DeviceContextVtbl::PSGetSamplers)>::body =
        [&](ID3D11DeviceContext*, UINT, UINT count, ID3D11SamplerState** out) {
            for (UINT i = 0; i < count; ++i) out[i] = i % 4 == 1 ? nullptr : sampler.as<ID3D11SamplerState>();
        };
    Next<decltype(ID3D11DeviceContextVtbl::PSGetShader)>::body =
        [&](ID3D11DeviceContext*, ID3D11PixelShader** out, ID3D11ClassInstance**, UINT* n) {
            *out = shader.as<ID3D11PixelShader>();
            if (n != nullptr) *n = 0;
        };
    using Buffer = decltype(ID3D11VideoContextVtbl::GetDecoderBuffer);
    Next<Buffer>::body = [](ID3D11VideoContext*, ID3D11VideoDecoder*, D3D11_VIDEO_DECODER_BUFFER_TYPE,
                            UINT* size, void**) { *size = 3; };
    IDXGIAdapter* newAdapter = nullptr;
    // Not an object: reading an id through it would crash.
    IDXGIAdapter* unwritten = reinterpret_cast<IDXGIAdapter*>(std::uintptr_t{0x10});
    ID3D11Buffer* const buffers[2] = {buffer.as<ID3D11Buffer>(), nullptr};
    ID3D11ShaderResourceView* const views[1] = {nullptr};
    ID3D12CommandList* const commandLists[3] = {lists[0].as<ID3D12CommandList>(), lists[1].as<ID3D12CommandList>(),
                                                lists[2].as<ID3D12CommandList>()};
    ID3D11SamplerState* samplers[12] = {};
    ID3D11PixelShader* pixelShader = nullptr;
    ID3D11ClassInstance* instances[4] = {};
    UINT instanceCount = 4, size = 0;
    void* data = nullptr;
    const std::string out = CaptureStdout([&] {
        const auto enumAdapters = HOOK(layer, IDXGIFactory1, EnumAdapters);
        enumAdapters(factory.as<IDXGIFactory1>(), 0, &newAdapter);
        // A failed call may leave its out-objects unwritten: they are not read.
        Next<Enum>::value = -2005270526;   // DXGI_ERROR_NOT_FOUND
        Next<Enum>::body = nullptr;
        enumAdapters(factory.as<IDXGIFactory1>(), 5, &unwritten);
        enumAdapters(factory.as<IDXGIFactory1>(), 5, nullptr);
        HOOK(layer, ID3D11DeviceContext, VSSetConstantBuffers)(context.as<ID3D11DeviceContext>(), 0, 2, buffers);
        HOOK(layer, ID3D11DeviceContext4, PSSetShaderResources)(context.as<ID3D11DeviceContext4>(), 4, 0, views);
        HOOK(layer, ID3D12CommandQueue, ExecuteCommandLists)(device12.as<ID3D12CommandQueue>(), 3, commandLists);
        HOOK(layer, ID3D11DeviceContext, PSGetSamplers)(context.as<ID3D11DeviceContext>(), 0, 12, samplers);
        // Counts read through another argument after the call.
        const auto psGetShader = HOOK(layer, ID3D11DeviceContext, PSGetShader);
        psGetShader(context.as<ID3D11DeviceContext>(), &pixelShader, instances, &instanceCount);
        psGetShader(context.as<ID3D11DeviceContext>(), &pixelShader, instances, nullptr);
        const auto getDecoderBuffer = HOOK(layer, ID3D11VideoContext, GetDecoderBuffer);
        const auto video = context.as<ID3D11VideoContext>();
        getDecoderBuffer(video, decoder.as<ID3D11VideoDecoder>(), {}, &size, &data);
        getDecoderBuffer(video, decoder.as<ID3D11VideoDecoder>(), {}, &size, nullptr);
        Next<Buffer>::value = -2147024809;
        getDecoderBuffer(video, decoder.as<ID3D11VideoDecoder>(), {}, &size, &data);
    });
    ExpectGolden("com/objects.txt", out);
}

TEST(ComExamples, ValuesOfEveryKind) {
    VerboseLayer layer;
    FakeObject device10, context;
    Arm<ID3D10DeviceVtbl>(device10, 0);
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    Next<decltype(ID3D11DeviceContextVtbl::GetResourceMinLOD)>::value = 2.5f;
    const float factor[4] = {0.5f, 1.0f, 0.25f, 0.0f};
    const std::string out = CaptureStdout([&] {
        HOOK(layer, ID3D10Device, DrawIndexed)(device10.as<ID3D10Device>(), 36, 0, -5);
        // An optional array of four numbers may be null: it shows as a null pointer does.
        const auto setBlend = HOOK(layer, ID3D11DeviceContext, OMSetBlendState);
        setBlend(context.as<ID3D11DeviceContext>(), nullptr, nullptr, 0xffffffffu);
        setBlend(context.as<ID3D11DeviceContext>(), nullptr, factor, 1);
        HOOK(layer, ID3D11DeviceContext, GetResourceMinLOD)(context.as<ID3D11DeviceContext>(), nullptr);
    });
    ExpectGolden("com/values.txt", out);
}

// Never mapped: reading through it would fault.
template <typename T>
T* Garbage() {
    return reinterpret_cast<T*>(std::uintptr_t{0x10});
}

// An array whose count is 0 may hold anything: nothing behind it is read, whether the count is an
// argument, a product of arguments, read through an argument after the call (a null one that
// the declaration makes optional counts nothing), a field beside it, or known from the
// documentation alone. A count of 1 shows the element as ever.
TEST(ComExamples, ArraysCountedZeroAreNotRead) {
    VerboseLayer layer;
    FakeObject list, context, device12, swapChain;
    Arm<ID3D12ObjectVtbl>(list, 1);
    Arm<ID3D11DeviceChildVtbl>(context, 2);
    Arm<ID3D12ObjectVtbl>(device12, 3);
    Arm<IDXGIObjectVtbl>(swapChain, 4);
    Next<decltype(ID3D11DeviceContextVtbl::RSGetViewports)>::body =
        [](ID3D11DeviceContext*, UINT* count, D3D11_VIEWPORT*) { *count = 0; };
    D3D12_RESOURCE_BARRIER barrier = {};
    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_UAV;
    UINT viewports = 4;
    const DXGI_PRESENT_PARAMETERS parameters = {0, Garbage<RECT>(), nullptr, nullptr};
    const D3D12_COMMAND_SIGNATURE_DESC signature = {16, 0, Garbage<const D3D12_INDIRECT_ARGUMENT_DESC>(), 0};
    const std::string out = CaptureStdout([&] {
        const auto commands = list.as<ID3D12GraphicsCommandList1>();
        const auto barriers = HOOK(layer, ID3D12GraphicsCommandList1, ResourceBarrier);
        barriers(commands, 0, Garbage<const D3D12_RESOURCE_BARRIER>());
        barriers(commands, 1, &barrier);
        HOOK(layer, ID3D12GraphicsCommandList1, OMSetRenderTargets)(
            commands, 0, Garbage<const D3D12_CPU_DESCRIPTOR_HANDLE>(), 0, nullptr);
        HOOK(layer, ID3D12GraphicsCommandList1, SetSamplePositions)(commands, 4, 0, Garbage<D3D12_SAMPLE_POSITION>());
        const auto context11 = context.as<ID3D11DeviceContext>();
        HOOK(layer, ID3D11DeviceContext, IASetVertexBuffers)(context11, 0, 0, Garbage<ID3D11Buffer* const>(),
                                                             Garbage<const UINT>(), Garbage<const UINT>());
        HOOK(layer, ID3D11DeviceContext, RSGetViewports)(context11, &viewports, Garbage<D3D11_VIEWPORT>());
        const auto device = device12.as<ID3D12Device>();
        HOOK(layer, ID3D12Device, GetResourceTiling)(device, nullptr, nullptr, nullptr, nullptr, nullptr, 0,
                                                     Garbage<D3D12_SUBRESOURCE_TILING>());
        HOOK(layer, ID3D12Device, CreateCommandSignature)(device, &signature, nullptr,
                                                          IID_ID3D12CommandSignature, nullptr);
        HOOK(layer, IDXGISwapChain1, Present1)(swapChain.as<IDXGISwapChain1>(), 0, 0, &parameters);
    });
    ExpectGolden("com/zero_counts.txt", out);
}

// Enums called directly: several names, names shared by API versions, values with the high bit.
TEST(ComExamples, EnumPrinters) {
    const std::uint32_t enums[][2] = {
        {0, 0}, {0x200, 0}, {0xC0, 1}, {3, 1}, {4, 2}, {64, 2}, {6, 2}, {0, 3}, {11, 3},
        {0xFFFFFFFF, 4}, {0x80000000, 5}, {0x80000000, 6}, {0x9300, 7}};
    using Printer = void (*)(const void*, tov::printing::Label, std::ostream&, std::uint64_t);
    const std::pair<Printer, const char*> printers[] = {
        {Print_D3D12_RESOURCE_STATES, "D3D12_RESOURCE_STATES StateBefore"},
        {Print_D3D12_HEAP_FLAGS, "D3D12_HEAP_FLAGS HeapFlags"},
        {Print_D3D_PRIMITIVE_TOPOLOGY, "D3D11_PRIMITIVE_TOPOLOGY Topology"},
        {Print_D3D_SRV_DIMENSION, "D3D10_SRV_DIMENSION1 ViewDimension"},
        {Print_DXGI_FORMAT, "DXGI_FORMAT Format"},
        {Print_D3D10_FILTER, "D3D10_FILTER Filter"},
        {Print_D3D11_FILTER, "D3D11_FILTER Filter"},
        {Print_D3D10_FEATURE_LEVEL1, "= D3D10_FEATURE_LEVEL1 RESULT "}};
    std::ostringstream os;
    for (const auto& [value, printer] : enums) {
        const auto boxed = std::make_unique<std::uint32_t>(value);   // a read beyond 32 bits fails under ASan
        printers[printer].first(boxed.get(), printers[printer].second, os, 1);
    }
    ExpectGolden("com/enums.txt", os.str());
}

}  // namespace
}  // namespace tov::test
