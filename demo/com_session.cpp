// The Direct3D side of the demo: a Direct3D 11 frame and a Direct3D 12 frame played through the
// layer's hooks. The objects are stand-ins that the host has tagged with a Capture Time ID, and
// each downstream function is a stand-in driver function that writes plausible out-values.
#include "com_session.h"

#include <cstddef>
#include <cstring>
#include <functional>

#include "com_api.h"
#include "slot_catalogue.h"

namespace tov::demo {
namespace {

namespace s = logging_layer::slots;

// An object as the host has tagged it: its id behind the GetPrivateData of its base interface.
struct StandInObject {
    void* const* lpVtbl = table;
    std::uint64_t id = 0;
    void* table[128] = {};

    static HRESULT TOV_COM_CALL GetPrivateData(void* self, const GUID&, UINT* size, void* data) {
        const auto* object = static_cast<StandInObject*>(self);
        if (size == nullptr || *size < sizeof object->id) return -2147024809;
        std::memcpy(data, &object->id, sizeof object->id);
        return 0;
    }
    template <typename Vtbl>
    void Tag(std::uint64_t captureTimeId) {
        static_assert(sizeof(Vtbl) <= sizeof table);
        id = captureTimeId;
        table[offsetof(Vtbl, GetPrivateData) / sizeof(void*)] = reinterpret_cast<void*>(&GetPrivateData);
    }
    template <typename I>
    I* as() { return reinterpret_cast<I*>(this); }
};

// A stand-in driver function of any prototype: runs its body, if any, and returns success.
template <typename F>
struct Driver;
template <typename R, typename... A>
struct Driver<R(TOV_COM_CALL*)(A...)> {
    static inline std::function<void(A...)> body;
    static R TOV_COM_CALL Fn(A... args) {
        if (body) body(args...);
        return R{};
    }
};
template <typename... A>
struct Driver<void(TOV_COM_CALL*)(A...)> {
    static void TOV_COM_CALL Fn(A...) {}
};

// Routes a slot to its stand-in and returns the layer's hook for it.
template <typename F>
F Hook(testhost::Layer& layer, std::uint32_t slot) {
    layer.Route(slot, reinterpret_cast<void*>(&Driver<F>::Fn));
    return reinterpret_cast<F>(layer.hook(slot));
}

void PlayDirect3D11Frame(testhost::Layer& layer) {
    static StandInObject device, context, swapChain, backBuffer, view, vertexBuffer;
    device.Tag<ID3D11DeviceVtbl>(0x101);
    context.Tag<ID3D11DeviceChildVtbl>(0x102);
    swapChain.Tag<IDXGIObjectVtbl>(0x103);
    backBuffer.Tag<ID3D11DeviceChildVtbl>(0x104);
    view.Tag<ID3D11DeviceChildVtbl>(0x105);
    vertexBuffer.Tag<ID3D11DeviceChildVtbl>(0x106);

    using Create = PFN_D3D11CreateDeviceAndSwapChain;
    Driver<Create>::body = [](IDXGIAdapter*, D3D_DRIVER_TYPE, HMODULE, UINT, const D3D_FEATURE_LEVEL*, UINT, UINT,
                              const DXGI_SWAP_CHAIN_DESC*, IDXGISwapChain** chain, ID3D11Device** dev,
                              D3D_FEATURE_LEVEL* level, ID3D11DeviceContext** ctx) {
        *chain = swapChain.as<IDXGISwapChain>();
        *dev = device.as<ID3D11Device>();
        *level = D3D_FEATURE_LEVEL_11_0;
        *ctx = context.as<ID3D11DeviceContext>();
    };
    DXGI_SWAP_CHAIN_DESC chainDesc{};
    chainDesc.BufferDesc.Width = 1280;
    chainDesc.BufferDesc.Height = 720;
    chainDesc.BufferDesc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    chainDesc.SampleDesc.Count = 1;
    chainDesc.BufferCount = 2;
    chainDesc.Windowed = 1;
    const D3D_FEATURE_LEVEL levels[] = {D3D_FEATURE_LEVEL_11_0};
    IDXGISwapChain* chain = nullptr;
    ID3D11Device* dev = nullptr;
    ID3D11DeviceContext* ctx = nullptr;
    D3D_FEATURE_LEVEL level{};
    Hook<Create>(layer, s::D3D11CreateDeviceAndSwapChain)(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, levels, 1, 7,
                                                          &chainDesc, &chain, &dev, &level, &ctx);

    using GetBuffer = decltype(IDXGISwapChainVtbl::GetBuffer);
    Driver<GetBuffer>::body = [](IDXGISwapChain*, UINT, REFIID, void** out) { *out = &backBuffer; };
    void* buffer = nullptr;
    Hook<GetBuffer>(layer, s::IDXGISwapChain_GetBuffer)(chain, 0, IID_ID3D11Texture2D, &buffer);

    using CreateView = decltype(ID3D11DeviceVtbl::CreateRenderTargetView);
    Driver<CreateView>::body = [](ID3D11Device*, ID3D11Resource*, const D3D11_RENDER_TARGET_VIEW_DESC*,
                                  ID3D11RenderTargetView** out) { *out = view.as<ID3D11RenderTargetView>(); };
    ID3D11RenderTargetView* rtv = nullptr;
    Hook<CreateView>(layer, s::ID3D11Device_CreateRenderTargetView)(dev, static_cast<ID3D11Resource*>(buffer),
                                                                    nullptr, &rtv);

    using CreateBuffer = decltype(ID3D11DeviceVtbl::CreateBuffer);
    Driver<CreateBuffer>::body = [](ID3D11Device*, const D3D11_BUFFER_DESC*, const D3D11_SUBRESOURCE_DATA*,
                                    ID3D11Buffer** out) { *out = vertexBuffer.as<ID3D11Buffer>(); };
    const float vertices[] = {0.0f, 0.5f, 0.5f, -0.5f, -0.5f, -0.5f};
    D3D11_BUFFER_DESC bufferDesc{};
    bufferDesc.ByteWidth = sizeof vertices;
    bufferDesc.BindFlags = 1;   // vertex buffer
    D3D11_SUBRESOURCE_DATA initial{};
    initial.pSysMem = vertices;
    ID3D11Buffer* vb = nullptr;
    Hook<CreateBuffer>(layer, s::ID3D11Device_CreateBuffer)(dev, &bufferDesc, &initial, &vb);

    using SetTargets = decltype(ID3D11DeviceContextVtbl::OMSetRenderTargets);
    Hook<SetTargets>(layer, s::ID3D11DeviceContext_OMSetRenderTargets)(ctx, 1, &rtv, nullptr);
    using Viewports = decltype(ID3D11DeviceContextVtbl::RSSetViewports);
    const D3D11_VIEWPORT viewport{0, 0, 1280, 720, 0, 1};
    Hook<Viewports>(layer, s::ID3D11DeviceContext_RSSetViewports)(ctx, 1, &viewport);
    using Clear = decltype(ID3D11DeviceContextVtbl::ClearRenderTargetView);
    const float blue[4] = {0.0f, 0.25f, 0.5f, 1.0f};
    Hook<Clear>(layer, s::ID3D11DeviceContext_ClearRenderTargetView)(ctx, rtv, blue);
    using VertexBuffers = decltype(ID3D11DeviceContextVtbl::IASetVertexBuffers);
    const UINT stride = 8, offset = 0;
    Hook<VertexBuffers>(layer, s::ID3D11DeviceContext_IASetVertexBuffers)(ctx, 0, 1, &vb, &stride, &offset);
    using Topology = decltype(ID3D11DeviceContextVtbl::IASetPrimitiveTopology);
    Hook<Topology>(layer, s::ID3D11DeviceContext_IASetPrimitiveTopology)(ctx, D3D11_PRIMITIVE_TOPOLOGY{4});
    using Draw = decltype(ID3D11DeviceContextVtbl::Draw);
    Hook<Draw>(layer, s::ID3D11DeviceContext_Draw)(ctx, 3, 0);
    using Present = decltype(IDXGISwapChainVtbl::Present);
    Hook<Present>(layer, s::IDXGISwapChain_Present)(chain, 1, 0);
}

void PlayDirect3D12Frame(testhost::Layer& layer) {
    static StandInObject device, queue, allocator, list, target, fence, swapChain;
    device.Tag<ID3D12ObjectVtbl>(0x201);
    queue.Tag<ID3D12ObjectVtbl>(0x202);
    allocator.Tag<ID3D12ObjectVtbl>(0x203);
    list.Tag<ID3D12ObjectVtbl>(0x204);
    target.Tag<ID3D12ObjectVtbl>(0x205);
    fence.Tag<ID3D12ObjectVtbl>(0x206);
    swapChain.Tag<IDXGIObjectVtbl>(0x207);

    using Create = PFN_D3D12CreateDevice;
    Driver<Create>::body = [](IUnknown*, D3D_FEATURE_LEVEL, REFIID, void** out) { *out = &device; };
    void* dev = nullptr;
    Hook<Create>(layer, s::D3D12CreateDevice)(nullptr, D3D_FEATURE_LEVEL_11_0, IID_ID3D12Device, &dev);
    auto* d = static_cast<ID3D12Device*>(dev);

    using CreateQueue = decltype(ID3D12DeviceVtbl::CreateCommandQueue);
    Driver<CreateQueue>::body = [](ID3D12Device*, const D3D12_COMMAND_QUEUE_DESC*, REFIID, void** out) { *out = &queue; };
    D3D12_COMMAND_QUEUE_DESC queueDesc{};
    void* q = nullptr;
    Hook<CreateQueue>(layer, s::ID3D12Device_CreateCommandQueue)(d, &queueDesc, IID_ID3D12CommandQueue, &q);

    using CreateAllocator = decltype(ID3D12DeviceVtbl::CreateCommandAllocator);
    Driver<CreateAllocator>::body = [](ID3D12Device*, D3D12_COMMAND_LIST_TYPE, REFIID, void** out) { *out = &allocator; };
    void* a = nullptr;
    Hook<CreateAllocator>(layer, s::ID3D12Device_CreateCommandAllocator)(d, D3D12_COMMAND_LIST_TYPE{}, IID_ID3D12CommandAllocator, &a);

    using CreateResource = decltype(ID3D12DeviceVtbl::CreateCommittedResource);
    Driver<CreateResource>::body = [](ID3D12Device*, const D3D12_HEAP_PROPERTIES*, D3D12_HEAP_FLAGS, const D3D12_RESOURCE_DESC*,
                                      D3D12_RESOURCE_STATES, const D3D12_CLEAR_VALUE*, REFIID, void** out) { *out = &target; };
    D3D12_HEAP_PROPERTIES heap{};
    heap.Type = D3D12_HEAP_TYPE{1};   // default heap
    D3D12_RESOURCE_DESC resourceDesc{};
    resourceDesc.Dimension = D3D12_RESOURCE_DIMENSION{3};   // two-dimensional texture
    resourceDesc.Width = 1280;
    resourceDesc.Height = 720;
    resourceDesc.DepthOrArraySize = 1;
    resourceDesc.MipLevels = 1;
    resourceDesc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    resourceDesc.SampleDesc.Count = 1;
    void* r = nullptr;
    Hook<CreateResource>(layer, s::ID3D12Device_CreateCommittedResource)(d, &heap, D3D12_HEAP_FLAGS{}, &resourceDesc,
                                                                       D3D12_RESOURCE_STATES{}, nullptr, IID_ID3D12Resource, &r);

    using CreateList = decltype(ID3D12DeviceVtbl::CreateCommandList);
    Driver<CreateList>::body = [](ID3D12Device*, UINT, D3D12_COMMAND_LIST_TYPE, ID3D12CommandAllocator*,
                                  ID3D12PipelineState*, REFIID, void** out) { *out = &list; };
    void* l = nullptr;
    Hook<CreateList>(layer, s::ID3D12Device_CreateCommandList)(d, 0, D3D12_COMMAND_LIST_TYPE{},
                                                              static_cast<ID3D12CommandAllocator*>(a), nullptr,
                                                              IID_ID3D12GraphicsCommandList, &l);
    auto* cl = static_cast<ID3D12GraphicsCommandList*>(l);

    const char marker[] = "frame";
    using Begin = decltype(ID3D12GraphicsCommandListVtbl::BeginEvent);
    Hook<Begin>(layer, s::ID3D12GraphicsCommandList_BeginEvent)(cl, 1, marker, sizeof marker);
    using Barrier = decltype(ID3D12GraphicsCommandListVtbl::ResourceBarrier);
    D3D12_RESOURCE_BARRIER barrier{};
    barrier.Transition.pResource = static_cast<ID3D12Resource*>(r);
    barrier.Transition.StateAfter = D3D12_RESOURCE_STATES{4};   // render target
    Hook<Barrier>(layer, s::ID3D12GraphicsCommandList_ResourceBarrier)(cl, 1, &barrier);
    using Clear = decltype(ID3D12GraphicsCommandListVtbl::ClearRenderTargetView);
    const float blue[4] = {0.0f, 0.25f, 0.5f, 1.0f};
    Hook<Clear>(layer, s::ID3D12GraphicsCommandList_ClearRenderTargetView)(cl, D3D12_CPU_DESCRIPTOR_HANDLE{65536}, blue, 0,
                                                                          nullptr);
    using End = decltype(ID3D12GraphicsCommandListVtbl::EndEvent);
    Hook<End>(layer, s::ID3D12GraphicsCommandList_EndEvent)(cl);
    using Close = decltype(ID3D12GraphicsCommandListVtbl::Close);
    Hook<Close>(layer, s::ID3D12GraphicsCommandList_Close)(cl);

    using Execute = decltype(ID3D12CommandQueueVtbl::ExecuteCommandLists);
    ID3D12CommandList* const lists[] = {list.as<ID3D12CommandList>()};
    Hook<Execute>(layer, s::ID3D12CommandQueue_ExecuteCommandLists)(static_cast<ID3D12CommandQueue*>(q), 1, lists);
    using Signal = decltype(ID3D12CommandQueueVtbl::Signal);
    Hook<Signal>(layer, s::ID3D12CommandQueue_Signal)(static_cast<ID3D12CommandQueue*>(q), fence.as<ID3D12Fence>(), 1);

    using Present1 = decltype(IDXGISwapChain3Vtbl::Present1);
    DXGI_PRESENT_PARAMETERS parameters{};
    Hook<Present1>(layer, s::IDXGISwapChain3_Present1)(swapChain.as<IDXGISwapChain3>(), 1, 0, &parameters);
}

}  // namespace

void PlayDirect3DSession(testhost::Layer& layer) {
    PlayDirect3D11Frame(layer);
    PlayDirect3D12Frame(layer);
}

}  // namespace tov::demo
