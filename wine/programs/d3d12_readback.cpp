// A Direct3D 12 program: clears a small render target, copies it into a read-back buffer on the
// GPU, waits for a fence and checks the pixels on the CPU. On the way it makes a root signature
// from a serialized description, as Direct3D 12 programs do.
// Methods that return a structure take the storage as a hidden argument, as the DLLs expect.
#define WIDL_EXPLICIT_AGGREGATE_RETURNS
#include <initguid.h>
#include <d3d12.h>
#include <windows.h>

#include "program.h"

using namespace tov::programs;

namespace {

constexpr UINT kSize = 4;
constexpr UINT kRowPitch = D3D12_TEXTURE_DATA_PITCH_ALIGNMENT;
constexpr float kClear[4] = {0.75f, 0.25f, 0.5f, 1.0f};
constexpr unsigned char kExpected[4] = {191, 64, 128, 255};

D3D12_RESOURCE_DESC TextureDesc() {
    D3D12_RESOURCE_DESC desc = {};
    desc.Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
    desc.Width = desc.Height = kSize;
    desc.DepthOrArraySize = desc.MipLevels = 1;
    desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    desc.SampleDesc.Count = 1;
    desc.Flags = D3D12_RESOURCE_FLAG_ALLOW_RENDER_TARGET;
    return desc;
}

D3D12_RESOURCE_DESC BufferDesc(UINT64 size) {
    D3D12_RESOURCE_DESC desc = {};
    desc.Dimension = D3D12_RESOURCE_DIMENSION_BUFFER;
    desc.Width = size;
    desc.Height = desc.DepthOrArraySize = desc.MipLevels = 1;
    desc.SampleDesc.Count = 1;
    desc.Layout = D3D12_TEXTURE_LAYOUT_ROW_MAJOR;
    return desc;
}

}  // namespace

