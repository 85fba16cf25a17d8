// Pointers that the API lets an application leave undefined in a state the structure itself
// tells: the printers must not read through them then (an application's garbage must not crash
// it), and must read through them whenever the API uses them.
#include <gtest/gtest.h>

#include "capture.h"
#include "slot_catalogue.h"
#include "testhost.h"
#include "vulkan_api.h"

namespace {

namespace s = tov::logging_layer::slots;

// Never mapped: reading through it would fault.
template <typename T>
T* Garbage() {
    return reinterpret_cast<T*>(std::uintptr_t{0x10});
}

VkResult VKAPI_CALL CreateBuffer(VkDevice, const VkBufferCreateInfo*, const VkAllocationCallbacks*, VkBuffer*) {
    return VK_SUCCESS;
}
void VKAPI_CALL UpdateDescriptorSets(VkDevice, uint32_t, const VkWriteDescriptorSet*, uint32_t,
                                     const VkCopyDescriptorSet*) {}
VkResult VKAPI_CALL CreateGraphicsPipelines(VkDevice, VkPipelineCache, uint32_t,
                                            const VkGraphicsPipelineCreateInfo*,
                                            const VkAllocationCallbacks*, VkPipeline*) {
    return VK_SUCCESS;
}

class IgnoredPointers : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable({{u"verbose", u"1"}});
        layer.Route(s::vkCreateBuffer, reinterpret_cast<void*>(&CreateBuffer));
        layer.Route(s::vkUpdateDescriptorSets, reinterpret_cast<void*>(&UpdateDescriptorSets));
        layer.Route(s::vkCreateGraphicsPipelines, reinterpret_cast<void*>(&CreateGraphicsPipelines));
    }
    template <typename F>
    F Hook(std::uint32_t slot) {
        return reinterpret_cast<F>(layer.hook(slot));
    }
    tov::testhost::Layer layer;
    tov::test::StdoutCapture out;
};

TEST_F(IgnoredPointers, QueueFamiliesOfExclusiveSharing) {
    VkBufferCreateInfo info = {VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
    info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    info.queueFamilyIndexCount = 3;
    info.pQueueFamilyIndices = Garbage<const uint32_t>();
    VkBuffer buffer;
    Hook<PFN_vkCreateBuffer>(s::vkCreateBuffer)(nullptr, &info, nullptr, &buffer);
    EXPECT_NE(out.str().find("        const uint32_t * pQueueFamilyIndices: IS NYI\n"), std::string::npos);

    out.clear();
    const uint32_t families[] = {2, 5};
    info.sharingMode = VK_SHARING_MODE_CONCURRENT;
    info.pQueueFamilyIndices = families;
    Hook<PFN_vkCreateBuffer>(s::vkCreateBuffer)(nullptr, &info, nullptr, &buffer);
    EXPECT_NE(out.str().find("        const uint32_t * pQueueFamilyIndices: 2\n"), std::string::npos);
}

TEST_F(IgnoredPointers, DescriptorInfosOfOtherDescriptorTypes) {
    const VkDescriptorBufferInfo bufferInfo = {VK_NULL_HANDLE, 256, 64};
    VkWriteDescriptorSet write = {VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET};
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
    write.pImageInfo = Garbage<const VkDescriptorImageInfo>();
    write.pBufferInfo = &bufferInfo;
    Hook<PFN_vkUpdateDescriptorSets>(s::vkUpdateDescriptorSets)(nullptr, 1, &write, 0, nullptr);
    const std::string text = out.str();
    EXPECT_NE(text.find("        const VkDescriptorImageInfo * pImageInfo: IS NYI\n"), std::string::npos);
    EXPECT_NE(text.find("            VkDeviceSize offset: 256\n"), std::string::npos);

    out.clear();
    const VkDescriptorImageInfo imageInfo = {VK_NULL_HANDLE, VK_NULL_HANDLE,
                                             VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL};
    write.descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    write.pImageInfo = &imageInfo;
    write.pBufferInfo = Garbage<const VkDescriptorBufferInfo>();
    Hook<PFN_vkUpdateDescriptorSets>(s::vkUpdateDescriptorSets)(nullptr, 1, &write, 0, nullptr);
    EXPECT_NE(out.str().find("VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL, \n"), std::string::npos);
    EXPECT_NE(out.str().find("        const VkDescriptorBufferInfo * pBufferInfo: IS NYI\n"), std::string::npos);
}

TEST_F(IgnoredPointers, FragmentStateOfARasterizerDiscardPipeline) {
    VkPipelineRasterizationStateCreateInfo raster = {VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO};
    raster.rasterizerDiscardEnable = VK_TRUE;
    VkGraphicsPipelineCreateInfo info = {VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO};
    info.pRasterizationState = &raster;
    info.pViewportState = Garbage<const VkPipelineViewportStateCreateInfo>();
    info.pMultisampleState = Garbage<const VkPipelineMultisampleStateCreateInfo>();
    info.pDepthStencilState = Garbage<const VkPipelineDepthStencilStateCreateInfo>();
    info.pColorBlendState = Garbage<const VkPipelineColorBlendStateCreateInfo>();
    VkPipeline pipeline;
    Hook<PFN_vkCreateGraphicsPipelines>(s::vkCreateGraphicsPipelines)(nullptr, VK_NULL_HANDLE, 1, &info,
                                                                     nullptr, &pipeline);
    const std::string text = out.str();
    for (const char* line : {"        const VkPipelineViewportStateCreateInfo * pViewportState: IS NYI\n",
                             "        const VkPipelineMultisampleStateCreateInfo * pMultisampleState: IS NYI\n",
                             "        const VkPipelineDepthStencilStateCreateInfo * pDepthStencilState: IS NYI\n",
                             "        const VkPipelineColorBlendStateCreateInfo * pColorBlendState: IS NYI\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
}

}  // namespace
