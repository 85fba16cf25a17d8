#include "stand_in_driver.h"

#include <cstring>
#include <tuple>
#include <type_traits>

namespace tov::demo {
namespace {

std::uintptr_t g_lastHandle = 0;

template <typename Handle>
Handle NextHandle() {
    return reinterpret_cast<Handle>(0x1000 * ++g_lastHandle);
}

// A call the driver accepts and answers with success (or nothing).
template <typename Signature>
struct Accepts;
template <typename R, typename... A>
struct Accepts<R(VKAPI_PTR*)(A...)> {
    static R VKAPI_CALL Call(A...) {
        if constexpr (!std::is_void_v<R>) return R{};
    }
};

// A call that makes one object and hands its handle back through the last argument.
template <typename Signature>
struct Makes;
template <typename R, typename... A>
struct Makes<R(VKAPI_PTR*)(A...)> {
    static R VKAPI_CALL Call(A... args) {
        auto out = std::get<sizeof...(A) - 1>(std::tie(args...));
        *out = NextHandle<std::remove_pointer_t<decltype(out)>>();
        if constexpr (!std::is_void_v<R>) return R{};
    }
};

// The two-call pattern of the API: with no array, say how many; with one, fill it.
template <typename T>
VkResult Fill(uint32_t* count, T* items, std::initializer_list<T> have) {
    if (items == nullptr) {
        *count = static_cast<uint32_t>(have.size());
        return VK_SUCCESS;
    }
    uint32_t written = 0;
    for (const T& item : have) {
        if (written == *count) break;
        items[written++] = item;
    }
    const bool incomplete = written < have.size();
    *count = written;
    return incomplete ? VK_INCOMPLETE : VK_SUCCESS;
}

VkResult VKAPI_CALL EnumeratePhysicalDevices(VkInstance, uint32_t* count, VkPhysicalDevice* devices) {
    return Fill(count, devices, {reinterpret_cast<VkPhysicalDevice>(0xD0000)});
}

void VKAPI_CALL GetPhysicalDeviceQueueFamilyProperties(VkPhysicalDevice, uint32_t* count,
                                                       VkQueueFamilyProperties* families) {
    const VkQueueFamilyProperties graphics = {
        VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT | VK_QUEUE_TRANSFER_BIT, 16, 64, {1, 1, 1}};
    const VkQueueFamilyProperties transfer = {VK_QUEUE_TRANSFER_BIT, 2, 64, {16, 16, 8}};
    Fill(count, families, {graphics, transfer});
}

VkResult VKAPI_CALL GetPhysicalDeviceSurfaceCapabilitiesKHR(VkPhysicalDevice, VkSurfaceKHR,
                                                            VkSurfaceCapabilitiesKHR* caps) {
    caps->minImageCount = 2;
    caps->maxImageCount = 8;
    caps->currentExtent = {1280, 720};
    caps->minImageExtent = {1, 1};
    caps->maxImageExtent = {16384, 16384};
    caps->maxImageArrayLayers = 1;
    caps->supportedTransforms = VK_SURFACE_TRANSFORM_IDENTITY_BIT_KHR;
    caps->currentTransform = VK_SURFACE_TRANSFORM_IDENTITY_BIT_KHR;
    caps->supportedCompositeAlpha = VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR;
    caps->supportedUsageFlags = VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT |
                                VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
    return VK_SUCCESS;
}

VkResult VKAPI_CALL GetPhysicalDeviceSurfaceFormatsKHR(VkPhysicalDevice, VkSurfaceKHR, uint32_t* count,
                                                       VkSurfaceFormatKHR* formats) {
    return Fill(count, formats,
                {VkSurfaceFormatKHR{VK_FORMAT_B8G8R8A8_SRGB, VK_COLOR_SPACE_SRGB_NONLINEAR_KHR},
                 VkSurfaceFormatKHR{VK_FORMAT_B8G8R8A8_UNORM, VK_COLOR_SPACE_SRGB_NONLINEAR_KHR}});
}

VkResult VKAPI_CALL GetSwapchainImagesKHR(VkDevice, VkSwapchainKHR, uint32_t* count, VkImage* images) {
    return Fill(count, images, {reinterpret_cast<VkImage>(0x51000), reinterpret_cast<VkImage>(0x52000)});
}

VkResult VKAPI_CALL AcquireNextImageKHR(VkDevice, VkSwapchainKHR, uint64_t, VkSemaphore, VkFence,
                                        uint32_t* index) {
    *index = 1;
    return VK_SUCCESS;
}

void VKAPI_CALL GetBufferMemoryRequirements(VkDevice, VkBuffer, VkMemoryRequirements* requirements) {
    requirements->size = 4352;
    requirements->alignment = 256;
    requirements->memoryTypeBits = 0x7;
}

alignas(256) unsigned char g_hostVisible[4352];

VkResult VKAPI_CALL MapMemory(VkDevice, VkDeviceMemory, VkDeviceSize offset, VkDeviceSize, VkMemoryMapFlags,
                              void** data) {
    *data = g_hostVisible + offset;
    return VK_SUCCESS;
}

VkResult VKAPI_CALL AllocateDescriptorSets(VkDevice, const VkDescriptorSetAllocateInfo* info, VkDescriptorSet* sets) {
    for (uint32_t i = 0; i < info->descriptorSetCount; ++i) sets[i] = NextHandle<VkDescriptorSet>();
    return VK_SUCCESS;
}

VkResult VKAPI_CALL AllocateCommandBuffers(VkDevice, const VkCommandBufferAllocateInfo* info,
                                           VkCommandBuffer* buffers) {
    for (uint32_t i = 0; i < info->commandBufferCount; ++i) buffers[i] = NextHandle<VkCommandBuffer>();
    return VK_SUCCESS;
}

VkResult VKAPI_CALL CreateGraphicsPipelines(VkDevice, VkPipelineCache, uint32_t count,
                                            const VkGraphicsPipelineCreateInfo*, const VkAllocationCallbacks*,
                                            VkPipeline* pipelines) {
    for (uint32_t i = 0; i < count; ++i) pipelines[i] = NextHandle<VkPipeline>();
    return VK_SUCCESS;
}

VkResult VKAPI_CALL QueuePresentKHR(VkQueue, const VkPresentInfoKHR* info) {
    if (info->pResults != nullptr)
        for (uint32_t i = 0; i < info->swapchainCount; ++i) info->pResults[i] = VK_SUCCESS;
    return VK_SUCCESS;
}

template <typename Function>
std::pair<std::uint32_t, void*> Entry(std::uint32_t slot, Function function) {
    return {slot, reinterpret_cast<void*>(function)};
}

}  // namespace

std::vector<std::pair<std::uint32_t, void*>> StandInDriver() {
    namespace s = tov::logging_layer::slots;
    return {
        Entry(s::vkCreateInstance, &Makes<PFN_vkCreateInstance>::Call),
        Entry(s::vkDestroyInstance, &Accepts<PFN_vkDestroyInstance>::Call),
        Entry(s::vkEnumeratePhysicalDevices, &EnumeratePhysicalDevices),
        Entry(s::vkGetPhysicalDeviceQueueFamilyProperties, &GetPhysicalDeviceQueueFamilyProperties),
        Entry(s::vkCreateDevice, &Makes<PFN_vkCreateDevice>::Call),
        Entry(s::vkDestroyDevice, &Accepts<PFN_vkDestroyDevice>::Call),
        Entry(s::vkGetDeviceQueue, &Makes<PFN_vkGetDeviceQueue>::Call),
        Entry(s::vkDeviceWaitIdle, &Accepts<PFN_vkDeviceWaitIdle>::Call),

        Entry(s::vkCreateHeadlessSurfaceEXT, &Makes<PFN_vkCreateHeadlessSurfaceEXT>::Call),
        Entry(s::vkDestroySurfaceKHR, &Accepts<PFN_vkDestroySurfaceKHR>::Call),
        Entry(s::vkGetPhysicalDeviceSurfaceCapabilitiesKHR, &GetPhysicalDeviceSurfaceCapabilitiesKHR),
        Entry(s::vkGetPhysicalDeviceSurfaceFormatsKHR, &GetPhysicalDeviceSurfaceFormatsKHR),
        Entry(s::vkCreateSwapchainKHR, &Makes<PFN_vkCreateSwapchainKHR>::Call),
        Entry(s::vkDestroySwapchainKHR, &Accepts<PFN_vkDestroySwapchainKHR>::Call),
        Entry(s::vkGetSwapchainImagesKHR, &GetSwapchainImagesKHR),
        Entry(s::vkAcquireNextImageKHR, &AcquireNextImageKHR),
        Entry(s::vkQueuePresentKHR, &QueuePresentKHR),

        Entry(s::vkCreateImageView, &Makes<PFN_vkCreateImageView>::Call),
        Entry(s::vkDestroyImageView, &Accepts<PFN_vkDestroyImageView>::Call),
        Entry(s::vkCreateRenderPass, &Makes<PFN_vkCreateRenderPass>::Call),
        Entry(s::vkDestroyRenderPass, &Accepts<PFN_vkDestroyRenderPass>::Call),
        Entry(s::vkCreateFramebuffer, &Makes<PFN_vkCreateFramebuffer>::Call),
        Entry(s::vkDestroyFramebuffer, &Accepts<PFN_vkDestroyFramebuffer>::Call),
        Entry(s::vkCreateShaderModule, &Makes<PFN_vkCreateShaderModule>::Call),
        Entry(s::vkDestroyShaderModule, &Accepts<PFN_vkDestroyShaderModule>::Call),
        Entry(s::vkCreateDescriptorSetLayout, &Makes<PFN_vkCreateDescriptorSetLayout>::Call),
        Entry(s::vkDestroyDescriptorSetLayout, &Accepts<PFN_vkDestroyDescriptorSetLayout>::Call),
        Entry(s::vkCreatePipelineLayout, &Makes<PFN_vkCreatePipelineLayout>::Call),
        Entry(s::vkDestroyPipelineLayout, &Accepts<PFN_vkDestroyPipelineLayout>::Call),
        Entry(s::vkCreateGraphicsPipelines, &CreateGraphicsPipelines),
        Entry(s::vkDestroyPipeline, &Accepts<PFN_vkDestroyPipeline>::Call),
        Entry(s::vkCreateDescriptorPool, &Makes<PFN_vkCreateDescriptorPool>::Call),
        Entry(s::vkDestroyDescriptorPool, &Accepts<PFN_vkDestroyDescriptorPool>::Call),
        Entry(s::vkAllocateDescriptorSets, &AllocateDescriptorSets),
        Entry(s::vkUpdateDescriptorSets, &Accepts<PFN_vkUpdateDescriptorSets>::Call),

        Entry(s::vkCreateBuffer, &Makes<PFN_vkCreateBuffer>::Call),
        Entry(s::vkDestroyBuffer, &Accepts<PFN_vkDestroyBuffer>::Call),
        Entry(s::vkGetBufferMemoryRequirements, &GetBufferMemoryRequirements),
        Entry(s::vkAllocateMemory, &Makes<PFN_vkAllocateMemory>::Call),
        Entry(s::vkFreeMemory, &Accepts<PFN_vkFreeMemory>::Call),
        Entry(s::vkBindBufferMemory, &Accepts<PFN_vkBindBufferMemory>::Call),
        Entry(s::vkMapMemory, &MapMemory),
        Entry(s::vkUnmapMemory, &Accepts<PFN_vkUnmapMemory>::Call),

        Entry(s::vkCreateCommandPool, &Makes<PFN_vkCreateCommandPool>::Call),
        Entry(s::vkDestroyCommandPool, &Accepts<PFN_vkDestroyCommandPool>::Call),
        Entry(s::vkAllocateCommandBuffers, &AllocateCommandBuffers),
        Entry(s::vkBeginCommandBuffer, &Accepts<PFN_vkBeginCommandBuffer>::Call),
        Entry(s::vkEndCommandBuffer, &Accepts<PFN_vkEndCommandBuffer>::Call),
        Entry(s::vkCmdPipelineBarrier, &Accepts<PFN_vkCmdPipelineBarrier>::Call),
        Entry(s::vkCmdBeginRenderPass, &Accepts<PFN_vkCmdBeginRenderPass>::Call),
        Entry(s::vkCmdBindPipeline, &Accepts<PFN_vkCmdBindPipeline>::Call),
        Entry(s::vkCmdBindDescriptorSets, &Accepts<PFN_vkCmdBindDescriptorSets>::Call),
        Entry(s::vkCmdBindVertexBuffers, &Accepts<PFN_vkCmdBindVertexBuffers>::Call),
        Entry(s::vkCmdSetViewport, &Accepts<PFN_vkCmdSetViewport>::Call),
        Entry(s::vkCmdSetScissor, &Accepts<PFN_vkCmdSetScissor>::Call),
        Entry(s::vkCmdDraw, &Accepts<PFN_vkCmdDraw>::Call),
        Entry(s::vkCmdEndRenderPass, &Accepts<PFN_vkCmdEndRenderPass>::Call),

        Entry(s::vkCreateSemaphore, &Makes<PFN_vkCreateSemaphore>::Call),
        Entry(s::vkDestroySemaphore, &Accepts<PFN_vkDestroySemaphore>::Call),
        Entry(s::vkCreateFence, &Makes<PFN_vkCreateFence>::Call),
        Entry(s::vkDestroyFence, &Accepts<PFN_vkDestroyFence>::Call),
        Entry(s::vkWaitForFences, &Accepts<PFN_vkWaitForFences>::Call),
        Entry(s::vkQueueSubmit, &Accepts<PFN_vkQueueSubmit>::Call),
    };
}

}  // namespace tov::demo
