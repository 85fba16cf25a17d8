// Direct3D and DXGI hooks in verbose mode, byte for byte: the worked calls of the dump format,
// each through the test host with fake objects and fake downstream functions. The expected text
// is written out by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fake_com.h"

namespace tov::comhooks {
namespace {

namespace slots = logging_layer::slots;

// Captures standard output around one call.
template <typename Call>
std::string Dump(Call call) {
    testhost::StdoutCapture out;
    call();
    return out.str();
}

// --- the template of a COM method -------------------------------------------------------------

TEST(ComHookExamples, VoidMethodOfADerivedInterface) {
    VerboseLayer layer;
    FakeObject context;
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    using F = decltype(ID3D11DeviceContext1Vtbl::Draw);
    const F hook = layer.Hook<F>(slots::ID3D11DeviceContext1_Draw);
    EXPECT_EQ(Dump([&] { hook(context.as<ID3D11DeviceContext1>(), 3, 0); }),
              "ID3D11DeviceContext1::Draw\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    UINT VertexCount: 3\n"
              "    UINT StartVertexLocation: 0\n");
    EXPECT_EQ(Next<F>::calls, 1);
}

TEST(ComHookExamples, MethodWhoseArgumentsAreAllLeftOut) {
    VerboseLayer layer;
    FakeObject device;
    Arm<ID3D12ObjectVtbl>(device, 42);
    using Count = decltype(ID3D12Device1Vtbl::GetNodeCount);
    Next<Count>::value = 1;
    const Count getNodeCount = layer.Hook<Count>(slots::ID3D12Device1_GetNodeCount);
    using Size = decltype(ID3D12DeviceVtbl::GetDescriptorHandleIncrementSize);
    Next<Size>::value = 32;
    const Size getSize = layer.Hook<Size>(slots::ID3D12Device_GetDescriptorHandleIncrementSize);
    EXPECT_EQ(Dump([&] {
                  EXPECT_EQ(getNodeCount(device.as<ID3D12Device1>()), 1u);
                  EXPECT_EQ(getSize(device.as<ID3D12Device>(), D3D12_DESCRIPTOR_HEAP_TYPE{}), 32u);
              }),
              "ID3D12Device1::GetNodeCount\n"
              "    ID3D12Device* self\n"
              "         Capture Time ID: 0x2a ID3D12Device\n"
              "= UINT RESULT : 1\n"
              "ID3D12Device::GetDescriptorHandleIncrementSize\n"
              "    ID3D12Device* self\n"
              "         Capture Time ID: 0x2a ID3D12Device\n"
              "= UINT RESULT : 32\n");
}

TEST(ComHookExamples, TheThreeMethodsOfEveryInterface) {
    VerboseLayer layer;
    FakeObject device;
    Arm<ID3D11DeviceVtbl>(device, 42);
    using QI = decltype(ID3D11DeviceVtbl::QueryInterface);
    using Ref = decltype(ID3D11DeviceVtbl::AddRef);
    const QI queryInterface = layer.Hook<QI>(slots::ID3D11Device_QueryInterface);
    const Ref addRef = layer.Hook<Ref>(slots::ID3D11Device_AddRef);
    const Ref release = layer.Hook<Ref>(slots::ID3D11Device_Release);
    void* object = nullptr;
    EXPECT_EQ(Dump([&] {
                  queryInterface(device.as<ID3D11Device>(), IID_ID3D11Device, &object);
                  Next<Ref>::value = 2;
                  addRef(device.as<ID3D11Device>());
                  Next<Ref>::value = 1;
                  release(device.as<ID3D11Device>());
              }),
              "ID3D11Device::QueryInterface\n"
              "    IUnknown* self\n"
              "         IUnknown\n"
              "    void ** ppvObject\n"
              "        [0]  void ptr, can not infer type to print\n"
              "= HRESULT RESULT : 0\n"
              "ID3D11Device::AddRef\n"
              "    IUnknown* self\n"
              "         IUnknown\n"
              "= ULONG RESULT : 2\n"
              "ID3D11Device::Release\n"
              "    IUnknown* self\n"
              "         IUnknown\n"
              "= ULONG RESULT : 1\n");
    EXPECT_EQ(device.reads, 0) << "IUnknown's methods never ask the object for its id";
}

// The last Release frees the object downstream; the print behind it reads nothing from it
// (under the address sanitizer a read of the freed object fails the test).
TEST(ComHookExamples, ReleaseOfTheLastReference) {
    VerboseLayer layer;
    auto* texture = new FakeObject;
    Arm<ID3D11DeviceChildVtbl>(*texture, 9);
    using Ref = decltype(ID3D11Texture2D1Vtbl::Release);
    Next<Ref>::value = 0;
    Next<Ref>::body = [](ID3D11Texture2D1* self) { delete reinterpret_cast<FakeObject*>(self); };
    const Ref release = layer.Hook<Ref>(slots::ID3D11Texture2D1_Release);
    EXPECT_EQ(Dump([&] { release(texture->as<ID3D11Texture2D1>()); }),
              "ID3D11Texture2D1::Release\n"
              "    IUnknown* self\n"
              "         IUnknown\n"
              "= ULONG RESULT : 0\n");
}

TEST(ComHookExamples, EventTextOfDirect3D12) {
    VerboseLayer layer;
    FakeObject queue;
    Arm<ID3D12ObjectVtbl>(queue, 42);
    using F = decltype(ID3D12CommandQueueVtbl::SetMarker);
    const F setMarker = layer.Hook<F>(slots::ID3D12CommandQueue_SetMarker);
    using G = decltype(ID3D12GraphicsCommandList6Vtbl::SetMarker);
    const G listMarker = layer.Hook<G>(slots::ID3D12GraphicsCommandList6_SetMarker);
    const char text[] = "frame start";
    EXPECT_EQ(Dump([&] {
                  setMarker(queue.as<ID3D12CommandQueue>(), 1, text, sizeof text);
                  listMarker(queue.as<ID3D12GraphicsCommandList6>(), 1, nullptr, 0);
              }),
              "ID3D12CommandQueue::SetMarker\n"
              "    ID3D12CommandQueue* self\n"
              "         Capture Time ID: 0x2a ID3D12CommandQueue\n"
              "    UINT Metadata: 1\n"
              "    void* pData : frame start\n"
              "    UINT Size: 12\n"
              "ID3D12GraphicsCommandList6::SetMarker\n"
              "    ID3D12GraphicsCommandList* self\n"
              "         Capture Time ID: 0x2a ID3D12GraphicsCommandList\n"
              "    UINT Metadata: 1\n"
              "    void* pData : \n"
              "    UINT Size: 0\n");
}

// Objects without an id: a failing GetPrivateData, a stored 0, and the Direct3D 10 family,
// whose objects are never asked.
TEST(ComHookExamples, ObjectsWithoutAnId) {
    VerboseLayer layer;
    FakeObject failing, zero, device10;
    Arm<ID3D11DeviceVtbl>(failing, 42, Tag::Fails);
    Arm<ID3D11DeviceVtbl>(zero, 0);
    Arm<ID3D10DeviceVtbl>(device10, 42);
    using F = decltype(ID3D11DeviceVtbl::GetCreationFlags);
    Next<F>::value = 0;   // the same prototype as AddRef's: set it in case another test ran first
    const F getFlags = layer.Hook<F>(slots::ID3D11Device_GetCreationFlags);
    using G = decltype(ID3D10DeviceVtbl::GSSetShader);
    const G gsSetShader = layer.Hook<G>(slots::ID3D10Device_GSSetShader);
    EXPECT_EQ(Dump([&] {
                  getFlags(failing.as<ID3D11Device>());
                  getFlags(zero.as<ID3D11Device>());
                  gsSetShader(device10.as<ID3D10Device>(), nullptr);
              }),
              "ID3D11Device::GetCreationFlags\n"
              "    ID3D11Device* self\n"
              "         ID3D11Device\n"
              "= UINT RESULT : 0\n"
              "ID3D11Device::GetCreationFlags\n"
              "    ID3D11Device* self\n"
              "         ID3D11Device\n"
              "= UINT RESULT : 0\n"
              "ID3D10Device::GSSetShader\n"
              "    ID3D10Device* self\n"
              "         ID3D10Device\n"
              "    ID3D10GeometryShader * pShader NULLPTR\n");
    EXPECT_EQ(device10.reads, 0);
}

// --- the exported functions -------------------------------------------------------------------

TEST(ComHookExamples, ExportedFunctions) {
    VerboseLayer layer;
    using Removal = PFN_DXGIDeclareAdapterRemovalSupport;
    const Removal removal = layer.Hook<Removal>(slots::DXGIDeclareAdapterRemovalSupport);
    using Factory = PFN_CreateDXGIFactory;
    Next<Factory>::value = -2147024809;
    const Factory createFactory = layer.Hook<Factory>(slots::CreateDXGIFactory);
    using Device = PFN_D3D12CreateDevice;
    const Device createDevice = layer.Hook<Device>(slots::D3D12CreateDevice);
    void* device = nullptr;
    EXPECT_EQ(Dump([&] {
                  removal();
                  EXPECT_EQ(createFactory(IID_IDXGIFactory, nullptr), -2147024809);
                  createDevice(nullptr, D3D_FEATURE_LEVEL_11_0, IID_ID3D12Device, &device);
              }),
              "DXGIDeclareAdapterRemovalSupport\n"
              "= HRESULT RESULT : 0\n"
              "CreateDXGIFactory\n"
              "    void ** ppFactory\n"
              " NULLPTR\n"
              "= HRESULT RESULT : -2147024809\n"
              "D3D12CreateDevice\n"
              "    IUnknown * pAdapter NULLPTR\n"
              "    D3D_FEATURE_LEVEL MinimumFeatureLevel D3D_FEATURE_LEVEL_11_0, \n"
              "    void ** ppDevice\n"
              "        [0]  void ptr, can not infer type to print\n"
              "= HRESULT RESULT : 0\n");
}

TEST(ComHookExamples, CreateDeviceWithNullAdapterAndNullDevice) {
    VerboseLayer layer;
    using F = PFN_D3D11CreateDevice;
    const F hook = layer.Hook<F>(slots::D3D11CreateDevice);
    const D3D_FEATURE_LEVEL levels[2] = {D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0};
    D3D_FEATURE_LEVEL chosen = D3D_FEATURE_LEVEL_11_0;
    Next<F>::body = [](IDXGIAdapter*, D3D_DRIVER_TYPE, HMODULE, UINT, const D3D_FEATURE_LEVEL*, UINT,
                       UINT, ID3D11Device**, D3D_FEATURE_LEVEL* level, ID3D11DeviceContext**) {
        *level = D3D_FEATURE_LEVEL_11_1;
    };
    EXPECT_EQ(Dump([&] {
                  hook(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 2, levels, 2, 7, nullptr, &chosen,
                       nullptr);
              }),
              "D3D11CreateDevice\n"
              "    IDXGIAdapter * pAdapter NULLPTR\n"
              "    D3D_DRIVER_TYPE DriverType D3D_DRIVER_TYPE_HARDWARE, \n"
              "    HMODULE Software NULLPTR\n"
              "    UINT Flags: 2\n"
              "    const D3D_FEATURE_LEVEL * pFeatureLevels D3D_FEATURE_LEVEL_11_1, \n"
              "    UINT FeatureLevels: 2\n"
              "    UINT SDKVersion: 7\n"
              "    ID3D11Device ** ppDevice\n"
              " NULLPTR\n"
              "    D3D_FEATURE_LEVEL * pFeatureLevel D3D_FEATURE_LEVEL_11_1, \n"
              "    ID3D11DeviceContext ** ppImmediateContext\n"
              " NULLPTR\n"
              "= HRESULT RESULT : 0\n");
}

// --- presenting ----------------------------------------------------------------------------

TEST(ComHookExamples, PresentEndsTheFrame) {
    VerboseLayer layer;
    FakeObject swapChain;
    Arm<IDXGIObjectVtbl>(swapChain, 7);
    using P = decltype(IDXGISwapChain3Vtbl::Present);
    const P present = layer.Hook<P>(slots::IDXGISwapChain3_Present);
    using P1 = decltype(IDXGISwapChain4Vtbl::Present1);
    Next<P1>::value = -2005270527;   // DXGI_ERROR_INVALID_CALL
    const P1 present1 = layer.Hook<P1>(slots::IDXGISwapChain4_Present1);
    EXPECT_EQ(Dump([&] {
                  present(swapChain.as<IDXGISwapChain3>(), 1, 0);
                  present1(swapChain.as<IDXGISwapChain4>(), 0, 2, nullptr);
              }),
              "IDXGISwapChain3::Present\n"
              "    IDXGISwapChain* self\n"
              "         Capture Time ID: 0x7 IDXGISwapChain\n"
              "    UINT SyncInterval: 1\n"
              "    UINT Flags: 0\n"
              "= HRESULT RESULT : 0\n"
              "####################Frame Boundary####################\n"
              "IDXGISwapChain4::Present1\n"
              "    IDXGISwapChain1* self\n"
              "         Capture Time ID: 0x7 IDXGISwapChain1\n"
              "    UINT SyncInterval: 0\n"
              "    UINT PresentFlags: 2\n"
              "    const DXGI_PRESENT_PARAMETERS * pPresentParameters NULLPTR\n"
              "= HRESULT RESULT : -2005270527\n"
              "####################Frame Boundary####################\n");
}

TEST(ComHookExamples, PresentInOrdinaryModeLogsTheNameAlone) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable();
    using P = decltype(IDXGISwapChainVtbl::Present);
    layer.Route(slots::IDXGISwapChain_Present, reinterpret_cast<void*>(&Next<P>::Fn));
    FakeObject swapChain;
    Arm<IDXGIObjectVtbl>(swapChain, 7);
    testhost::LoggerCapture log;
    EXPECT_EQ(Dump([&] {
                  reinterpret_cast<P>(layer.hook(slots::IDXGISwapChain_Present))(
                      swapChain.as<IDXGISwapChain>(), 1, 0);
              }),
              "");
    ASSERT_EQ(log.calls.size(), 1u);
    EXPECT_EQ(log.calls[0].message, "IDXGISwapChain::Present");
    EXPECT_EQ(swapChain.reads, 0);
}

// --- creating methods and object arrays ---------------------------------------------------------

TEST(ComHookExamples, CreatingMethods) {
    VerboseLayer layer;
    FakeObject device11, context, device12, factory, adapter;
    Arm<ID3D11DeviceVtbl>(device11, 42);
    Arm<ID3D11DeviceChildVtbl>(context, 43);
    Arm<ID3D12ObjectVtbl>(device12, 42);
    Arm<IDXGIObjectVtbl>(factory, 42);
    Arm<IDXGIObjectVtbl>(adapter, 43);
    using Deferred = decltype(ID3D11Device2Vtbl::CreateDeferredContext);
    Next<Deferred>::body = [&](ID3D11Device2*, UINT, ID3D11DeviceContext** out) {
        *out = context.as<ID3D11DeviceContext>();
    };
    const Deferred createDeferred = layer.Hook<Deferred>(slots::ID3D11Device2_CreateDeferredContext);
    using Allocator = decltype(ID3D12DeviceVtbl::CreateCommandAllocator);
    const Allocator createAllocator = layer.Hook<Allocator>(slots::ID3D12Device_CreateCommandAllocator);
    using Enum = decltype(IDXGIFactory1Vtbl::EnumAdapters);
    Next<Enum>::body = [&](IDXGIFactory1*, UINT, IDXGIAdapter** out) { *out = adapter.as<IDXGIAdapter>(); };
    const Enum enumAdapters = layer.Hook<Enum>(slots::IDXGIFactory1_EnumAdapters);
    ID3D11DeviceContext* newContext = nullptr;
    void* allocator = nullptr;
    IDXGIAdapter* newAdapter = nullptr;
    EXPECT_EQ(Dump([&] {
                  createDeferred(device11.as<ID3D11Device2>(), 0, &newContext);
                  createAllocator(device12.as<ID3D12Device>(), D3D12_COMMAND_LIST_TYPE{},
                                  IID_ID3D12CommandAllocator, &allocator);
                  enumAdapters(factory.as<IDXGIFactory1>(), 0, &newAdapter);
              }),
              "ID3D11Device2::CreateDeferredContext\n"
              "    ID3D11Device* self\n"
              "         Capture Time ID: 0x2a ID3D11Device\n"
              "    UINT ContextFlags: 0\n"
              "    ID3D11DeviceContext ** ppDeferredContext\n"
              "        [0] Capture Time ID: 0x2b ID3D11DeviceContext\n"
              "= HRESULT RESULT : 0\n"
              "ID3D12Device::CreateCommandAllocator\n"
              "    ID3D12Device* self\n"
              "         Capture Time ID: 0x2a ID3D12Device\n"
              "    void ** ppCommandAllocator\n"
              "        [0]  void ptr, can not infer type to print\n"
              "= HRESULT RESULT : 0\n"
              "IDXGIFactory1::EnumAdapters\n"
              "    IDXGIFactory* self\n"
              "         Capture Time ID: 0x2a IDXGIFactory\n"
              "    UINT Adapter: 0\n"
              "    IDXGIAdapter ** ppAdapter\n"
              "        [0] Capture Time ID: 0x2b IDXGIAdapter\n"
              "= HRESULT RESULT : 0\n");
}

// A failed call may leave its out-objects unwritten: they are not read, the array shows its
// label line alone (or its null line).
TEST(ComHookExamples, FailedCallDoesNotReadItsOutObjects) {
    VerboseLayer layer;
    FakeObject factory;
    Arm<IDXGIObjectVtbl>(factory, 42);
    using Enum = decltype(IDXGIFactoryVtbl::EnumAdapters);
    Next<Enum>::value = -2005270526;   // DXGI_ERROR_NOT_FOUND
    const Enum enumAdapters = layer.Hook<Enum>(slots::IDXGIFactory_EnumAdapters);
    // Not an object: reading an id through it would crash.
    IDXGIAdapter* unwritten = reinterpret_cast<IDXGIAdapter*>(std::uintptr_t{0x10});
    EXPECT_EQ(Dump([&] {
                  enumAdapters(factory.as<IDXGIFactory>(), 5, &unwritten);
                  enumAdapters(factory.as<IDXGIFactory>(), 5, nullptr);
              }),
              "IDXGIFactory::EnumAdapters\n"
              "    IDXGIFactory* self\n"
              "         Capture Time ID: 0x2a IDXGIFactory\n"
              "    UINT Adapter: 5\n"
              "    IDXGIAdapter ** ppAdapter\n"
              "= HRESULT RESULT : -2005270526\n"
              "IDXGIFactory::EnumAdapters\n"
              "    IDXGIFactory* self\n"
              "         Capture Time ID: 0x2a IDXGIFactory\n"
              "    UINT Adapter: 5\n"
              "    IDXGIAdapter ** ppAdapter\n"
              " NULLPTR\n"
              "= HRESULT RESULT : -2005270526\n");
}

TEST(ComHookExamples, CountedArraysOfZeroThreeAndTwelve) {
    VerboseLayer layer;
    FakeObject context, queue, buffer, sampler;
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    Arm<ID3D12ObjectVtbl>(queue, 42);
    Arm<ID3D11DeviceChildVtbl>(buffer, 43);
    Arm<ID3D11DeviceChildVtbl>(sampler, 0xff);
    FakeObject lists[3];
    Arm<ID3D12ObjectVtbl>(lists[0], 1);
    Arm<ID3D12ObjectVtbl>(lists[1], 0);
    Arm<ID3D12ObjectVtbl>(lists[2], 3, Tag::Fails);

    using Buffers = decltype(ID3D11DeviceContextVtbl::VSSetConstantBuffers);
    const Buffers vsSetConstantBuffers = layer.Hook<Buffers>(slots::ID3D11DeviceContext_VSSetConstantBuffers);
    using Views = decltype(ID3D11DeviceContext4Vtbl::PSSetShaderResources);
    const Views psSetShaderResources = layer.Hook<Views>(slots::ID3D11DeviceContext4_PSSetShaderResources);
    using Execute = decltype(ID3D12CommandQueueVtbl::ExecuteCommandLists);
    const Execute execute = layer.Hook<Execute>(slots::ID3D12CommandQueue_ExecuteCommandLists);
    using Samplers = decltype(ID3D11DeviceContextVtbl::PSGetSamplers);
    Next<Samplers>::body = [&](ID3D11DeviceContext*, UINT, UINT count, ID3D11SamplerState** out) {
        for (UINT i = 0; i < count; ++i)
            out[i] = i % 4 == 1 ? nullptr : sampler.as<ID3D11SamplerState>();
    };
    const Samplers psGetSamplers = layer.Hook<Samplers>(slots::ID3D11DeviceContext_PSGetSamplers);

    ID3D11Buffer* const buffers[2] = {buffer.as<ID3D11Buffer>(), nullptr};
    ID3D11ShaderResourceView* const views[1] = {nullptr};
    ID3D12CommandList* const commandLists[3] = {lists[0].as<ID3D12CommandList>(),
                                                lists[1].as<ID3D12CommandList>(),
                                                lists[2].as<ID3D12CommandList>()};
    ID3D11SamplerState* samplers[12] = {};
    EXPECT_EQ(Dump([&] {
                  vsSetConstantBuffers(context.as<ID3D11DeviceContext>(), 0, 2, buffers);
                  psSetShaderResources(context.as<ID3D11DeviceContext4>(), 4, 0, views);
                  execute(queue.as<ID3D12CommandQueue>(), 3, commandLists);
                  psGetSamplers(context.as<ID3D11DeviceContext>(), 0, 12, samplers);
              }),
              "ID3D11DeviceContext::VSSetConstantBuffers\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    UINT StartSlot: 0\n"
              "    UINT NumBuffers: 2\n"
              "    ID3D11Buffer *const * ppConstantBuffers\n"
              "        [0] Capture Time ID: 0x2b ID3D11Buffer\n"
              "        [1]  NULLPTR\n"
              "ID3D11DeviceContext4::PSSetShaderResources\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    UINT StartSlot: 4\n"
              "    UINT NumViews: 0\n"
              "    ID3D11ShaderResourceView *const * ppShaderResourceViews\n"
              "ID3D12CommandQueue::ExecuteCommandLists\n"
              "    ID3D12CommandQueue* self\n"
              "         Capture Time ID: 0x2a ID3D12CommandQueue\n"
              "    UINT NumCommandLists: 3\n"
              "    ID3D12CommandList *const * ppCommandLists\n"
              "        [0] Capture Time ID: 0x1 ID3D12CommandList\n"
              "        [1] ID3D12CommandList\n"
              "        [2] ID3D12CommandList\n"
              "ID3D11DeviceContext::PSGetSamplers\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    UINT StartSlot: 0\n"
              "    UINT NumSamplers: 12\n"
              "    ID3D11SamplerState ** ppSamplers\n"
              "        [0] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [1]  NULLPTR\n"
              "        [2] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [3] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [4] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [5]  NULLPTR\n"
              "        [6] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [7] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [8] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [9]  NULLPTR\n"
              "        [10] Capture Time ID: 0xff ID3D11SamplerState\n"
              "        [11] Capture Time ID: 0xff ID3D11SamplerState\n");
}

// Counts read through another argument after the call: the class instances of GetShader and
// the bytes of a decoder buffer.
TEST(ComHookExamples, CountsReadThroughAnotherArgument) {
    VerboseLayer layer;
    FakeObject context, video, decoder, shader;
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    Arm<ID3D11DeviceChildVtbl>(video, 42);
    Arm<ID3D11DeviceChildVtbl>(decoder, 43);
    Arm<ID3D11DeviceChildVtbl>(shader, 44);
    using Shader = decltype(ID3D11DeviceContextVtbl::PSGetShader);
    Next<Shader>::body = [&](ID3D11DeviceContext*, ID3D11PixelShader** out, ID3D11ClassInstance**, UINT* n) {
        *out = shader.as<ID3D11PixelShader>();
        if (n != nullptr) *n = 0;
    };
    const Shader psGetShader = layer.Hook<Shader>(slots::ID3D11DeviceContext_PSGetShader);
    using Buffer = decltype(ID3D11VideoContextVtbl::GetDecoderBuffer);
    Next<Buffer>::body = [](ID3D11VideoContext*, ID3D11VideoDecoder*, D3D11_VIDEO_DECODER_BUFFER_TYPE,
                            UINT* size, void**) { *size = 3; };
    const Buffer getDecoderBuffer = layer.Hook<Buffer>(slots::ID3D11VideoContext_GetDecoderBuffer);

    ID3D11PixelShader* pixelShader = nullptr;
    ID3D11ClassInstance* instances[4] = {};
    UINT instanceCount = 4;
    UINT size = 0;
    void* data = nullptr;
    EXPECT_EQ(Dump([&] {
                  psGetShader(context.as<ID3D11DeviceContext>(), &pixelShader, instances, &instanceCount);
                  psGetShader(context.as<ID3D11DeviceContext>(), &pixelShader, instances, nullptr);
                  getDecoderBuffer(video.as<ID3D11VideoContext>(), decoder.as<ID3D11VideoDecoder>(),
                                   D3D11_VIDEO_DECODER_BUFFER_TYPE{}, &size, &data);
                  getDecoderBuffer(video.as<ID3D11VideoContext>(), decoder.as<ID3D11VideoDecoder>(),
                                   D3D11_VIDEO_DECODER_BUFFER_TYPE{}, &size, nullptr);
                  Next<Buffer>::value = -2147024809;
                  getDecoderBuffer(video.as<ID3D11VideoContext>(), decoder.as<ID3D11VideoDecoder>(),
                                   D3D11_VIDEO_DECODER_BUFFER_TYPE{}, &size, &data);
              }),
              "ID3D11DeviceContext::PSGetShader\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    ID3D11PixelShader ** ppPixelShader\n"
              "        [0] Capture Time ID: 0x2c ID3D11PixelShader\n"
              "    ID3D11ClassInstance ** ppClassInstances\n"
              "    UINT * pNumClassInstances: 0\n"
              "ID3D11DeviceContext::PSGetShader\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    ID3D11PixelShader ** ppPixelShader\n"
              "        [0] Capture Time ID: 0x2c ID3D11PixelShader\n"
              "    ID3D11ClassInstance ** ppClassInstances\n"
              "    UINT * pNumClassInstances NULLPTR\n"
              "ID3D11VideoContext::GetDecoderBuffer\n"
              "    ID3D11VideoContext* self\n"
              "         Capture Time ID: 0x2a ID3D11VideoContext\n"
              "    ID3D11VideoDecoder * pDecoder\n"
              "         Capture Time ID: 0x2b ID3D11VideoDecoder\n"
              "    UINT * pBufferSize: 3\n"
              "    void ** ppBuffer\n"
              "        [0] void ptr, can not infer type to print\n"
              "        [1] void ptr, can not infer type to print\n"
              "        [2] void ptr, can not infer type to print\n"
              "= HRESULT RESULT : 0\n"
              "ID3D11VideoContext::GetDecoderBuffer\n"
              "    ID3D11VideoContext* self\n"
              "         Capture Time ID: 0x2a ID3D11VideoContext\n"
              "    ID3D11VideoDecoder * pDecoder\n"
              "         Capture Time ID: 0x2b ID3D11VideoDecoder\n"
              "    UINT * pBufferSize: 3\n"
              "    void ** ppBuffer\n"
              " NULLPTR\n"
              "= HRESULT RESULT : 0\n"
              "ID3D11VideoContext::GetDecoderBuffer\n"
              "    ID3D11VideoContext* self\n"
              "         Capture Time ID: 0x2a ID3D11VideoContext\n"
              "    ID3D11VideoDecoder * pDecoder\n"
              "         Capture Time ID: 0x2b ID3D11VideoDecoder\n"
              "    UINT * pBufferSize: 3\n"
              "    void ** ppBuffer\n"
              "= HRESULT RESULT : -2147024809\n");
}

// --- values of the declaration's many kinds -------------------------------------------------------

TEST(ComHookExamples, ScalarsHandlesAndNotImplementedValues) {
    VerboseLayer layer;
    FakeObject list, device10, factory, resource;
    Arm<ID3D12ObjectVtbl>(list, 42);
    Arm<ID3D10DeviceVtbl>(device10, 0);
    Arm<IDXGIObjectVtbl>(factory, 42);
    Arm<ID3D12ObjectVtbl>(resource, 42);
    using Clear = decltype(ID3D12GraphicsCommandListVtbl::ClearDepthStencilView);
    const Clear clear = layer.Hook<Clear>(slots::ID3D12GraphicsCommandList_ClearDepthStencilView);
    using Draw = decltype(ID3D10DeviceVtbl::DrawIndexed);
    const Draw drawIndexed = layer.Hook<Draw>(slots::ID3D10Device_DrawIndexed);
    using Window = decltype(IDXGIFactoryVtbl::GetWindowAssociation);
    const Window getWindow = layer.Hook<Window>(slots::IDXGIFactory_GetWindowAssociation);
    using Map = decltype(ID3D12Resource1Vtbl::Map);
    const Map map = layer.Hook<Map>(slots::ID3D12Resource1_Map);
    using Topology = decltype(ID3D12GraphicsCommandListVtbl::IASetPrimitiveTopology);
    const Topology setTopology = layer.Hook<Topology>(slots::ID3D12GraphicsCommandList_IASetPrimitiveTopology);
    HWND window = nullptr;
    void* mapped = &window;
    EXPECT_EQ(Dump([&] {
                  clear(list.as<ID3D12GraphicsCommandList>(), D3D12_CPU_DESCRIPTOR_HANDLE{}, D3D12_CLEAR_FLAGS{},
                        1.0f, 0, 0, nullptr);
                  drawIndexed(device10.as<ID3D10Device>(), 36, 0, -5);
                  getWindow(factory.as<IDXGIFactory>(), &window);
                  map(resource.as<ID3D12Resource1>(), 0, nullptr, &mapped);
                  setTopology(list.as<ID3D12GraphicsCommandList>(), D3D_PRIMITIVE_TOPOLOGY{});
              }),
              "ID3D12GraphicsCommandList::ClearDepthStencilView\n"
              "    ID3D12GraphicsCommandList* self\n"
              "         Capture Time ID: 0x2a ID3D12GraphicsCommandList\n"
              "    FLOAT Depth: 1.000000\n"
              "    UINT8 Stencil: IS NYI\n"
              "    UINT NumRects: 0\n"
              "    const D3D12_RECT * pRects NULLPTR\n"
              "ID3D10Device::DrawIndexed\n"
              "    ID3D10Device* self\n"
              "         ID3D10Device\n"
              "    UINT IndexCount: 36\n"
              "    UINT StartIndexLocation: 0\n"
              "    INT BaseVertexLocation: -5\n"
              "IDXGIFactory::GetWindowAssociation\n"
              "    IDXGIFactory* self\n"
              "         Capture Time ID: 0x2a IDXGIFactory\n"
              "    HWND * pWindowHandle: NYI HWND\n"
              "= HRESULT RESULT : 0\n"
              "ID3D12Resource1::Map\n"
              "    ID3D12Resource* self\n"
              "         Capture Time ID: 0x2a ID3D12Resource\n"
              "    UINT Subresource: 0\n"
              "    const D3D12_RANGE * pReadRange NULLPTR\n"
              "    void ** ppData\n"
              "= HRESULT RESULT : 0\n"
              "ID3D12GraphicsCommandList::IASetPrimitiveTopology\n"
              "    ID3D12GraphicsCommandList* self\n"
              "         Capture Time ID: 0x2a ID3D12GraphicsCommandList\n");
}

// An optional array of four numbers may be null: it shows as a null pointer does.
TEST(ComHookExamples, OptionalBlendFactorMayBeNull) {
    VerboseLayer layer;
    FakeObject context;
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    using F = decltype(ID3D11DeviceContextVtbl::OMSetBlendState);
    const F hook = layer.Hook<F>(slots::ID3D11DeviceContext_OMSetBlendState);
    const float factor[4] = {0.5f, 1.0f, 0.25f, 0.0f};
    EXPECT_EQ(Dump([&] {
                  hook(context.as<ID3D11DeviceContext>(), nullptr, nullptr, 0xffffffffu);
                  hook(context.as<ID3D11DeviceContext>(), nullptr, factor, 1);
              }),
              "ID3D11DeviceContext::OMSetBlendState\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    ID3D11BlendState * pBlendState NULLPTR\n"
              "    const FLOAT [4] BlendFactor NULLPTR\n"
              "    UINT SampleMask: 4294967295\n"
              "ID3D11DeviceContext::OMSetBlendState\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    ID3D11BlendState * pBlendState NULLPTR\n"
              "    const FLOAT [4] BlendFactor: [ 0.5, 1, 0.25, 0, ]\n"
              "    UINT SampleMask: 1\n");
}

TEST(ComHookExamples, ResultsThatAreNotShown) {
    VerboseLayer layer;
    FakeObject resource, swapChain, blob, context;
    Arm<ID3D12ObjectVtbl>(resource, 42);
    Arm<ID3D11DeviceChildVtbl>(context, 42);
    Arm<IDXGIObjectVtbl>(swapChain, 42);
    using Desc = decltype(ID3D12Resource2Vtbl::GetDesc);
    static D3D12_RESOURCE_DESC storage{};
    Next<Desc>::value = &storage;
    const Desc getDesc = layer.Hook<Desc>(slots::ID3D12Resource2_GetDesc);
    using Waitable = decltype(IDXGISwapChain2Vtbl::GetFrameLatencyWaitableObject);
    const Waitable getWaitable = layer.Hook<Waitable>(slots::IDXGISwapChain2_GetFrameLatencyWaitableObject);
    using Pointer = decltype(ID3D10BlobVtbl::GetBufferPointer);
    const Pointer getPointer = layer.Hook<Pointer>(slots::ID3D10Blob_GetBufferPointer);
    using Lod = decltype(ID3D11DeviceContextVtbl::GetResourceMinLOD);
    Next<Lod>::value = 2.5f;
    const Lod getMinLod = layer.Hook<Lod>(slots::ID3D11DeviceContext_GetResourceMinLOD);
    D3D12_RESOURCE_DESC desc{};
    EXPECT_EQ(Dump([&] {
                  EXPECT_EQ(getDesc(resource.as<ID3D12Resource2>(), &desc), &storage);
                  getWaitable(swapChain.as<IDXGISwapChain2>());
                  getPointer(blob.as<ID3D10Blob>());
                  getMinLod(context.as<ID3D11DeviceContext>(), nullptr);
              }),
              "ID3D12Resource2::GetDesc\n"
              "    ID3D12Resource* self\n"
              "         Capture Time ID: 0x2a ID3D12Resource\n"
              "= D3D12_RESOURCE_DESC RESULT : IS NYI\n"
              "IDXGISwapChain2::GetFrameLatencyWaitableObject\n"
              "    IDXGISwapChain2* self\n"
              "         Capture Time ID: 0x2a IDXGISwapChain2\n"
              "= HANDLE RESULT : IS NYI\n"
              "ID3D10Blob::GetBufferPointer\n"
              "    ID3D10Blob* self\n"
              "         ID3D10Blob\n"
              "= LPVOID RESULT : IS NYI\n"
              "ID3D11DeviceContext::GetResourceMinLOD\n"
              "    ID3D11DeviceContext* self\n"
              "         Capture Time ID: 0x2a ID3D11DeviceContext\n"
              "    ID3D11Resource * pResource NULLPTR\n"
              "= FLOAT RESULT : 2.500000\n");
}

}  // namespace
}  // namespace tov::comhooks
