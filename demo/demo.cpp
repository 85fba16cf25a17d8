// The demo host: loads the layer as a host does, routes it to a stand-in driver and plays a
// short scripted Vulkan session through the hooks. In verbose mode (the default here) the
// layer's dump goes to standard output; with --ordinary the logger lines go to standard error.
#include <cstring>
#include <iostream>

#include "stand_in_driver.h"
#include "testhost.h"

namespace {

namespace s = tov::logging_layer::slots;

template <typename Function>
Function Hook(const tov::testhost::Layer& layer, std::uint32_t slot) {
    return reinterpret_cast<Function>(layer.hook(slot));
}

void PlaySession(const tov::testhost::Layer& layer) {
    VkApplicationInfo app = {VK_STRUCTURE_TYPE_APPLICATION_INFO};
    app.pApplicationName = "demo";
    app.apiVersion = VK_API_VERSION_1_2;
    VkInstanceCreateInfo instanceInfo = {VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    instanceInfo.pApplicationInfo = &app;
    VkInstance instance = VK_NULL_HANDLE;
    Hook<PFN_vkCreateInstance>(layer, s::vkCreateInstance)(&instanceInfo, nullptr, &instance);

    uint32_t count = 0;
    const auto enumerate = Hook<PFN_vkEnumeratePhysicalDevices>(layer, s::vkEnumeratePhysicalDevices);
    enumerate(instance, &count, nullptr);
    VkPhysicalDevice physical = VK_NULL_HANDLE;
    enumerate(instance, &count, &physical);
    VkPhysicalDeviceProperties properties;
    Hook<PFN_vkGetPhysicalDeviceProperties>(layer, s::vkGetPhysicalDeviceProperties)(physical, &properties);

    const float priority = 1.0f;
    VkDeviceQueueCreateInfo queueInfo = {VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO};
    queueInfo.queueCount = 1;
    queueInfo.pQueuePriorities = &priority;
    VkDeviceCreateInfo deviceInfo = {VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    deviceInfo.queueCreateInfoCount = 1;
    deviceInfo.pQueueCreateInfos = &queueInfo;
    VkDevice device = VK_NULL_HANDLE;
    Hook<PFN_vkCreateDevice>(layer, s::vkCreateDevice)(physical, &deviceInfo, nullptr, &device);
    VkQueue queue = VK_NULL_HANDLE;
    Hook<PFN_vkGetDeviceQueue>(layer, s::vkGetDeviceQueue)(device, 0, 0, &queue);

    VkBufferCreateInfo bufferInfo = {VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
    bufferInfo.size = 65536;
    bufferInfo.usage = VK_BUFFER_USAGE_TRANSFER_DST_BIT | VK_BUFFER_USAGE_VERTEX_BUFFER_BIT;
    bufferInfo.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    VkBuffer buffer = VK_NULL_HANDLE;
    Hook<PFN_vkCreateBuffer>(layer, s::vkCreateBuffer)(device, &bufferInfo, nullptr, &buffer);
    VkMemoryRequirements requirements;
    Hook<PFN_vkGetBufferMemoryRequirements>(layer, s::vkGetBufferMemoryRequirements)(device, buffer, &requirements);
    VkMemoryAllocateInfo allocateInfo = {VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO};
    allocateInfo.allocationSize = requirements.size;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    Hook<PFN_vkAllocateMemory>(layer, s::vkAllocateMemory)(device, &allocateInfo, nullptr, &memory);
    Hook<PFN_vkBindBufferMemory>(layer, s::vkBindBufferMemory)(device, buffer, memory, 0);

    VkCommandPoolCreateInfo poolInfo = {VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
    VkCommandPool pool = VK_NULL_HANDLE;
    Hook<PFN_vkCreateCommandPool>(layer, s::vkCreateCommandPool)(device, &poolInfo, nullptr, &pool);
    VkCommandBufferAllocateInfo commandInfo = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO};
    commandInfo.commandPool = pool;
    commandInfo.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    commandInfo.commandBufferCount = 1;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    Hook<PFN_vkAllocateCommandBuffers>(layer, s::vkAllocateCommandBuffers)(device, &commandInfo, &commands);
    VkCommandBufferBeginInfo beginInfo = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    beginInfo.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    Hook<PFN_vkBeginCommandBuffer>(layer, s::vkBeginCommandBuffer)(commands, &beginInfo);
    Hook<PFN_vkCmdFillBuffer>(layer, s::vkCmdFillBuffer)(commands, buffer, 0, VK_WHOLE_SIZE, 0xC0FFEE);
    Hook<PFN_vkEndCommandBuffer>(layer, s::vkEndCommandBuffer)(commands);

    VkSubmitInfo submit = {VK_STRUCTURE_TYPE_SUBMIT_INFO};
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands;
    Hook<PFN_vkQueueSubmit>(layer, s::vkQueueSubmit)(queue, 1, &submit, VK_NULL_HANDLE);
    uint32_t imageIndex = 0;
    VkResult presentResult = VK_SUCCESS;
    VkPresentInfoKHR present = {VK_STRUCTURE_TYPE_PRESENT_INFO_KHR};
    present.pImageIndices = &imageIndex;
    present.pResults = &presentResult;
    Hook<PFN_vkQueuePresentKHR>(layer, s::vkQueuePresentKHR)(queue, &present);
    Hook<PFN_vkQueueWaitIdle>(layer, s::vkQueueWaitIdle)(queue);

    Hook<PFN_vkDestroyCommandPool>(layer, s::vkDestroyCommandPool)(device, pool, nullptr);
    Hook<PFN_vkFreeMemory>(layer, s::vkFreeMemory)(device, memory, nullptr);
    Hook<PFN_vkDestroyBuffer>(layer, s::vkDestroyBuffer)(device, buffer, nullptr);
    Hook<PFN_vkDestroyDevice>(layer, s::vkDestroyDevice)(device, nullptr);
    Hook<PFN_vkDestroyInstance>(layer, s::vkDestroyInstance)(instance, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    const bool ordinary = argc > 1 && std::strcmp(argv[1], "--ordinary") == 0;
    tov::testhost::Layer layer;
    if (!layer.loaded()) {
        std::cerr << "cannot load the layer: " << layer.error() << "\n";
        return 1;
    }
    std::vector<tov::testhost::Parameter> parameters;
    if (!ordinary) parameters.push_back({u"verbose", u"1"});
    layer.GetDispatchTable(parameters);
    for (const auto& [slot, function] : tov::demo::StandInDriver()) layer.Route(slot, function);

    PlaySession(layer);
    // The host applies a keyframe: the layer marks the place in the stream of calls.
    tov::testhost::PublishKeyframe(1);
    return 0;
}
