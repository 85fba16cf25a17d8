// The essential work of an ordinary-mode hook and nothing else: load the slot, call it, give a
// constant name to the logger. Built as its own shared library so that, like the layer, it
// reaches the logger through the dynamic linker.
#include <cstdint>

#include "tov/journal.h"

extern "C" {

__attribute__((visibility("default"))) void* g_baselineSlots[2];

__attribute__((visibility("default"))) std::int32_t BaselineQueueWaitIdle(void* queue) {
    const auto next = reinterpret_cast<std::int32_t (*)(void*)>(g_baselineSlots[0]);
    const std::int32_t result = next(queue);
    LogMessage(2, 1, 0, "%s", "vkQueueWaitIdle");
    return result;
}

__attribute__((visibility("default"))) void BaselineCmdDrawIndexed(void* commandBuffer,
                                                                   std::uint32_t indexCount,
                                                                   std::uint32_t instanceCount,
                                                                   std::uint32_t firstIndex,
                                                                   std::int32_t vertexOffset,
                                                                   std::uint32_t firstInstance) {
    const auto next = reinterpret_cast<void (*)(void*, std::uint32_t, std::uint32_t, std::uint32_t,
                                                std::int32_t, std::uint32_t)>(g_baselineSlots[1]);
    next(commandBuffer, indexCount, instanceCount, firstIndex, vertexOffset, firstInstance);
    LogMessage(2, 1, 0, "%s", "vkCmdDrawIndexed");
}
}
