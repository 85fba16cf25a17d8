// Ordinary-mode cost of a Direct3D hook against the essential work measured in the same run:
// a draw with a stack argument, and a method that returns a structure through result storage.
// The logger is a no-op defined here, which the layer and the baseline both reach through the
// dynamic linker.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "com_api.h"
#include "slot_catalogue.h"
#include "testhost.h"

extern "C" __attribute__((visibility("default"))) int LogMessage(int, int, int, const char*, ...) {
    return 0;
}

// On Windows the baseline's own addresses, not the program's import stubs (a jump more).
#ifdef _WIN32
#define BASELINE_API __declspec(dllimport)
#else
#define BASELINE_API
#endif

extern "C" {
BASELINE_API extern void* g_comBaselineSlots[2];
BASELINE_API void TOV_COM_CALL ComBaselineDrawInstanced(void*, UINT, UINT, UINT, UINT);
BASELINE_API std::uint64_t* TOV_COM_CALL ComBaselineGetCpuHandle(void*, std::uint64_t*);
}

namespace {

namespace s = tov::logging_layer::slots;

__attribute__((noinline)) void TOV_COM_CALL DriverDrawInstanced(ID3D12GraphicsCommandList6*, UINT,
                                                                  UINT, UINT, UINT) {}
__attribute__((noinline)) D3D12_CPU_DESCRIPTOR_HANDLE* TOV_COM_CALL DriverGetCpuHandle(
    ID3D12DescriptorHeap*, D3D12_CPU_DESCRIPTOR_HANDLE* result) {
    result->ptr = 64;
    return result;
}

struct Setup {
    Setup() {
        layer.GetDispatchTable();
        layer.Route(s::ID3D12GraphicsCommandList6_DrawInstanced, reinterpret_cast<void*>(&DriverDrawInstanced));
        layer.Route(s::ID3D12DescriptorHeap_GetCPUDescriptorHandleForHeapStart,
                    reinterpret_cast<void*>(&DriverGetCpuHandle));
        g_comBaselineSlots[0] = reinterpret_cast<void*>(&DriverDrawInstanced);
        g_comBaselineSlots[1] = reinterpret_cast<void*>(&DriverGetCpuHandle);
#ifdef _WIN32
        // Windows binds both libraries' LogMessage to journal-x64.dll: point them at the no-op.
        for (void* module : {layer.module(), tov::testhost::ModuleOf(g_comBaselineSlots)})
            tov::testhost::ReplaceImport(module, "journal-x64.dll", "LogMessage",
                                         reinterpret_cast<void*>(&LogMessage));
#endif
    }
    tov::testhost::Layer layer;
};

Setup& Shared() {
    static Setup setup;
    return setup;
}

template <typename F>
F Opaque(F f) {
    benchmark::DoNotOptimize(f);
    return f;
}

using DrawInstanced = decltype(ID3D12GraphicsCommandList6Vtbl::DrawInstanced);
using GetCpuHandle = decltype(ID3D12DescriptorHeapVtbl::GetCPUDescriptorHandleForHeapStart);

void DrawInstanced_Direct(benchmark::State& state) {
    const auto f = Opaque(&DriverDrawInstanced);
    for (auto _ : state) f(nullptr, 3, 1, 0, 0);
}
void DrawInstanced_Baseline(benchmark::State& state) {
    Shared();
    const auto f = Opaque(&ComBaselineDrawInstanced);
    for (auto _ : state) f(nullptr, 3, 1, 0, 0);
}
void DrawInstanced_Hook(benchmark::State& state) {
    const auto f = Opaque(reinterpret_cast<DrawInstanced>(
        Shared().layer.hook(s::ID3D12GraphicsCommandList6_DrawInstanced)));
    for (auto _ : state) f(nullptr, 3, 1, 0, 0);
}

void GetCpuHandle_Direct(benchmark::State& state) {
    const auto f = Opaque(&DriverGetCpuHandle);
    D3D12_CPU_DESCRIPTOR_HANDLE h;
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr, &h));
}
void GetCpuHandle_Baseline(benchmark::State& state) {
    Shared();
    const auto f = Opaque(&ComBaselineGetCpuHandle);
    std::uint64_t h;
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr, &h));
}
void GetCpuHandle_Hook(benchmark::State& state) {
    const auto f = Opaque(reinterpret_cast<GetCpuHandle>(
        Shared().layer.hook(s::ID3D12DescriptorHeap_GetCPUDescriptorHandleForHeapStart)));
    D3D12_CPU_DESCRIPTOR_HANDLE h;
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr, &h));
}

BENCHMARK(DrawInstanced_Direct);
BENCHMARK(DrawInstanced_Baseline);
BENCHMARK(DrawInstanced_Hook);
BENCHMARK(GetCpuHandle_Direct);
BENCHMARK(GetCpuHandle_Baseline);
BENCHMARK(GetCpuHandle_Hook);

}  // namespace

BENCHMARK_MAIN();
