// The demo host: loads the layer as a host does, routes it to a stand-in driver and plays a
// short scripted Vulkan session through the hooks, then a Direct3D 11 and a Direct3D 12 frame. In verbose mode (the default here) the
// layer's dump goes to standard output; with --ordinary the logger lines go to standard error.
#include <cstring>
#include <iostream>

#include "com_session.h"
#include "stand_in_driver.h"
#include "testhost.h"

namespace {

namespace s = tov::logging_layer::slots;

template <typename Function>
Function Hook(const tov::testhost::Layer& layer, std::uint32_t slot) {
    return reinterpret_cast<Function>(layer.hook(slot));
}

// The application's side of one frame: set up, record a draw into a render pass, submit,
// present, tear down. The stand-in driver answers each call as a driver would.
void PlaySession(const tov::testhost::Layer& layer) {
    // Instance and device.
    VkApplicationInfo app = {VK_STRUCTURE_TYPE_APPLICATION_INFO};
    app.pApplicationName = "demo";
    app.applicationVersion = 3;
    app.pEngineName = "none";
    app.apiVersion = VK_API_VERSION_1_2;
    const char* instanceExtensions[] = {"VK_KHR_surface", "VK_EXT_headless_surface"};
    VkInstanceCreateInfo instanceInfo = {VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    instanceInfo.pApplicationInfo = &app;
    instanceInfo.enabledExtensionCount = 2;
    instanceInfo.ppEnabledExtensionNames = instanceExtensions;
    VkInstance instance = VK_NULL_HANDLE;
    Hook<PFN_vkCreateInstance>(layer, s::vkCreateInstance)(&instanceInfo, nullptr, &instance);

    uint32_t count = 0;
    const auto enumerate = Hook<PFN_vkEnumeratePhysicalDevices>(layer, s::vkEnumeratePhysicalDevices);
    enumerate(instance, &count, nullptr);
    VkPhysicalDevice physical = VK_NULL_HANDLE;
    enumerate(instance, &count, &physical);
    const auto families = Hook<PFN_vkGetPhysicalDeviceQueueFamilyProperties>(layer, s::vkGetPhysicalDeviceQueueFamilyProperties);
    families(physical, &count, nullptr);
    VkQueueFamilyProperties familyProperties[2];
    families(physical, &count, familyProperties);

    const float priority = 1.0f;
    VkDeviceQueueCreateInfo queueInfo = {VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO};
    queueInfo.queueFamilyIndex = 0;
    queueInfo.queueCount = 1;
    queueInfo.pQueuePriorities = &priority;
    const char* deviceExtensions[] = {"VK_KHR_swapchain"};
    VkDeviceCreateInfo deviceInfo = {VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    deviceInfo.queueCreateInfoCount = 1;
    deviceInfo.pQueueCreateInfos = &queueInfo;
    deviceInfo.enabledExtensionCount = 1;
    deviceInfo.ppEnabledExtensionNames = deviceExtensions;
    VkDevice device = VK_NULL_HANDLE;
    Hook<PFN_vkCreateDevice>(layer, s::vkCreateDevice)(physical, &deviceInfo, nullptr, &device);
    VkQueue queue = VK_NULL_HANDLE;
    Hook<PFN_vkGetDeviceQueue>(layer, s::vkGetDeviceQueue)(device, 0, 0, &queue);

    // A headless surface and its swapchain.
    VkHeadlessSurfaceCreateInfoEXT surfaceInfo = {VK_STRUCTURE_TYPE_HEADLESS_SURFACE_CREATE_INFO_EXT};
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    Hook<PFN_vkCreateHeadlessSurfaceEXT>(layer, s::vkCreateHeadlessSurfaceEXT)(instance, &surfaceInfo, nullptr, &surface);
    VkSurfaceCapabilitiesKHR caps;
    Hook<PFN_vkGetPhysicalDeviceSurfaceCapabilitiesKHR>(layer, s::vkGetPhysicalDeviceSurfaceCapabilitiesKHR)(physical, surface, &caps);
    const auto formats = Hook<PFN_vkGetPhysicalDeviceSurfaceFormatsKHR>(layer, s::vkGetPhysicalDeviceSurfaceFormatsKHR);
    formats(physical, surface, &count, nullptr);
    VkSurfaceFormatKHR surfaceFormats[2];
    formats(physical, surface, &count, surfaceFormats);

    VkSwapchainCreateInfoKHR swapchainInfo = {VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR};
    swapchainInfo.surface = surface;
    swapchainInfo.minImageCount = caps.minImageCount;
    swapchainInfo.imageFormat = surfaceFormats[0].format;
    swapchainInfo.imageColorSpace = surfaceFormats[0].colorSpace;
    swapchainInfo.imageExtent = caps.currentExtent;
    swapchainInfo.imageArrayLayers = 1;
    swapchainInfo.imageUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
    swapchainInfo.imageSharingMode = VK_SHARING_MODE_EXCLUSIVE;
    swapchainInfo.preTransform = caps.currentTransform;
    swapchainInfo.compositeAlpha = VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR;
    swapchainInfo.presentMode = VK_PRESENT_MODE_FIFO_KHR;
    swapchainInfo.clipped = VK_TRUE;
    VkSwapchainKHR swapchain = VK_NULL_HANDLE;
    Hook<PFN_vkCreateSwapchainKHR>(layer, s::vkCreateSwapchainKHR)(device, &swapchainInfo, nullptr, &swapchain);
    const auto images = Hook<PFN_vkGetSwapchainImagesKHR>(layer, s::vkGetSwapchainImagesKHR);
    images(device, swapchain, &count, nullptr);
    VkImage swapchainImages[2];
    images(device, swapchain, &count, swapchainImages);

    VkImageView views[2];
    for (int i = 0; i < 2; ++i) {
        VkImageViewCreateInfo viewInfo = {VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO};
        viewInfo.image = swapchainImages[i];
        viewInfo.viewType = VK_IMAGE_VIEW_TYPE_2D;
        viewInfo.format = swapchainInfo.imageFormat;
        viewInfo.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        Hook<PFN_vkCreateImageView>(layer, s::vkCreateImageView)(device, &viewInfo, nullptr, &views[i]);
    }

    // A render pass with one color attachment and one subpass, and its framebuffer.
    VkAttachmentDescription color = {};
    color.format = swapchainInfo.imageFormat;
    color.samples = VK_SAMPLE_COUNT_1_BIT;
    color.loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR;
    color.storeOp = VK_ATTACHMENT_STORE_OP_STORE;
    color.stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
    color.stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
    color.initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
    color.finalLayout = VK_IMAGE_LAYOUT_PRESENT_SRC_KHR;
    const VkAttachmentReference colorRef = {0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    VkSubpassDescription subpass = {};
    subpass.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
    subpass.colorAttachmentCount = 1;
    subpass.pColorAttachments = &colorRef;
    VkSubpassDependency dependency = {VK_SUBPASS_EXTERNAL, 0};
    dependency.srcStageMask = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
    dependency.dstStageMask = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
    dependency.dstAccessMask = VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT;
    VkRenderPassCreateInfo renderPassInfo = {VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO};
    renderPassInfo.attachmentCount = 1;
    renderPassInfo.pAttachments = &color;
    renderPassInfo.subpassCount = 1;
    renderPassInfo.pSubpasses = &subpass;
    renderPassInfo.dependencyCount = 1;
    renderPassInfo.pDependencies = &dependency;
    VkRenderPass renderPass = VK_NULL_HANDLE;
    Hook<PFN_vkCreateRenderPass>(layer, s::vkCreateRenderPass)(device, &renderPassInfo, nullptr, &renderPass);

    VkFramebufferCreateInfo framebufferInfo = {VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO};
    framebufferInfo.renderPass = renderPass;
    framebufferInfo.attachmentCount = 1;
    framebufferInfo.pAttachments = &views[1];
    framebufferInfo.width = caps.currentExtent.width;
    framebufferInfo.height = caps.currentExtent.height;
    framebufferInfo.layers = 1;
    VkFramebuffer framebuffer = VK_NULL_HANDLE;
    Hook<PFN_vkCreateFramebuffer>(layer, s::vkCreateFramebuffer)(device, &framebufferInfo, nullptr, &framebuffer);

    // One uniform buffer for the vertex shader, through a descriptor set.
    VkDescriptorSetLayoutBinding binding = {0, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1, VK_SHADER_STAGE_VERTEX_BIT};
    VkDescriptorSetLayoutCreateInfo setLayoutInfo = {VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO};
    setLayoutInfo.bindingCount = 1;
    setLayoutInfo.pBindings = &binding;
    VkDescriptorSetLayout setLayout = VK_NULL_HANDLE;
    Hook<PFN_vkCreateDescriptorSetLayout>(layer, s::vkCreateDescriptorSetLayout)(device, &setLayoutInfo, nullptr, &setLayout);
    VkPipelineLayoutCreateInfo pipelineLayoutInfo = {VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO};
    pipelineLayoutInfo.setLayoutCount = 1;
    pipelineLayoutInfo.pSetLayouts = &setLayout;
    VkPipelineLayout pipelineLayout = VK_NULL_HANDLE;
    Hook<PFN_vkCreatePipelineLayout>(layer, s::vkCreatePipelineLayout)(device, &pipelineLayoutInfo, nullptr, &pipelineLayout);

    // The graphics pipeline: two shader stages and every piece of fixed-function state.
    static const uint32_t spirv[] = {0x07230203, 0x00010500, 0, 8, 0};
    VkShaderModuleCreateInfo moduleInfo = {VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO};
    moduleInfo.codeSize = sizeof spirv;
    moduleInfo.pCode = spirv;
    VkShaderModule modules[2];
    for (VkShaderModule& module : modules)
        Hook<PFN_vkCreateShaderModule>(layer, s::vkCreateShaderModule)(device, &moduleInfo, nullptr, &module);
    VkPipelineShaderStageCreateInfo stages[2] = {{VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO},
                                                 {VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO}};
    stages[0].stage = VK_SHADER_STAGE_VERTEX_BIT;
    stages[0].module = modules[0];
    stages[0].pName = "main";
    stages[1].stage = VK_SHADER_STAGE_FRAGMENT_BIT;
    stages[1].module = modules[1];
    stages[1].pName = "main";
    const VkVertexInputBindingDescription vertexBinding = {0, 20, VK_VERTEX_INPUT_RATE_VERTEX};
    const VkVertexInputAttributeDescription attributes[2] = {{0, 0, VK_FORMAT_R32G32_SFLOAT, 0},
                                                             {1, 0, VK_FORMAT_R32G32B32_SFLOAT, 8}};
    VkPipelineVertexInputStateCreateInfo vertexInput = {VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO};
    vertexInput.vertexBindingDescriptionCount = 1;
    vertexInput.pVertexBindingDescriptions = &vertexBinding;
    vertexInput.vertexAttributeDescriptionCount = 2;
    vertexInput.pVertexAttributeDescriptions = attributes;
    VkPipelineInputAssemblyStateCreateInfo inputAssembly = {VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO};
    inputAssembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    VkPipelineViewportStateCreateInfo viewportState = {VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO};
    viewportState.viewportCount = 1;
    viewportState.scissorCount = 1;
    VkPipelineRasterizationStateCreateInfo rasterization = {VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO};
    rasterization.polygonMode = VK_POLYGON_MODE_FILL;
    rasterization.cullMode = VK_CULL_MODE_BACK_BIT;
    rasterization.frontFace = VK_FRONT_FACE_COUNTER_CLOCKWISE;
    rasterization.lineWidth = 1.0f;
    VkPipelineMultisampleStateCreateInfo multisample = {VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO};
    multisample.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
    VkPipelineDepthStencilStateCreateInfo depthStencil = {VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO};
    depthStencil.depthCompareOp = VK_COMPARE_OP_LESS;
    depthStencil.maxDepthBounds = 1.0f;
    VkPipelineColorBlendAttachmentState blendAttachment = {};
    blendAttachment.blendEnable = VK_TRUE;
    blendAttachment.srcColorBlendFactor = VK_BLEND_FACTOR_SRC_ALPHA;
    blendAttachment.dstColorBlendFactor = VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
    blendAttachment.colorBlendOp = VK_BLEND_OP_ADD;
    blendAttachment.srcAlphaBlendFactor = VK_BLEND_FACTOR_ONE;
    blendAttachment.dstAlphaBlendFactor = VK_BLEND_FACTOR_ZERO;
    blendAttachment.alphaBlendOp = VK_BLEND_OP_ADD;
    blendAttachment.colorWriteMask = VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_G_BIT |
                                     VK_COLOR_COMPONENT_B_BIT | VK_COLOR_COMPONENT_A_BIT;
    VkPipelineColorBlendStateCreateInfo colorBlend = {VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO};
    colorBlend.attachmentCount = 1;
    colorBlend.pAttachments = &blendAttachment;
    const VkDynamicState dynamicStates[2] = {VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR};
    VkPipelineDynamicStateCreateInfo dynamicState = {VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO};
    dynamicState.dynamicStateCount = 2;
    dynamicState.pDynamicStates = dynamicStates;
    VkGraphicsPipelineCreateInfo pipelineInfo = {VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO};
    pipelineInfo.stageCount = 2;
    pipelineInfo.pStages = stages;
    pipelineInfo.pVertexInputState = &vertexInput;
    pipelineInfo.pInputAssemblyState = &inputAssembly;
    pipelineInfo.pViewportState = &viewportState;
    pipelineInfo.pRasterizationState = &rasterization;
    pipelineInfo.pMultisampleState = &multisample;
    pipelineInfo.pDepthStencilState = &depthStencil;
    pipelineInfo.pColorBlendState = &colorBlend;
    pipelineInfo.pDynamicState = &dynamicState;
    pipelineInfo.layout = pipelineLayout;
    pipelineInfo.renderPass = renderPass;
    pipelineInfo.basePipelineIndex = -1;
    VkPipeline pipeline = VK_NULL_HANDLE;
    Hook<PFN_vkCreateGraphicsPipelines>(layer, s::vkCreateGraphicsPipelines)(device, VK_NULL_HANDLE, 1, &pipelineInfo, nullptr, &pipeline);
    for (VkShaderModule module : modules)
        Hook<PFN_vkDestroyShaderModule>(layer, s::vkDestroyShaderModule)(device, module, nullptr);

    // One host-visible buffer: three vertices, and the uniform block at offset 256.
    VkBufferCreateInfo bufferInfo = {VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
    bufferInfo.size = 256 + 4096;
    bufferInfo.usage = VK_BUFFER_USAGE_VERTEX_BUFFER_BIT | VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT;
    bufferInfo.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    VkBuffer buffer = VK_NULL_HANDLE;
    Hook<PFN_vkCreateBuffer>(layer, s::vkCreateBuffer)(device, &bufferInfo, nullptr, &buffer);
    VkMemoryRequirements requirements;
    Hook<PFN_vkGetBufferMemoryRequirements>(layer, s::vkGetBufferMemoryRequirements)(device, buffer, &requirements);
    VkMemoryAllocateInfo allocateInfo = {VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO};
    allocateInfo.allocationSize = requirements.size;
    allocateInfo.memoryTypeIndex = 1;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    Hook<PFN_vkAllocateMemory>(layer, s::vkAllocateMemory)(device, &allocateInfo, nullptr, &memory);
    Hook<PFN_vkBindBufferMemory>(layer, s::vkBindBufferMemory)(device, buffer, memory, 0);
    void* mapped = nullptr;
    Hook<PFN_vkMapMemory>(layer, s::vkMapMemory)(device, memory, 0, VK_WHOLE_SIZE, 0, &mapped);
    const float vertices[15] = {0.0f, -0.5f, 1, 0, 0, 0.5f, 0.5f, 0, 1, 0, -0.5f, 0.5f, 0, 0, 1};
    std::memcpy(mapped, vertices, sizeof vertices);
    Hook<PFN_vkUnmapMemory>(layer, s::vkUnmapMemory)(device, memory);

    const VkDescriptorPoolSize poolSize = {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1};
    VkDescriptorPoolCreateInfo descriptorPoolInfo = {VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO};
    descriptorPoolInfo.maxSets = 1;
    descriptorPoolInfo.poolSizeCount = 1;
    descriptorPoolInfo.pPoolSizes = &poolSize;
    VkDescriptorPool descriptorPool = VK_NULL_HANDLE;
    Hook<PFN_vkCreateDescriptorPool>(layer, s::vkCreateDescriptorPool)(device, &descriptorPoolInfo, nullptr, &descriptorPool);
    VkDescriptorSetAllocateInfo setInfo = {VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO};
    setInfo.descriptorPool = descriptorPool;
    setInfo.descriptorSetCount = 1;
    setInfo.pSetLayouts = &setLayout;
    VkDescriptorSet set = VK_NULL_HANDLE;
    Hook<PFN_vkAllocateDescriptorSets>(layer, s::vkAllocateDescriptorSets)(device, &setInfo, &set);
    const VkDescriptorBufferInfo uniform = {buffer, 256, 64};
    VkWriteDescriptorSet write = {VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET};
    write.dstSet = set;
    write.dstBinding = 0;
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
    write.pBufferInfo = &uniform;
    Hook<PFN_vkUpdateDescriptorSets>(layer, s::vkUpdateDescriptorSets)(device, 1, &write, 0, nullptr);

    // Record one frame.
    VkCommandPoolCreateInfo poolInfo = {VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
    poolInfo.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT;
    poolInfo.queueFamilyIndex = 0;
    VkCommandPool pool = VK_NULL_HANDLE;
    Hook<PFN_vkCreateCommandPool>(layer, s::vkCreateCommandPool)(device, &poolInfo, nullptr, &pool);
    VkCommandBufferAllocateInfo commandInfo = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO};
    commandInfo.commandPool = pool;
    commandInfo.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    commandInfo.commandBufferCount = 1;
    VkCommandBuffer commands = VK_NULL_HANDLE;
    Hook<PFN_vkAllocateCommandBuffers>(layer, s::vkAllocateCommandBuffers)(device, &commandInfo, &commands);

    VkSemaphoreCreateInfo semaphoreInfo = {VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO};
    VkSemaphore imageReady = VK_NULL_HANDLE, renderDone = VK_NULL_HANDLE;
    Hook<PFN_vkCreateSemaphore>(layer, s::vkCreateSemaphore)(device, &semaphoreInfo, nullptr, &imageReady);
    Hook<PFN_vkCreateSemaphore>(layer, s::vkCreateSemaphore)(device, &semaphoreInfo, nullptr, &renderDone);
    VkFenceCreateInfo fenceInfo = {VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence frameDone = VK_NULL_HANDLE;
    Hook<PFN_vkCreateFence>(layer, s::vkCreateFence)(device, &fenceInfo, nullptr, &frameDone);
    uint32_t imageIndex = 0;
    Hook<PFN_vkAcquireNextImageKHR>(layer, s::vkAcquireNextImageKHR)(device, swapchain, UINT64_MAX, imageReady, VK_NULL_HANDLE, &imageIndex);

    VkCommandBufferBeginInfo beginInfo = {VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    beginInfo.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    Hook<PFN_vkBeginCommandBuffer>(layer, s::vkBeginCommandBuffer)(commands, &beginInfo);
    VkBufferMemoryBarrier hostWrites = {VK_STRUCTURE_TYPE_BUFFER_MEMORY_BARRIER};
    hostWrites.srcAccessMask = VK_ACCESS_HOST_WRITE_BIT;
    hostWrites.dstAccessMask = VK_ACCESS_VERTEX_ATTRIBUTE_READ_BIT | VK_ACCESS_UNIFORM_READ_BIT;
    hostWrites.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    hostWrites.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    hostWrites.buffer = buffer;
    hostWrites.size = VK_WHOLE_SIZE;
    Hook<PFN_vkCmdPipelineBarrier>(layer, s::vkCmdPipelineBarrier)(
        commands, VK_PIPELINE_STAGE_HOST_BIT, VK_PIPELINE_STAGE_VERTEX_INPUT_BIT | VK_PIPELINE_STAGE_VERTEX_SHADER_BIT,
        0, 0, nullptr, 1, &hostWrites, 0, nullptr);
    VkClearValue clear = {};
    clear.color = {{0.1f, 0.1f, 0.2f, 1.0f}};
    VkRenderPassBeginInfo passBegin = {VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO};
    passBegin.renderPass = renderPass;
    passBegin.framebuffer = framebuffer;
    passBegin.renderArea = {{0, 0}, caps.currentExtent};
    passBegin.clearValueCount = 1;
    passBegin.pClearValues = &clear;
    Hook<PFN_vkCmdBeginRenderPass>(layer, s::vkCmdBeginRenderPass)(commands, &passBegin, VK_SUBPASS_CONTENTS_INLINE);
    Hook<PFN_vkCmdBindPipeline>(layer, s::vkCmdBindPipeline)(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    Hook<PFN_vkCmdBindDescriptorSets>(layer, s::vkCmdBindDescriptorSets)(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelineLayout, 0, 1, &set, 0, nullptr);
    const VkDeviceSize vertexOffset = 0;
    Hook<PFN_vkCmdBindVertexBuffers>(layer, s::vkCmdBindVertexBuffers)(commands, 0, 1, &buffer, &vertexOffset);
    const VkViewport viewport = {0, 0, 1280, 720, 0, 1};
    Hook<PFN_vkCmdSetViewport>(layer, s::vkCmdSetViewport)(commands, 0, 1, &viewport);
    const VkRect2D scissor = {{0, 0}, caps.currentExtent};
    Hook<PFN_vkCmdSetScissor>(layer, s::vkCmdSetScissor)(commands, 0, 1, &scissor);
    Hook<PFN_vkCmdDraw>(layer, s::vkCmdDraw)(commands, 3, 1, 0, 0);
    Hook<PFN_vkCmdEndRenderPass>(layer, s::vkCmdEndRenderPass)(commands);
    Hook<PFN_vkEndCommandBuffer>(layer, s::vkEndCommandBuffer)(commands);

    // Submit, present, wait.
    const VkPipelineStageFlags waitStage = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
    VkSubmitInfo submit = {VK_STRUCTURE_TYPE_SUBMIT_INFO};
    submit.waitSemaphoreCount = 1;
    submit.pWaitSemaphores = &imageReady;
    submit.pWaitDstStageMask = &waitStage;
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands;
    submit.signalSemaphoreCount = 1;
    submit.pSignalSemaphores = &renderDone;
    Hook<PFN_vkQueueSubmit>(layer, s::vkQueueSubmit)(queue, 1, &submit, frameDone);
    VkResult presentResult = VK_ERROR_UNKNOWN;
    VkPresentInfoKHR present = {VK_STRUCTURE_TYPE_PRESENT_INFO_KHR};
    present.waitSemaphoreCount = 1;
    present.pWaitSemaphores = &renderDone;
    present.swapchainCount = 1;
    present.pSwapchains = &swapchain;
    present.pImageIndices = &imageIndex;
    present.pResults = &presentResult;
    Hook<PFN_vkQueuePresentKHR>(layer, s::vkQueuePresentKHR)(queue, &present);
    Hook<PFN_vkWaitForFences>(layer, s::vkWaitForFences)(device, 1, &frameDone, VK_TRUE, 1000000000);

    // Tear down, in reverse.
    Hook<PFN_vkDeviceWaitIdle>(layer, s::vkDeviceWaitIdle)(device);
    Hook<PFN_vkDestroyFence>(layer, s::vkDestroyFence)(device, frameDone, nullptr);
    Hook<PFN_vkDestroySemaphore>(layer, s::vkDestroySemaphore)(device, renderDone, nullptr);
    Hook<PFN_vkDestroySemaphore>(layer, s::vkDestroySemaphore)(device, imageReady, nullptr);
    Hook<PFN_vkDestroyCommandPool>(layer, s::vkDestroyCommandPool)(device, pool, nullptr);
    Hook<PFN_vkDestroyDescriptorPool>(layer, s::vkDestroyDescriptorPool)(device, descriptorPool, nullptr);
    Hook<PFN_vkFreeMemory>(layer, s::vkFreeMemory)(device, memory, nullptr);
    Hook<PFN_vkDestroyBuffer>(layer, s::vkDestroyBuffer)(device, buffer, nullptr);
    Hook<PFN_vkDestroyPipeline>(layer, s::vkDestroyPipeline)(device, pipeline, nullptr);
    Hook<PFN_vkDestroyPipelineLayout>(layer, s::vkDestroyPipelineLayout)(device, pipelineLayout, nullptr);
    Hook<PFN_vkDestroyDescriptorSetLayout>(layer, s::vkDestroyDescriptorSetLayout)(device, setLayout, nullptr);
    Hook<PFN_vkDestroyFramebuffer>(layer, s::vkDestroyFramebuffer)(device, framebuffer, nullptr);
    Hook<PFN_vkDestroyRenderPass>(layer, s::vkDestroyRenderPass)(device, renderPass, nullptr);
    for (VkImageView view : views) Hook<PFN_vkDestroyImageView>(layer, s::vkDestroyImageView)(device, view, nullptr);
    Hook<PFN_vkDestroySwapchainKHR>(layer, s::vkDestroySwapchainKHR)(device, swapchain, nullptr);
    Hook<PFN_vkDestroySurfaceKHR>(layer, s::vkDestroySurfaceKHR)(instance, surface, nullptr);
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
    tov::demo::PlayDirect3DSession(layer);
    // The host applies a keyframe: the layer marks the place in the stream of calls.
    tov::testhost::PublishKeyframe(1);
    return 0;
}
