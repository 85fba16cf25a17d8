// A small Vulkan application: it creates an instance and a device, uploads a buffer of numbers,
// runs a compute shader that doubles them, reads the result back and checks it. Nothing needs a
// display. It knows nothing of any layer.
//
//   vk_sample                      the compute run; prints what it computed
//   vk_sample --record N [FILE]    also records N cheap commands into a command buffer and writes
//                                  the nanoseconds per command to FILE (for the benchmark)
//   vk_sample --write-lines TEXT   with --record, also writes each line of the file TEXT to
//                                  standard output after each command, one write(2) per line
//                                  (the benchmark's baseline for a dump of the same lines)
//   vk_sample --probe              also asks for an unknown name and for a function of an
//                                  extension it did not enable, and prints what came back
//   vk_sample --zero-count-submit  also submits an empty batch whose array pointer is not
//                                  mapped: valid, since with a count of 0 it may hold anything
#include <vulkan/vulkan.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "double_comp.h"

namespace {

constexpr std::uint32_t kCount = 1000;

void Check(VkResult result, const char* what) {
    if (result != VK_SUCCESS) {
        std::fprintf(stderr, "vk_sample: %s failed: %d\n", what, static_cast<int>(result));
        std::exit(1);
    }
}

const char* NullOrNot(PFN_vkVoidFunction function) { return function ? "a function" : "null"; }

struct Options {
    std::uint32_t record = 0;
    std::string timingFile;
    std::vector<std::string> linesToWrite;
    bool probe = false;
    bool zeroCountSubmit = false;
};

Options ParseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--record" && i + 1 < argc) {
            options.record = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 10));
            if (i + 1 < argc && argv[i + 1][0] != '-') options.timingFile = argv[++i];
        } else if (arg == "--write-lines" && i + 1 < argc) {
            std::ifstream text(argv[++i]);
            for (std::string line; std::getline(text, line);) options.linesToWrite.push_back(line + '\n');
        } else if (arg == "--probe") {
            options.probe = true;
        } else if (arg == "--zero-count-submit") {
            options.zeroCountSubmit = true;
        } else {
            std::fprintf(stderr, "usage: vk_sample [--record N [FILE]] [--write-lines TEXT] [--probe] "
                                 "[--zero-count-submit]\n");
            std::exit(2);
        }
    }
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = ParseOptions(argc, argv);

    VkApplicationInfo app{VK_STRUCTURE_TYPE_APPLICATION_INFO};
    app.pApplicationName = "vk_sample";
    app.apiVersion = VK_API_VERSION_1_1;
    VkInstanceCreateInfo instanceInfo{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    instanceInfo.pApplicationInfo = &app;
    VkInstance instance;
    Check(vkCreateInstance(&instanceInfo, nullptr, &instance), "vkCreateInstance");

    std::uint32_t deviceCount = 0;
    Check(vkEnumeratePhysicalDevices(instance, &deviceCount, nullptr), "vkEnumeratePhysicalDevices");
    if (deviceCount == 0) {
        std::fprintf(stderr, "vk_sample: no Vulkan device\n");
        return 1;
    }
    std::vector<VkPhysicalDevice> physicalDevices(deviceCount);
    Check(vkEnumeratePhysicalDevices(instance, &deviceCount, physicalDevices.data()),
          "vkEnumeratePhysicalDevices");
    VkPhysicalDevice physicalDevice = physicalDevices[0];
    VkPhysicalDeviceProperties properties;
    vkGetPhysicalDeviceProperties(physicalDevice, &properties);
    std::printf("device: %s\n", properties.deviceName);

    std::uint32_t familyCount = 0;
    vkGetPhysicalDeviceQueueFamilyProperties(physicalDevice, &familyCount, nullptr);
    std::vector<VkQueueFamilyProperties> families(familyCount);
    vkGetPhysicalDeviceQueueFamilyProperties(physicalDevice, &familyCount, families.data());
    std::uint32_t family = 0;
    while (family < familyCount && !(families[family].queueFlags & VK_QUEUE_COMPUTE_BIT)) ++family;
    if (family == familyCount) {
        std::fprintf(stderr, "vk_sample: no compute queue\n");
        return 1;
    }

    const float priority = 1.0f;
    VkDeviceQueueCreateInfo queueInfo{VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO};
    queueInfo.queueFamilyIndex = family;
    queueInfo.queueCount = 1;
    queueInfo.pQueuePriorities = &priority;
    VkDeviceCreateInfo deviceInfo{VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    deviceInfo.queueCreateInfoCount = 1;
    deviceInfo.pQueueCreateInfos = &queueInfo;
    VkDevice device;
    Check(vkCreateDevice(physicalDevice, &deviceInfo, nullptr, &device), "vkCreateDevice");
    VkQueue queue;
    vkGetDeviceQueue(device, family, 0, &queue);

    // A host-visible buffer of kCount numbers.
    VkBufferCreateInfo bufferInfo{VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
    bufferInfo.size = kCount * sizeof(std::uint32_t);
    bufferInfo.usage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT;
    bufferInfo.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    VkBuffer buffer;
    Check(vkCreateBuffer(device, &bufferInfo, nullptr, &buffer), "vkCreateBuffer");
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device, buffer, &requirements);
    VkPhysicalDeviceMemoryProperties memoryProperties;
    vkGetPhysicalDeviceMemoryProperties(physicalDevice, &memoryProperties);
    const VkMemoryPropertyFlags wanted =
        VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    std::uint32_t memoryType = 0;
    while (memoryType < memoryProperties.memoryTypeCount &&
           !((requirements.memoryTypeBits & (1u << memoryType)) &&
             (memoryProperties.memoryTypes[memoryType].propertyFlags & wanted) == wanted))
        ++memoryType;
    if (memoryType == memoryProperties.memoryTypeCount) {
        std::fprintf(stderr, "vk_sample: no host-visible memory\n");
        return 1;
    }
    VkMemoryAllocateInfo allocateInfo{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO};
    allocateInfo.allocationSize = requirements.size;
    allocateInfo.memoryTypeIndex = memoryType;
    VkDeviceMemory memory;
    Check(vkAllocateMemory(device, &allocateInfo, nullptr, &memory), "vkAllocateMemory");
    Check(vkBindBufferMemory(device, buffer, memory, 0), "vkBindBufferMemory");
    void* mapped = nullptr;
    Check(vkMapMemory(device, memory, 0, VK_WHOLE_SIZE, 0, &mapped), "vkMapMemory");
    auto* values = static_cast<std::uint32_t*>(mapped);
    for (std::uint32_t i = 0; i < kCount; ++i) values[i] = i * 3 + 1;

    // The pipeline: one storage buffer and the count as a push constant.
    VkDescriptorSetLayoutBinding binding{};
    binding.binding = 0;
    binding.descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    binding.descriptorCount = 1;
    binding.stageFlags = VK_SHADER_STAGE_COMPUTE_BIT;
    VkDescriptorSetLayoutCreateInfo setLayoutInfo{VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO};
    setLayoutInfo.bindingCount = 1;
    setLayoutInfo.pBindings = &binding;
    VkDescriptorSetLayout setLayout;
    Check(vkCreateDescriptorSetLayout(device, &setLayoutInfo, nullptr, &setLayout),
          "vkCreateDescriptorSetLayout");
    VkPushConstantRange range{VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof(std::uint32_t)};
    VkPipelineLayoutCreateInfo layoutInfo{VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO};
    layoutInfo.setLayoutCount = 1;
    layoutInfo.pSetLayouts = &setLayout;
    layoutInfo.pushConstantRangeCount = 1;
    layoutInfo.pPushConstantRanges = &range;
    VkPipelineLayout pipelineLayout;
    Check(vkCreatePipelineLayout(device, &layoutInfo, nullptr, &pipelineLayout),
          "vkCreatePipelineLayout");
    VkShaderModuleCreateInfo moduleInfo{VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO};
    moduleInfo.codeSize = sizeof kDoubleShader;
    moduleInfo.pCode = kDoubleShader;
    VkShaderModule module;
    Check(vkCreateShaderModule(device, &moduleInfo, nullptr, &module), "vkCreateShaderModule");
    VkComputePipelineCreateInfo pipelineInfo{VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO};
    pipelineInfo.stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    pipelineInfo.stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
    pipelineInfo.stage.module = module;
    pipelineInfo.stage.pName = "main";
    pipelineInfo.layout = pipelineLayout;
    VkPipeline pipeline;
    Check(vkCreateComputePipelines(device, VK_NULL_HANDLE, 1, &pipelineInfo, nullptr, &pipeline),
          "vkCreateComputePipelines");

    VkDescriptorPoolSize poolSize{VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1};
    VkDescriptorPoolCreateInfo poolInfo{VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO};
    poolInfo.maxSets = 1;
    poolInfo.poolSizeCount = 1;
    poolInfo.pPoolSizes = &poolSize;
    VkDescriptorPool pool;
    Check(vkCreateDescriptorPool(device, &poolInfo, nullptr, &pool), "vkCreateDescriptorPool");
    VkDescriptorSetAllocateInfo setInfo{VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO};
    setInfo.descriptorPool = pool;
    setInfo.descriptorSetCount = 1;
    setInfo.pSetLayouts = &setLayout;
    VkDescriptorSet set;
    Check(vkAllocateDescriptorSets(device, &setInfo, &set), "vkAllocateDescriptorSets");
    VkDescriptorBufferInfo described{buffer, 0, VK_WHOLE_SIZE};
    VkWriteDescriptorSet write{VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET};
    write.dstSet = set;
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    write.pBufferInfo = &described;
    vkUpdateDescriptorSets(device, 1, &write, 0, nullptr);

    VkCommandPoolCreateInfo commandPoolInfo{VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
    commandPoolInfo.flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
    commandPoolInfo.queueFamilyIndex = family;
    VkCommandPool commandPool;
    Check(vkCreateCommandPool(device, &commandPoolInfo, nullptr, &commandPool),
          "vkCreateCommandPool");
    VkCommandBufferAllocateInfo commandInfo{VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO};
    commandInfo.commandPool = commandPool;
    commandInfo.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    commandInfo.commandBufferCount = 1;
    VkCommandBuffer commands;
    Check(vkAllocateCommandBuffers(device, &commandInfo, &commands), "vkAllocateCommandBuffers");

    VkCommandBufferBeginInfo beginInfo{VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    beginInfo.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    Check(vkBeginCommandBuffer(commands, &beginInfo), "vkBeginCommandBuffer");
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipelineLayout, 0, 1, &set,
                            0, nullptr);
    const std::uint32_t count = kCount;
    vkCmdPushConstants(commands, pipelineLayout, VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof count,
                       &count);
    vkCmdDispatch(commands, (kCount + 63) / 64, 1, 1);
    VkMemoryBarrier barrier{VK_STRUCTURE_TYPE_MEMORY_BARRIER};
    barrier.srcAccessMask = VK_ACCESS_SHADER_WRITE_BIT;
    barrier.dstAccessMask = VK_ACCESS_HOST_READ_BIT;
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT,
                         VK_PIPELINE_STAGE_HOST_BIT, 0, 1, &barrier, 0, nullptr, 0, nullptr);
    Check(vkEndCommandBuffer(commands), "vkEndCommandBuffer");

    VkFenceCreateInfo fenceInfo{VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence fence;
    Check(vkCreateFence(device, &fenceInfo, nullptr, &fence), "vkCreateFence");
    VkSubmitInfo submit{VK_STRUCTURE_TYPE_SUBMIT_INFO};
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands;
    Check(vkQueueSubmit(queue, 1, &submit, fence), "vkQueueSubmit");
    Check(vkWaitForFences(device, 1, &fence, VK_TRUE, UINT64_MAX), "vkWaitForFences");

    std::uint32_t wrong = 0;
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        if (values[i] != (i * 3 + 1) * 2) ++wrong;
        sum += values[i];
    }
    std::printf("computed: %u values doubled, sum %llu, %u wrong\n", kCount,
                static_cast<unsigned long long>(sum), wrong);

    // The call-heavy loop: record many cheap commands and never submit them.
    if (options.record > 0) {
        Check(vkResetCommandBuffer(commands, 0), "vkResetCommandBuffer");
        Check(vkBeginCommandBuffer(commands, &beginInfo), "vkBeginCommandBuffer");
        const auto start = std::chrono::steady_clock::now();
        std::fflush(stdout);
        for (std::uint32_t i = 0; i < options.record; ++i) {
            vkCmdPushConstants(commands, pipelineLayout, VK_SHADER_STAGE_COMPUTE_BIT, 0,
                               sizeof i, &i);
            for (const std::string& line : options.linesToWrite)
                if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) break;
        }
        const auto stop = std::chrono::steady_clock::now();
        Check(vkEndCommandBuffer(commands), "vkEndCommandBuffer");
        const double nanoseconds = std::chrono::duration<double, std::nano>(stop - start).count();
        std::printf("recorded: %u commands\n", options.record);
        if (!options.timingFile.empty()) {
            if (FILE* file = std::fopen(options.timingFile.c_str(), "w")) {
                std::fprintf(file, "%.3f\n", nanoseconds / options.record);
                std::fclose(file);
            }
        }
    }

    if (options.probe) {
        std::printf("instance lookup of an unknown name: %s\n",
                    NullOrNot(vkGetInstanceProcAddr(instance, "vkNoSuchFunctionTOV")));
        std::printf("device lookup of an unknown name: %s\n",
                    NullOrNot(vkGetDeviceProcAddr(device, "vkNoSuchFunctionTOV")));
        std::printf("device lookup of a function of an extension not enabled: %s\n",
                    NullOrNot(vkGetDeviceProcAddr(device, "vkCmdSetLineStippleEXT")));
        std::printf("device lookup of a core function: %s\n",
                    NullOrNot(vkGetDeviceProcAddr(device, "vkCmdDispatch")));
    }

    if (options.zeroCountSubmit) {
        const auto* unmapped = reinterpret_cast<const VkSubmitInfo*>(std::uintptr_t{0x10});
        Check(vkQueueSubmit(queue, 0, unmapped, VK_NULL_HANDLE), "vkQueueSubmit of nothing");
        Check(vkQueueWaitIdle(queue), "vkQueueWaitIdle");
        std::printf("submitted: an empty batch\n");
    }

    vkDestroyFence(device, fence, nullptr);
    vkFreeCommandBuffers(device, commandPool, 1, &commands);
    vkDestroyCommandPool(device, commandPool, nullptr);
    vkDestroyDescriptorPool(device, pool, nullptr);
    vkDestroyPipeline(device, pipeline, nullptr);
    vkDestroyShaderModule(device, module, nullptr);
    vkDestroyPipelineLayout(device, pipelineLayout, nullptr);
    vkDestroyDescriptorSetLayout(device, setLayout, nullptr);
    vkUnmapMemory(device, memory);
    vkDestroyBuffer(device, buffer, nullptr);
    vkFreeMemory(device, memory, nullptr);
    vkDestroyDevice(device, nullptr);
    vkDestroyInstance(instance, nullptr);
    return wrong == 0 ? 0 : 1;
}
