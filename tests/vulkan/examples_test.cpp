// Worked calls, byte for byte. Each row routes a stand-in driver function into one slot (it
// writes the out-values the call shows and returns its result), makes the application's inputs,
// calls the layer's own hook through a host and compares standard output with a file under
// tests/golden/vulkan. The files are written from the expected text, never from a run.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "capture.h"
#include "golden.h"
#include "slot_catalogue.h"
#include "testhost.h"
#include "vulkan_api.h"

namespace tov::test {
namespace {

namespace s = logging_layer::slots;

template <typename F>
void* Fn(F* function) {
    return reinterpret_cast<void*>(function);
}
template <typename F>
F As(void* hook) {
    return reinterpret_cast<F>(hook);
}
// Handles are opaque to the layer; any non-null value stands for a live object.
template <typename H>
H Handle(std::uintptr_t n) {
    return reinterpret_cast<H>(0x1000 * n);
}

const VkDevice kDevice = Handle<VkDevice>(1);
const VkCommandBuffer kCommands = Handle<VkCommandBuffer>(2);
const VkQueue kQueue = Handle<VkQueue>(3);
const VkPhysicalDevice kPhysical = Handle<VkPhysicalDevice>(4);

struct Example {
    const char* golden;                  // file under tests/golden/vulkan, without ".txt"
    std::uint32_t slot;
    void* driver;                        // the next function of the chain
    void (*application)(void* hook);     // makes the inputs and calls the hook
};

const Example kExamples[] = {
    {"create_instance", s::vkCreateInstance,
     Fn(+[](const VkInstanceCreateInfo*, const VkAllocationCallbacks*, VkInstance* out) {
         *out = Handle<VkInstance>(9);
         return VK_SUCCESS;
     }),
     +[](void* hook) {
         VkInstanceCreateInfo info = {VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
         VkInstance instance = VK_NULL_HANDLE;
         As<PFN_vkCreateInstance>(hook)(&info, nullptr, &instance);
     }},
    {"create_buffer", s::vkCreateBuffer,
     Fn(+[](VkDevice, const VkBufferCreateInfo*, const VkAllocationCallbacks*, VkBuffer* out) {
         *out = Handle<VkBuffer>(6);
         return VK_SUCCESS;
     }),
     +[](void* hook) {
         VkBufferCreateInfo info = {VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
         info.size = 65536;
         info.usage = VK_BUFFER_USAGE_TRANSFER_DST_BIT | VK_BUFFER_USAGE_VERTEX_BUFFER_BIT;
         info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
         VkBuffer buffer = VK_NULL_HANDLE;
         As<PFN_vkCreateBuffer>(hook)(kDevice, &info, nullptr, &buffer);
     }},
    {"destroy_buffer_with_allocator", s::vkDestroyBuffer,
     Fn(+[](VkDevice, VkBuffer, const VkAllocationCallbacks*) {}),
     +[](void* hook) {
         VkAllocationCallbacks allocator = {};
         allocator.pfnAllocation = +[](void*, size_t, size_t, VkSystemAllocationScope) -> void* {
             return nullptr;
         };
         allocator.pfnReallocation = +[](void*, void*, size_t, size_t, VkSystemAllocationScope) -> void* {
             return nullptr;
         };
         allocator.pfnFree = +[](void*, void*) {};
         As<PFN_vkDestroyBuffer>(hook)(kDevice, Handle<VkBuffer>(6), &allocator);
     }},
    {"map_memory", s::vkMapMemory,
     Fn(+[](VkDevice, VkDeviceMemory, VkDeviceSize, VkDeviceSize, VkMemoryMapFlags, void** data) {
         *data = nullptr;
         return VK_ERROR_MEMORY_MAP_FAILED;
     }),
     +[](void* hook) {
         void* data = &data;
         As<PFN_vkMapMemory>(hook)(kDevice, Handle<VkDeviceMemory>(7), 4096, VK_WHOLE_SIZE, 0, &data);
     }},
    {"queue_present", s::vkQueuePresentKHR,
     Fn(+[](VkQueue, const VkPresentInfoKHR*) { return VK_SUCCESS; }),
     +[](void* hook) {
         const VkSemaphore waits[2] = {Handle<VkSemaphore>(10), Handle<VkSemaphore>(11)};
         const VkSwapchainKHR swapchain = Handle<VkSwapchainKHR>(12);
         const uint32_t imageIndex = 0;
         VkPresentInfoKHR info = {VK_STRUCTURE_TYPE_PRESENT_INFO_KHR};
         info.waitSemaphoreCount = 2;
         info.pWaitSemaphores = waits;
         info.swapchainCount = 1;
         info.pSwapchains = &swapchain;
         info.pImageIndices = &imageIndex;
         As<PFN_vkQueuePresentKHR>(hook)(kQueue, &info);
     }},
    {"cmd_clear_attachments", s::vkCmdClearAttachments,
     Fn(+[](VkCommandBuffer, uint32_t, const VkClearAttachment*, uint32_t, const VkClearRect*) {}),
     +[](void* hook) {
         VkClearAttachment attachment = {VK_IMAGE_ASPECT_COLOR_BIT, 0, {}};
         attachment.clearValue.color.float32[3] = 1.0f;
         const VkClearRect rect = {{{0, 0}, {1920, 1080}}, 0, 1};
         As<PFN_vkCmdClearAttachments>(hook)(kCommands, 1, &attachment, 1, &rect);
     }},
    {"cmd_build_acceleration_structures", s::vkCmdBuildAccelerationStructuresKHR,
     Fn(+[](VkCommandBuffer, uint32_t, const VkAccelerationStructureBuildGeometryInfoKHR*,
            const VkAccelerationStructureBuildRangeInfoKHR* const*) {}),
     +[](void* hook) {
         VkAccelerationStructureGeometryKHR geometry = {VK_STRUCTURE_TYPE_ACCELERATION_STRUCTURE_GEOMETRY_KHR};
         geometry.geometryType = VK_GEOMETRY_TYPE_TRIANGLES_KHR;
         geometry.flags = VK_GEOMETRY_OPAQUE_BIT_KHR;
         VkAccelerationStructureBuildGeometryInfoKHR infos[2] = {
             {VK_STRUCTURE_TYPE_ACCELERATION_STRUCTURE_BUILD_GEOMETRY_INFO_KHR},
             {VK_STRUCTURE_TYPE_ACCELERATION_STRUCTURE_BUILD_GEOMETRY_INFO_KHR}};
         infos[0].type = VK_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL_KHR;
         infos[0].flags = VK_BUILD_ACCELERATION_STRUCTURE_PREFER_FAST_TRACE_BIT_KHR;
         infos[0].mode = VK_BUILD_ACCELERATION_STRUCTURE_MODE_BUILD_KHR;
         infos[0].dstAccelerationStructure = Handle<VkAccelerationStructureKHR>(13);
         infos[0].geometryCount = 1;
         infos[0].pGeometries = &geometry;
         infos[0].scratchData.deviceAddress = 0xABCD0000;
         const VkAccelerationStructureBuildRangeInfoKHR range = {12, 0, 0, 0};
         const VkAccelerationStructureBuildRangeInfoKHR* ranges[2] = {&range, nullptr};
         As<PFN_vkCmdBuildAccelerationStructuresKHR>(hook)(kCommands, 2, infos, ranges);
     }},
    {"cmd_build_indirect_two_counts", s::vkCmdBuildAccelerationStructuresIndirectKHR,
     Fn(+[](VkCommandBuffer, uint32_t, const VkAccelerationStructureBuildGeometryInfoKHR*,
            const VkDeviceAddress*, const uint32_t*, const uint32_t* const*) {}),
     +[](void* hook) {
         const VkDeviceAddress addresses[2] = {65536, 131072};
         const uint32_t strides[2] = {16, 32};
         const uint32_t first[2] = {100, 7};
         const uint32_t second = 64;
         const uint32_t* counts[2] = {first, &second};
         As<PFN_vkCmdBuildAccelerationStructuresIndirectKHR>(hook)(kCommands, 2, nullptr, addresses,
                                                                  strides, counts);
     }},
    {"cmd_build_indirect_middle_null", s::vkCmdBuildAccelerationStructuresIndirectKHR,
     Fn(+[](VkCommandBuffer, uint32_t, const VkAccelerationStructureBuildGeometryInfoKHR*,
            const VkDeviceAddress*, const uint32_t*, const uint32_t* const*) {}),
     +[](void* hook) {
         const VkDeviceAddress address = 65536;
         const uint32_t stride = 16;
         const uint32_t first = 128, third = 64;
         const uint32_t* counts[3] = {&first, nullptr, &third};
         As<PFN_vkCmdBuildAccelerationStructuresIndirectKHR>(hook)(kCommands, 3, nullptr, &address,
                                                                  &stride, counts);
     }},
    {"cmd_build_indirect_null_array", s::vkCmdBuildAccelerationStructuresIndirectKHR,
     Fn(+[](VkCommandBuffer, uint32_t, const VkAccelerationStructureBuildGeometryInfoKHR*,
            const VkDeviceAddress*, const uint32_t*, const uint32_t* const*) {}),
     +[](void* hook) {
         As<PFN_vkCmdBuildAccelerationStructuresIndirectKHR>(hook)(kCommands, 2, nullptr, nullptr,
                                                                  nullptr, nullptr);
     }},
    {"cmd_build_indirect_count_zero", s::vkCmdBuildAccelerationStructuresIndirectKHR,
     Fn(+[](VkCommandBuffer, uint32_t, const VkAccelerationStructureBuildGeometryInfoKHR*,
            const VkDeviceAddress*, const uint32_t*, const uint32_t* const*) {}),
     +[](void* hook) {
         const uint32_t first = 128;
         const uint32_t* counts[1] = {&first};
         As<PFN_vkCmdBuildAccelerationStructuresIndirectKHR>(hook)(kCommands, 0, nullptr, nullptr,
                                                                  nullptr, counts);
     }},
    {"cmd_set_fragment_shading_rate", s::vkCmdSetFragmentShadingRateKHR,
     Fn(+[](VkCommandBuffer, const VkExtent2D*, const VkFragmentShadingRateCombinerOpKHR*) {}),
     +[](void* hook) {
         const VkExtent2D size = {2, 2};
         const VkFragmentShadingRateCombinerOpKHR ops[2] = {VK_FRAGMENT_SHADING_RATE_COMBINER_OP_KEEP_KHR,
                                                            VK_FRAGMENT_SHADING_RATE_COMBINER_OP_REPLACE_KHR};
         As<PFN_vkCmdSetFragmentShadingRateKHR>(hook)(kCommands, &size, ops);
     }},
    {"cmd_set_blend_constants_default_format", s::vkCmdSetBlendConstants,
     Fn(+[](VkCommandBuffer, const float*) {}),
     +[](void* hook) {
         const float constants[4] = {0.5f, 0.25f, 1e6f, 1.0f};
         As<PFN_vkCmdSetBlendConstants>(hook)(kCommands, constants);
     }},
    {"result_opaque_capture_address_twins", s::vkDeviceWaitIdle,
     Fn(+[](VkDevice) { return VK_ERROR_INVALID_OPAQUE_CAPTURE_ADDRESS; }),
     +[](void* hook) { As<PFN_vkDeviceWaitIdle>(hook)(kDevice); }},
    {"result_without_name", s::vkEndCommandBuffer,
     Fn(+[](VkCommandBuffer) { return static_cast<VkResult>(7); }),
     +[](void* hook) { As<PFN_vkEndCommandBuffer>(hook)(kCommands); }},
    {"create_sampler_cubic", s::vkCreateSampler,
     Fn(+[](VkDevice, const VkSamplerCreateInfo*, const VkAllocationCallbacks*, VkSampler* out) {
         *out = Handle<VkSampler>(14);
         return VK_SUCCESS;
     }),
     +[](void* hook) {
         VkSamplerCreateInfo info = {VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO};
         info.magFilter = VK_FILTER_CUBIC_EXT;
         info.minFilter = VK_FILTER_LINEAR;
         info.mipmapMode = VK_SAMPLER_MIPMAP_MODE_LINEAR;
         info.addressModeU = VK_SAMPLER_ADDRESS_MODE_REPEAT;
         info.addressModeV = VK_SAMPLER_ADDRESS_MODE_REPEAT;
         info.addressModeW = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
         info.anisotropyEnable = VK_TRUE;
         info.maxAnisotropy = 16.0f;
         info.maxLod = VK_LOD_CLAMP_NONE;
         VkSampler sampler = VK_NULL_HANDLE;
         As<PFN_vkCreateSampler>(hook)(kDevice, &info, nullptr, &sampler);
     }},
    {"format_without_name", s::vkGetPhysicalDeviceFormatProperties,
     Fn(+[](VkPhysicalDevice, VkFormat, VkFormatProperties* properties) { *properties = {}; }),
     +[](void* hook) {
         VkFormatProperties properties;
         As<PFN_vkGetPhysicalDeviceFormatProperties>(hook)(kPhysical, static_cast<VkFormat>(300), &properties);
     }},
    {"begin_command_buffer_handles", s::vkBeginCommandBuffer,
     Fn(+[](VkCommandBuffer, const VkCommandBufferBeginInfo*) { return VK_SUCCESS; }),
     +[](void* hook) {
         VkCommandBufferInheritanceInfo inheritance = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_INHERITANCE_INFO};
         inheritance.renderPass = Handle<VkRenderPass>(15);
         VkCommandBufferBeginInfo info = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
         info.flags = VK_COMMAND_BUFFER_USAGE_RENDER_PASS_CONTINUE_BIT;
         info.pInheritanceInfo = &inheritance;
         As<PFN_vkBeginCommandBuffer>(hook)(kCommands, &info);
     }},
    {"enumerate_instance_extension_first", s::vkEnumerateInstanceExtensionProperties,
     Fn(+[](const char*, uint32_t* count, VkExtensionProperties* properties) {
         *properties = {"VK_KHR_surface", 25};
         properties[1] = {"VK_KHR_win32_surface", 6};
         *count = 2;
         return VK_INCOMPLETE;
     }),
     +[](void* hook) {
         uint32_t count = 2;
         VkExtensionProperties properties[2];
         As<PFN_vkEnumerateInstanceExtensionProperties>(hook)("VK_LAYER_example", &count, properties);
     }},
    {"cmd_copy_buffer", s::vkCmdCopyBuffer,
     Fn(+[](VkCommandBuffer, VkBuffer, VkBuffer, uint32_t, const VkBufferCopy*) {}),
     +[](void* hook) {
         const VkBufferCopy regions[2] = {{0, 0, 256}, {256, 512, 64}};
         As<PFN_vkCmdCopyBuffer>(hook)(kCommands, Handle<VkBuffer>(6), Handle<VkBuffer>(8), 2, regions);
     }},
    {"cmd_blit_image", s::vkCmdBlitImage,
     Fn(+[](VkCommandBuffer, VkImage, VkImageLayout, VkImage, VkImageLayout, uint32_t,
            const VkImageBlit*, VkFilter) {}),
     +[](void* hook) {
         const VkImageBlit blit = {{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1},
                                   {{0, 0, 0}, {256, 256, 1}},
                                   {VK_IMAGE_ASPECT_COLOR_BIT, 1, 0, 1},
                                   {{0, 0, 0}, {128, 128, 1}}};
         As<PFN_vkCmdBlitImage>(hook)(kCommands, Handle<VkImage>(18), VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL,
                                      Handle<VkImage>(18), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &blit,
                                      VK_FILTER_LINEAR);
     }},
};

class WorkedCall : public ::testing::TestWithParam<Example> {};

TEST_P(WorkedCall, WritesExactlyTheExpectedText) {
    const Example& example = GetParam();
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable({{u"verbose", u"1"}});
    layer.Route(example.slot, example.driver);
    testhost::LoggerCapture log;
    const std::string text = CaptureStdout([&] { example.application(layer.hook(example.slot)); });
    EXPECT_TRUE(log.calls.empty());
    ExpectGolden(std::string("vulkan/") + example.golden + ".txt", text);
}

INSTANTIATE_TEST_SUITE_P(Vulkan, WorkedCall, ::testing::ValuesIn(kExamples),
                         [](const ::testing::TestParamInfo<Example>& info) { return std::string(info.param.golden); });

}  // namespace
}  // namespace tov::test
