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

// Never mapped: reading through it would fault.
template <typename T>
T* Garbage() {
    return reinterpret_cast<T*>(std::uintptr_t{0x10});
}

const VkDevice kDevice = Handle<VkDevice>(1);
const VkCommandBuffer kCommands = Handle<VkCommandBuffer>(2);

struct Example {
    const char* golden;                  // file under tests/golden/vulkan, without ".txt"
    std::uint32_t slot;
    void* driver;                        // the next function of the chain
    void (*application)(void* hook);     // makes the inputs and calls the hook
};

const Example kExamples[] = {
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
    {"ignored_queue_families", s::vkCreateBuffer,
     Fn(+[](VkDevice, const VkBufferCreateInfo*, const VkAllocationCallbacks*, VkBuffer*) { return VK_SUCCESS; }),
     +[](void* hook) {
         const uint32_t families[] = {2, 5};
         VkBufferCreateInfo info = {VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
         info.queueFamilyIndexCount = 2;
         info.pQueueFamilyIndices = Garbage<const uint32_t>();
         VkBuffer buffer;
         As<PFN_vkCreateBuffer>(hook)(kDevice, &info, nullptr, &buffer);
         info.sharingMode = VK_SHARING_MODE_CONCURRENT;
         info.pQueueFamilyIndices = families;
         As<PFN_vkCreateBuffer>(hook)(kDevice, &info, nullptr, &buffer);
     }},
    {"ignored_descriptor_infos", s::vkUpdateDescriptorSets,
     Fn(+[](VkDevice, uint32_t, const VkWriteDescriptorSet*, uint32_t, const VkCopyDescriptorSet*) {}),
     +[](void* hook) {
         const VkDescriptorBufferInfo bufferInfo = {VK_NULL_HANDLE, 256, 64};
         const VkDescriptorImageInfo imageInfo = {VK_NULL_HANDLE, VK_NULL_HANDLE,
                                                  VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL};
         VkWriteDescriptorSet writes[2] = {{VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET},
                                           {VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET}};
         writes[0].descriptorCount = writes[1].descriptorCount = 1;
         writes[0].descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
         writes[0].pImageInfo = Garbage<const VkDescriptorImageInfo>();
         writes[0].pBufferInfo = &bufferInfo;
         writes[1].descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
         writes[1].pImageInfo = &imageInfo;
         writes[1].pBufferInfo = Garbage<const VkDescriptorBufferInfo>();
         for (const VkWriteDescriptorSet& write : writes)
             As<PFN_vkUpdateDescriptorSets>(hook)(kDevice, 1, &write, 0, nullptr);
     }},
    {"ignored_rasterizer_discard_state", s::vkCreateGraphicsPipelines,
     Fn(+[](VkDevice, VkPipelineCache, uint32_t, const VkGraphicsPipelineCreateInfo*,
            const VkAllocationCallbacks*, VkPipeline*) { return VK_SUCCESS; }),
     +[](void* hook) {
         VkPipelineRasterizationStateCreateInfo raster = {VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO};
         raster.rasterizerDiscardEnable = VK_TRUE;
         VkGraphicsPipelineCreateInfo info = {VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO};
         info.pRasterizationState = &raster;
         info.pViewportState = Garbage<const VkPipelineViewportStateCreateInfo>();
         info.pMultisampleState = Garbage<const VkPipelineMultisampleStateCreateInfo>();
         info.pDepthStencilState = Garbage<const VkPipelineDepthStencilStateCreateInfo>();
         info.pColorBlendState = Garbage<const VkPipelineColorBlendStateCreateInfo>();
         VkPipeline pipeline;
         As<PFN_vkCreateGraphicsPipelines>(hook)(kDevice, VK_NULL_HANDLE, 1, &info, nullptr, &pipeline);
     }},
    // An array whose count is 0 may hold anything: nothing behind it is read, in a parameter and
    // in a field, by a count read after the call and by a count that is a formula. A count of 1
    // shows the element as ever.
    {"zero_count_submit", s::vkQueueSubmit,
     Fn(+[](VkQueue, uint32_t, const VkSubmitInfo*, VkFence) { return VK_SUCCESS; }),
     +[](void* hook) {
         const auto submit = As<PFN_vkQueueSubmit>(hook);
         const VkQueue queue = Handle<VkQueue>(3);
         submit(queue, 0, Garbage<const VkSubmitInfo>(), VK_NULL_HANDLE);
         const VkPipelineStageFlags stage = VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT;
         VkSubmitInfo info = {VK_STRUCTURE_TYPE_SUBMIT_INFO};
         info.pWaitSemaphores = Garbage<const VkSemaphore>();
         info.pWaitDstStageMask = Garbage<const VkPipelineStageFlags>();
         info.pCommandBuffers = Garbage<const VkCommandBuffer>();
         submit(queue, 1, &info, VK_NULL_HANDLE);
         info.waitSemaphoreCount = 1;
         info.pWaitDstStageMask = &stage;
         submit(queue, 1, &info, VK_NULL_HANDLE);
     }},
    {"zero_count_enumerate", s::vkEnumerateDeviceExtensionProperties,
     Fn(+[](VkPhysicalDevice, const char*, uint32_t* count, VkExtensionProperties* properties) {
         // One extension; as many written as there is room for.
         if (*count == 0) return VK_INCOMPLETE;
         *count = 1;
         *properties = {"VK_KHR_swapchain", 70};
         return VK_SUCCESS;
     }),
     +[](void* hook) {
         const auto enumerate = As<PFN_vkEnumerateDeviceExtensionProperties>(hook);
         const VkPhysicalDevice device = Handle<VkPhysicalDevice>(4);
         uint32_t count = 0;   // the data of an empty vector
         enumerate(device, nullptr, &count, Garbage<VkExtensionProperties>());
         VkExtensionProperties properties;
         count = 1;
         enumerate(device, nullptr, &count, &properties);
     }},
    {"zero_count_shader_code", s::vkCreateShaderModule,
     Fn(+[](VkDevice, const VkShaderModuleCreateInfo*, const VkAllocationCallbacks*, VkShaderModule*) {
         return VK_SUCCESS;
     }),
     +[](void* hook) {
         const uint32_t code[] = {0x07230203};
         VkShaderModuleCreateInfo info = {VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO};
         info.codeSize = 3;   // less than one word
         info.pCode = Garbage<const uint32_t>();
         VkShaderModule module;
         As<PFN_vkCreateShaderModule>(hook)(kDevice, &info, nullptr, &module);
         info.codeSize = sizeof code;
         info.pCode = code;
         As<PFN_vkCreateShaderModule>(hook)(kDevice, &info, nullptr, &module);
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
