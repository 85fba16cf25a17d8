#include "stand_in_driver.h"

#include <cstring>

namespace tov::demo {
namespace {

template <typename Handle>
Handle FakeHandle(std::uintptr_t n) {
    return reinterpret_cast<Handle>(0x1000 * n);
}

VkResult VKAPI_CALL CreateInstance(const VkInstanceCreateInfo*, const VkAllocationCallbacks*, VkInstance* out) {
    *out = FakeHandle<VkInstance>(1);
    return VK_SUCCESS;
}
void VKAPI_CALL DestroyInstance(VkInstance, const VkAllocationCallbacks*) {}
VkResult VKAPI_CALL EnumeratePhysicalDevices(VkInstance, uint32_t* count, VkPhysicalDevice* devices) {
    if (devices == nullptr) {
        *count = 1;
        return VK_SUCCESS;
    }
    devices[0] = FakeHandle<VkPhysicalDevice>(2);
    *count = 1;
    return VK_SUCCESS;
}
void VKAPI_CALL GetPhysicalDeviceProperties(VkPhysicalDevice, VkPhysicalDeviceProperties* p) {
    std::memset(p, 0, sizeof *p);
    p->apiVersion = VK_API_VERSION_1_2;
    p->deviceType = VK_PHYSICAL_DEVICE_TYPE_CPU;
    std::strcpy(p->deviceName, "Stand-in device");
}
VkResult VKAPI_CALL CreateDevice(VkPhysicalDevice, const VkDeviceCreateInfo*, const VkAllocationCallbacks*, VkDevice* out) {
    *out = FakeHandle<VkDevice>(3);
    return VK_SUCCESS;
}
void VKAPI_CALL DestroyDevice(VkDevice, const VkAllocationCallbacks*) {}
void VKAPI_CALL GetDeviceQueue(VkDevice, uint32_t, uint32_t, VkQueue* out) { *out = FakeHandle<VkQueue>(4); }
VkResult VKAPI_CALL CreateBuffer(VkDevice, const VkBufferCreateInfo*, const VkAllocationCallbacks*, VkBuffer* out) {
    *out = FakeHandle<VkBuffer>(5);
    return VK_SUCCESS;
}
void VKAPI_CALL DestroyBuffer(VkDevice, VkBuffer, const VkAllocationCallbacks*) {}
void VKAPI_CALL GetBufferMemoryRequirements(VkDevice, VkBuffer, VkMemoryRequirements* r) {
    r->size = 65536;
    r->alignment = 256;
    r->memoryTypeBits = 1;
}
VkResult VKAPI_CALL AllocateMemory(VkDevice, const VkMemoryAllocateInfo*, const VkAllocationCallbacks*, VkDeviceMemory* out) {
    *out = FakeHandle<VkDeviceMemory>(6);
    return VK_SUCCESS;
}
void VKAPI_CALL FreeMemory(VkDevice, VkDeviceMemory, const VkAllocationCallbacks*) {}
VkResult VKAPI_CALL BindBufferMemory(VkDevice, VkBuffer, VkDeviceMemory, VkDeviceSize) { return VK_SUCCESS; }
VkResult VKAPI_CALL CreateCommandPool(VkDevice, const VkCommandPoolCreateInfo*, const VkAllocationCallbacks*, VkCommandPool* out) {
    *out = FakeHandle<VkCommandPool>(7);
    return VK_SUCCESS;
}
void VKAPI_CALL DestroyCommandPool(VkDevice, VkCommandPool, const VkAllocationCallbacks*) {}
VkResult VKAPI_CALL AllocateCommandBuffers(VkDevice, const VkCommandBufferAllocateInfo*, VkCommandBuffer* out) {
    *out = FakeHandle<VkCommandBuffer>(8);
    return VK_SUCCESS;
}
VkResult VKAPI_CALL BeginCommandBuffer(VkCommandBuffer, const VkCommandBufferBeginInfo*) { return VK_SUCCESS; }
void VKAPI_CALL CmdFillBuffer(VkCommandBuffer, VkBuffer, VkDeviceSize, VkDeviceSize, uint32_t) {}
VkResult VKAPI_CALL EndCommandBuffer(VkCommandBuffer) { return VK_SUCCESS; }
VkResult VKAPI_CALL QueueSubmit(VkQueue, uint32_t, const VkSubmitInfo*, VkFence) { return VK_SUCCESS; }
VkResult VKAPI_CALL QueuePresentKHR(VkQueue, const VkPresentInfoKHR*) { return VK_SUCCESS; }
VkResult VKAPI_CALL QueueWaitIdle(VkQueue) { return VK_SUCCESS; }

template <typename F>
std::pair<std::uint32_t, void*> Entry(std::uint32_t slot, F* function) {
    return {slot, reinterpret_cast<void*>(function)};
}

}  // namespace

std::vector<std::pair<std::uint32_t, void*>> StandInDriver() {
    namespace s = tov::logging_layer::slots;
    return {
        Entry(s::vkCreateInstance, &CreateInstance),
        Entry(s::vkDestroyInstance, &DestroyInstance),
        Entry(s::vkEnumeratePhysicalDevices, &EnumeratePhysicalDevices),
        Entry(s::vkGetPhysicalDeviceProperties, &GetPhysicalDeviceProperties),
        Entry(s::vkCreateDevice, &CreateDevice),
        Entry(s::vkDestroyDevice, &DestroyDevice),
        Entry(s::vkGetDeviceQueue, &GetDeviceQueue),
        Entry(s::vkCreateBuffer, &CreateBuffer),
        Entry(s::vkDestroyBuffer, &DestroyBuffer),
        Entry(s::vkGetBufferMemoryRequirements, &GetBufferMemoryRequirements),
        Entry(s::vkAllocateMemory, &AllocateMemory),
        Entry(s::vkFreeMemory, &FreeMemory),
        Entry(s::vkBindBufferMemory, &BindBufferMemory),
        Entry(s::vkCreateCommandPool, &CreateCommandPool),
        Entry(s::vkDestroyCommandPool, &DestroyCommandPool),
        Entry(s::vkAllocateCommandBuffers, &AllocateCommandBuffers),
        Entry(s::vkBeginCommandBuffer, &BeginCommandBuffer),
        Entry(s::vkCmdFillBuffer, &CmdFillBuffer),
        Entry(s::vkEndCommandBuffer, &EndCommandBuffer),
        Entry(s::vkQueueSubmit, &QueueSubmit),
        Entry(s::vkQueuePresentKHR, &QueuePresentKHR),
        Entry(s::vkQueueWaitIdle, &QueueWaitIdle),
    };
}

}  // namespace tov::demo
