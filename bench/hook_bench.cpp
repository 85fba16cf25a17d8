// Ordinary-mode cost of a hook against the essential work measured in the same run, and the
// cost of setting the layer up. The logger is a no-op defined here, which the layer and the
// baseline both reach through the dynamic linker.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "slot_catalogue.h"
#include "testhost.h"
#include "vulkan_api.h"

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
BASELINE_API extern void* g_baselineSlots[2];
BASELINE_API std::int32_t BaselineQueueWaitIdle(void* queue);
BASELINE_API void BaselineCmdDrawIndexed(void*, std::uint32_t, std::uint32_t, std::uint32_t,
                                         std::int32_t, std::uint32_t);
}

namespace {

namespace s = tov::logging_layer::slots;

__attribute__((noinline)) VkResult VKAPI_CALL DriverQueueWaitIdle(VkQueue) { return VK_SUCCESS; }
__attribute__((noinline)) void VKAPI_CALL DriverCmdDrawIndexed(VkCommandBuffer, uint32_t, uint32_t,
                                                               uint32_t, int32_t, uint32_t) {}

struct Setup;
Setup* g_setup = nullptr;

struct Setup {
    Setup() {
        layer.GetDispatchTable();
        RouteSlots();
        g_setup = this;
        g_baselineSlots[0] = reinterpret_cast<void*>(&DriverQueueWaitIdle);
        g_baselineSlots[1] = reinterpret_cast<void*>(&DriverCmdDrawIndexed);
#ifdef _WIN32
        // Windows binds both libraries' LogMessage to journal-x64.dll: point them at the no-op.
        for (void* module : {layer.module(), tov::testhost::ModuleOf(g_baselineSlots)})
            tov::testhost::ReplaceImport(module, "journal-x64.dll", "LogMessage",
                                         reinterpret_cast<void*>(&LogMessage));
#endif
    }
    // tovGetDispatchTable stores the hooks back into their slots: the routes go in again after it.
    void RouteSlots() {
        layer.Route(s::vkQueueWaitIdle, reinterpret_cast<void*>(&DriverQueueWaitIdle));
        layer.Route(s::vkCmdDrawIndexed, reinterpret_cast<void*>(&DriverCmdDrawIndexed));
    }
    tov::testhost::Layer layer;
};

Setup& Shared() {
    static Setup setup;
    return setup;
}

// Calls go through a pointer the compiler cannot see through, as an application's calls do.
template <typename F>
F Opaque(F f) {
    benchmark::DoNotOptimize(f);
    return f;
}

void QueueWaitIdle_Direct(benchmark::State& state) {
    const auto f = Opaque(&DriverQueueWaitIdle);
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr));
}
void QueueWaitIdle_Baseline(benchmark::State& state) {
    Shared();
    const auto f = Opaque(&BaselineQueueWaitIdle);
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr));
}
void QueueWaitIdle_Hook(benchmark::State& state) {
    const auto f = Opaque(reinterpret_cast<PFN_vkQueueWaitIdle>(Shared().layer.hook(s::vkQueueWaitIdle)));
    for (auto _ : state) benchmark::DoNotOptimize(f(nullptr));
}

void CmdDrawIndexed_Direct(benchmark::State& state) {
    const auto f = Opaque(&DriverCmdDrawIndexed);
    for (auto _ : state) f(nullptr, 3, 1, 0, -5, 0);
}
void CmdDrawIndexed_Baseline(benchmark::State& state) {
    Shared();
    const auto f = Opaque(&BaselineCmdDrawIndexed);
    for (auto _ : state) f(nullptr, 3, 1, 0, -5, 0);
}
void CmdDrawIndexed_Hook(benchmark::State& state) {
    const auto f = Opaque(reinterpret_cast<PFN_vkCmdDrawIndexed>(Shared().layer.hook(s::vkCmdDrawIndexed)));
    for (auto _ : state) f(nullptr, 3, 1, 0, -5, 0);
}

void GetDispatchTable(benchmark::State& state) {
    tov::testhost::Layer& layer = Shared().layer;
    for (auto _ : state) benchmark::DoNotOptimize(layer.GetDispatchTable());
    Shared().RouteSlots();
}

// Registered first, so that nothing else holds the library and each round really loads,
// initialises, sets up and unloads it.
void LoadLayer(benchmark::State& state) {
    for (auto _ : state) {
        tov::testhost::Layer layer;
        benchmark::DoNotOptimize(layer.GetDispatchTable());
    }
    // Interleaved with the others, the library was held all along and its table set up anew.
    if (g_setup != nullptr) g_setup->RouteSlots();
}

BENCHMARK(LoadLayer);
BENCHMARK(QueueWaitIdle_Direct);
BENCHMARK(QueueWaitIdle_Baseline);
BENCHMARK(QueueWaitIdle_Hook);
BENCHMARK(CmdDrawIndexed_Direct);
BENCHMARK(CmdDrawIndexed_Baseline);
BENCHMARK(CmdDrawIndexed_Hook);
BENCHMARK(GetDispatchTable);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