int main() {
    ID3D12Device* device = nullptr;
    CheckHr(D3D12CreateDevice(nullptr, D3D_FEATURE_LEVEL_11_0, IID_ID3D12Device, reinterpret_cast<void**>(&device)),
            "D3D12CreateDevice");

    D3D12_ROOT_SIGNATURE_DESC rootDesc = {};
    ID3DBlob* serialized = nullptr;
    CheckHr(D3D12SerializeRootSignature(&rootDesc, D3D_ROOT_SIGNATURE_VERSION_1, &serialized, nullptr),
            "D3D12SerializeRootSignature");
    ID3D12RootSignature* rootSignature = nullptr;
    CheckHr(device->CreateRootSignature(0, serialized->GetBufferPointer(), serialized->GetBufferSize(),
                                        IID_ID3D12RootSignature, reinterpret_cast<void**>(&rootSignature)),
            "CreateRootSignature");
    serialized->Release();

    D3D12_COMMAND_QUEUE_DESC queueDesc = {};
    queueDesc.Type = D3D12_COMMAND_LIST_TYPE_DIRECT;
    ID3D12CommandQueue* queue = nullptr;
    CheckHr(device->CreateCommandQueue(&queueDesc, IID_ID3D12CommandQueue, reinterpret_cast<void**>(&queue)),
            "CreateCommandQueue");
    ID3D12CommandAllocator* allocator = nullptr;
    CheckHr(device->CreateCommandAllocator(D3D12_COMMAND_LIST_TYPE_DIRECT, IID_ID3D12CommandAllocator,
                                           reinterpret_cast<void**>(&allocator)),
            "CreateCommandAllocator");
    ID3D12GraphicsCommandList* list = nullptr;
    CheckHr(device->CreateCommandList(0, D3D12_COMMAND_LIST_TYPE_DIRECT, allocator, nullptr,
                                      IID_ID3D12GraphicsCommandList, reinterpret_cast<void**>(&list)),
            "CreateCommandList");

    D3D12_DESCRIPTOR_HEAP_DESC heapDesc = {};
    heapDesc.Type = D3D12_DESCRIPTOR_HEAP_TYPE_RTV;
    heapDesc.NumDescriptors = 1;
    ID3D12DescriptorHeap* descriptors = nullptr;
    CheckHr(device->CreateDescriptorHeap(&heapDesc, IID_ID3D12DescriptorHeap, reinterpret_cast<void**>(&descriptors)),
            "CreateDescriptorHeap");

    D3D12_HEAP_PROPERTIES onGpu = {};
    onGpu.Type = D3D12_HEAP_TYPE_DEFAULT;
    const D3D12_RESOURCE_DESC textureDesc = TextureDesc();
    D3D12_CLEAR_VALUE clearValue = {};
    clearValue.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    for (int c = 0; c < 4; ++c) clearValue.Color[c] = kClear[c];
    ID3D12Resource* target = nullptr;
    CheckHr(device->CreateCommittedResource(&onGpu, D3D12_HEAP_FLAG_NONE, &textureDesc,
                                            D3D12_RESOURCE_STATE_RENDER_TARGET, &clearValue, IID_ID3D12Resource,
                                            reinterpret_cast<void**>(&target)),
            "CreateCommittedResource (render target)");
    D3D12_HEAP_PROPERTIES readable = {};
    readable.Type = D3D12_HEAP_TYPE_READBACK;
    const D3D12_RESOURCE_DESC bufferDesc = BufferDesc(kRowPitch * kSize);
    ID3D12Resource* readback = nullptr;
    CheckHr(device->CreateCommittedResource(&readable, D3D12_HEAP_FLAG_NONE, &bufferDesc,
                                            D3D12_RESOURCE_STATE_COPY_DEST, nullptr, IID_ID3D12Resource,
                                            reinterpret_cast<void**>(&readback)),
            "CreateCommittedResource (read-back buffer)");

    const D3D12_CPU_DESCRIPTOR_HANDLE view = descriptors->GetCPUDescriptorHandleForHeapStart();
    device->CreateRenderTargetView(target, nullptr, view);
    list->ClearRenderTargetView(view, kClear, 0, nullptr);
    D3D12_RESOURCE_BARRIER barrier = {};
    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_TRANSITION;
    barrier.Transition.pResource = target;
    barrier.Transition.Subresource = D3D12_RESOURCE_BARRIER_ALL_SUBRESOURCES;
    barrier.Transition.StateBefore = D3D12_RESOURCE_STATE_RENDER_TARGET;
    barrier.Transition.StateAfter = D3D12_RESOURCE_STATE_COPY_SOURCE;
    list->ResourceBarrier(1, &barrier);
    D3D12_TEXTURE_COPY_LOCATION to = {};
    to.pResource = readback;
    to.Type = D3D12_TEXTURE_COPY_TYPE_PLACED_FOOTPRINT;
    to.PlacedFootprint.Footprint.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    to.PlacedFootprint.Footprint.Width = to.PlacedFootprint.Footprint.Height = kSize;
    to.PlacedFootprint.Footprint.Depth = 1;
    to.PlacedFootprint.Footprint.RowPitch = kRowPitch;
    D3D12_TEXTURE_COPY_LOCATION from = {};
    from.pResource = target;
    from.Type = D3D12_TEXTURE_COPY_TYPE_SUBRESOURCE_INDEX;
    list->CopyTextureRegion(&to, 0, 0, 0, &from, nullptr);
    CheckHr(list->Close(), "Close");
    ID3D12CommandList* lists[] = {list};
    queue->ExecuteCommandLists(1, lists);

    ID3D12Fence* fence = nullptr;
    CheckHr(device->CreateFence(0, D3D12_FENCE_FLAG_NONE, IID_ID3D12Fence, reinterpret_cast<void**>(&fence)),
            "CreateFence");
    CheckHr(queue->Signal(fence, 1), "Signal");
    const HANDLE done = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CheckHr(fence->SetEventOnCompletion(1, done), "SetEventOnCompletion");
    Check(WaitForSingleObject(done, 30000) == WAIT_OBJECT_0, "the fence is not reached");
    CloseHandle(done);

    const D3D12_RANGE range = {0, kRowPitch * kSize};
    void* data = nullptr;
    CheckHr(readback->Map(0, &range, &data), "Map");
    int right = 0;
    for (UINT y = 0; y < kSize; ++y)
        for (UINT x = 0; x < kSize; ++x)
            right += PixelIs(static_cast<const unsigned char*>(data) + y * kRowPitch + 4 * x, kExpected);
    const D3D12_RANGE written = {0, 0};
    readback->Unmap(0, &written);
    Check(right == kSize * kSize, "the read back pixels are not the clear colour");
    Say("d3d12_readback: 16 pixels read back");

    fence->Release();
    readback->Release();
    target->Release();
    descriptors->Release();
    list->Release();
    allocator->Release();
    queue->Release();
    rootSignature->Release();
    Check(device->Release() == 0, "the device is still referenced");
    return 0;
}
