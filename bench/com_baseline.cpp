// The essential work of an ordinary-mode Direct3D hook and nothing else, with the Windows x64
// calling convention the COM methods keep: load the slot, call it, give a constant name to the
// logger. Its own shared library so that, like the layer, it reaches the logger through the
// dynamic linker.
#include <cstdint>

#include "tov/journal.h"

#define MS_ABI __attribute__((ms_abi))

extern "C" {

__attribute__((visibility("default"))) void* g_comBaselineSlots[2];

__attribute__((visibility("default"))) void MS_ABI ComBaselineDrawInstanced(
    void* self, std::uint32_t vertexCount, std::uint32_t instanceCount, std::uint32_t startVertex,
    std::uint32_t startInstance) {
    const auto next = reinterpret_cast<void(MS_ABI*)(void*, std::uint32_t, std::uint32_t,
                                                     std::uint32_t, std::uint32_t)>(g_comBaselineSlots[0]);
    next(self, vertexCount, instanceCount, startVertex, startInstance);
    LogMessage(2, 1, 0, "%s", "ID3D12GraphicsCommandList6::DrawInstanced");
}

__attribute__((visibility("default"))) std::uint64_t* MS_ABI ComBaselineGetCpuHandle(
    void* self, std::uint64_t* result) {
    const auto next = reinterpret_cast<std::uint64_t*(MS_ABI*)(void*, std::uint64_t*)>(g_comBaselineSlots[1]);
    std::uint64_t* r = next(self, result);
    LogMessage(2, 1, 0, "%s", "ID3D12DescriptorHeap::GetCPUDescriptorHandleForHeapStart");
    return r;
}
}
