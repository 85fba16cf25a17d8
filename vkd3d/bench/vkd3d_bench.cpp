// Ordinary-mode cost of a call on a real vkd3d object through the vkd3d host's core, against the
// host's entry function alone (the same call nested, which goes straight to vkd3d) and against
// vkd3d's method called directly, all measured in the same run; and the cost of a call that the
// call filter leaves out, against the same direct call. The logger is a no-op defined here,
// which the layer reaches through the dynamic linker.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "call_filter.h"
#include "com_api.h"
#include "comhost.h"
#include "slot_catalogue.h"
#include "testhost.h"

extern "C" __attribute__((visibility("default"))) int LogMessage(int, int, int, const char*, ...) {
    return 0;
}

extern "C" HRESULT TOV_COM_CALL D3D12CreateDevice(IUnknown*, D3D_FEATURE_LEVEL, REFIID, void**);

namespace {

namespace s = tov::logging_layer::slots;

struct Setup {
    Setup() {
        layer.GetDispatchTable();
        for (std::size_t slot = 0; slot < hooks.size(); ++slot) hooks[slot] = layer.hook(slot);
        tov::filter::CallFilter("", "ID3D12GraphicsCommandList2::GetType", "", "")
            .Apply(hooks.data());
        tov::comhost::Attach(layer.table(), hooks.data(), "vkd3d_bench");
        if (D3D12CreateDevice(nullptr, D3D_FEATURE_LEVEL_11_0, IID_ID3D12Device,
                              reinterpret_cast<void**>(&device)) < 0)
            std::abort();
        tov::comhost::Catch(device);  // the program would have it from the host's export
        // Objects made through the hooked device are caught as the program's are.
        device->lpVtbl->CreateFence(device, 0, D3D12_FENCE_FLAG_NONE, IID_ID3D12Fence,
                                    reinterpret_cast<void**>(&fence));
        device->lpVtbl->CreateCommandAllocator(device, D3D12_COMMAND_LIST_TYPE_DIRECT,
                                               IID_ID3D12CommandAllocator,
                                               reinterpret_cast<void**>(&allocator));
        device->lpVtbl->CreateCommandList(device, 0, D3D12_COMMAND_LIST_TYPE_DIRECT, allocator,
                                          nullptr, IID_ID3D12GraphicsCommandList,
                                          reinterpret_cast<void**>(&list));
        if (fence == nullptr || list == nullptr) std::abort();
    }
    tov::testhost::Layer layer;
    std::vector<void*> hooks = std::vector<void*>(tov::logging_layer::kSlotCount);
    ID3D12Device* device = nullptr;
    ID3D12Fence* fence = nullptr;
    ID3D12CommandAllocator* allocator = nullptr;
    ID3D12GraphicsCommandList* list = nullptr;
};

Setup& Shared() {
    static Setup setup;
    return setup;
}

template <typename F>
F Original(std::uint32_t slot) {
    F f = reinterpret_cast<F>(Shared().layer.table()->slots[slot]);
    benchmark::DoNotOptimize(f);
    return f;
}

using GetCompletedValueFn = decltype(ID3D12FenceVtbl::GetCompletedValue);
using SetTopologyFn = decltype(ID3D12GraphicsCommandListVtbl::IASetPrimitiveTopology);

void GetCompletedValue_Direct(benchmark::State& state) {
    ID3D12Fence* fence = Shared().fence;
    const auto f = Original<GetCompletedValueFn>(s::ID3D12Fence_GetCompletedValue);
    for (auto _ : state) benchmark::DoNotOptimize(f(fence));
}
void GetCompletedValue_Baseline(benchmark::State& state) {
    ID3D12Fence* fence = Shared().fence;
    const tov::comhost::Nesting nested;
    for (auto _ : state) benchmark::DoNotOptimize(fence->lpVtbl->GetCompletedValue(fence));
}
void GetCompletedValue_Hook(benchmark::State& state) {
    ID3D12Fence* fence = Shared().fence;
    for (auto _ : state) benchmark::DoNotOptimize(fence->lpVtbl->GetCompletedValue(fence));
}

void IASetPrimitiveTopology_Direct(benchmark::State& state) {
    ID3D12GraphicsCommandList* list = Shared().list;
    const auto f = Original<SetTopologyFn>(s::ID3D12GraphicsCommandList2_IASetPrimitiveTopology);
    for (auto _ : state) f(list, D3D_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
}
void IASetPrimitiveTopology_Baseline(benchmark::State& state) {
    ID3D12GraphicsCommandList* list = Shared().list;
    const tov::comhost::Nesting nested;
    for (auto _ : state) list->lpVtbl->IASetPrimitiveTopology(list, D3D_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
}
void IASetPrimitiveTopology_Hook(benchmark::State& state) {
    ID3D12GraphicsCommandList* list = Shared().list;
    for (auto _ : state) list->lpVtbl->IASetPrimitiveTopology(list, D3D_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
}

using GetTypeFn = decltype(ID3D12GraphicsCommandListVtbl::GetType);

// One loop for both: the same machine code, so that its placement cannot tell them apart.
void GetType(benchmark::State& state, bool filtered) {
    ID3D12GraphicsCommandList* list = Shared().list;
    const auto direct = Original<GetTypeFn>(s::ID3D12GraphicsCommandList2_GetType);
    for (auto _ : state) {
        // The program's call finds the class's own entry: the filter left it unpatched.
        const auto f = filtered ? list->lpVtbl->GetType : direct;
        benchmark::DoNotOptimize(f(list));
    }
}

BENCHMARK(GetCompletedValue_Direct);
BENCHMARK(GetCompletedValue_Baseline);
BENCHMARK(GetCompletedValue_Hook);
BENCHMARK(IASetPrimitiveTopology_Direct);
BENCHMARK(IASetPrimitiveTopology_Baseline);
BENCHMARK(IASetPrimitiveTopology_Hook);
BENCHMARK_CAPTURE(GetType, Direct, false)->Name("GetType_Direct");
BENCHMARK_CAPTURE(GetType, Filtered, true)->Name("GetType_Filtered");

}  // namespace

BENCHMARK_MAIN();
