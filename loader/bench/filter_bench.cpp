// The cost of a Vulkan call that the call filter leaves out, through the real loader and the
// software driver: the same call on a device made without this layer (_Direct) and on a device
// made with it (_Filtered), in the same run, through the loader's exported functions as an
// application linked to libvulkan calls them. A call the filter lets through (_Hook, ordinary
// mode) shows what the filter saves. The logger is a no-op defined here, which the layer reaches
// through the dynamic linker.
#include <benchmark/benchmark.h>
#include <vulkan/vulkan.h>

#include <cstdio>
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int LogMessage(int, int, int, const char*, ...) {
    return 0;
}

namespace {

constexpr const char* kLayer = "VK_LAYER_TOV_logging";

struct Device {
    VkInstance instance = VK_NULL_HANDLE;
    VkDevice device = VK_NULL_HANDLE;
    VkEvent event = VK_NULL_HANDLE;
};

void Require(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "filter_bench: %s\n", what);
    std::exit(1);
}

Device Make(bool withLayer) {
    Device d;
    VkApplicationInfo app{VK_STRUCTURE_TYPE_APPLICATION_INFO};
    app.apiVersion = VK_API_VERSION_1_1;
    VkInstanceCreateInfo info{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    info.pApplicationInfo = &app;
    info.enabledLayerCount = withLayer ? 1 : 0;
    info.ppEnabledLayerNames = withLayer ? &kLayer : nullptr;
    Require(vkCreateInstance(&info, nullptr, &d.instance) == VK_SUCCESS, "no instance");
    uint32_t count = 1;
    VkPhysicalDevice physical = VK_NULL_HANDLE;
    const VkResult enumerated = vkEnumeratePhysicalDevices(d.instance, &count, &physical);
    Require((enumerated == VK_SUCCESS || enumerated == VK_INCOMPLETE) && count == 1, "no device");
    const float priority = 1.0f;
    VkDeviceQueueCreateInfo queue{VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO};
    queue.queueCount = 1;
    queue.pQueuePriorities = &priority;
    VkDeviceCreateInfo deviceInfo{VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    deviceInfo.queueCreateInfoCount = 1;
    deviceInfo.pQueueCreateInfos = &queue;
    Require(vkCreateDevice(physical, &deviceInfo, nullptr, &d.device) == VK_SUCCESS, "no device");
    VkEventCreateInfo eventInfo{VK_STRUCTURE_TYPE_EVENT_CREATE_INFO};
    Require(vkCreateEvent(d.device, &eventInfo, nullptr, &d.event) == VK_SUCCESS, "no event");
    return d;
}

struct Setup {
    Setup() {
        // The filter is read when the layer is first linked, on the first instance with it.
        setenv("TOV_LOGGING_SKIP", "vkGetEventStatus", 1);
        setenv("VK_ADD_LAYER_PATH", TOV_MANIFEST_DIR, 1);
        plain = Make(false);
        layered = Make(true);
        // Both devices hand out the driver's own function: the layer is not in the filtered path.
        Require(vkGetDeviceProcAddr(plain.device, "vkGetEventStatus") ==
                    vkGetDeviceProcAddr(layered.device, "vkGetEventStatus"),
                "the filtered call is not the driver's function");
        Require(vkGetDeviceProcAddr(plain.device, "vkSetEvent") !=
                    vkGetDeviceProcAddr(layered.device, "vkSetEvent"),
                "the layer is not in front of the device");
    }
    Device plain, layered;
};

Setup& Shared() {
    static Setup setup;
    return setup;
}

// One loop for each call, whichever device it runs on: the same machine code measures both, so
// that the code's placement cannot tell them apart.
void GetEventStatus(benchmark::State& state, bool layered) {
    const Device& d = layered ? Shared().layered : Shared().plain;
    for (auto _ : state) benchmark::DoNotOptimize(vkGetEventStatus(d.device, d.event));
}
void SetEvent(benchmark::State& state, bool layered) {
    const Device& d = layered ? Shared().layered : Shared().plain;
    for (auto _ : state) benchmark::DoNotOptimize(vkSetEvent(d.device, d.event));
}

BENCHMARK_CAPTURE(GetEventStatus, vkGetEventStatus_Direct, false)->Name("vkGetEventStatus_Direct");
BENCHMARK_CAPTURE(GetEventStatus, vkGetEventStatus_Filtered, true)->Name("vkGetEventStatus_Filtered");
BENCHMARK_CAPTURE(SetEvent, vkSetEvent_Direct, false)->Name("vkSetEvent_Direct");
BENCHMARK_CAPTURE(SetEvent, vkSetEvent_Hook, true)->Name("vkSetEvent_Hook");

}  // namespace

BENCHMARK_MAIN();
