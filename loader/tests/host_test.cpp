// The Vulkan host as the loader drives it, with fake chains below it: two "drivers" A and B whose
// next functions differ, so that the limits of one slot per entry point show.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vulkan/vk_layer.h>
#include <vulkan/vulkan.h>

#include <string>
#include <vector>

#include "testhost.h"

namespace {

// A dispatchable handle: the loader's dispatch pointer comes first.
struct FakeHandle {
    void* dispatch;
};

std::vector<std::string> g_reached;  // which fake next functions ran

template <char Driver>
VKAPI_ATTR VkResult VKAPI_CALL EnumeratePhysicalDevices(VkInstance, uint32_t* count,
                                                        VkPhysicalDevice*) {
    g_reached.push_back(std::string("vkEnumeratePhysicalDevices ") + Driver);
    *count = 0;
    return VK_SUCCESS;
}
VKAPI_ATTR void VKAPI_CALL DestroyInstance(VkInstance, const VkAllocationCallbacks*) {
    g_reached.push_back("vkDestroyInstance");
}
VKAPI_ATTR void VKAPI_CALL CmdDispatch(VkCommandBuffer, uint32_t, uint32_t, uint32_t) {
    g_reached.push_back("vkCmdDispatch");
}
VKAPI_ATTR void VKAPI_CALL DestroyDevice(VkDevice, const VkAllocationCallbacks*) {
    g_reached.push_back("vkDestroyDevice");
}
VKAPI_ATTR void VKAPI_CALL KnownToNextOnly() {}

FakeHandle g_instances[8];
int g_nextInstance = 0;
FakeHandle g_device;

VKAPI_ATTR VkResult VKAPI_CALL CreateInstance(const VkInstanceCreateInfo*,
                                              const VkAllocationCallbacks*, VkInstance* out) {
    FakeHandle* h = &g_instances[g_nextInstance++];
    h->dispatch = h;  // a dispatch key of its own
    *out = reinterpret_cast<VkInstance>(h);
    return VK_SUCCESS;
}
VKAPI_ATTR VkResult VKAPI_CALL CreateDevice(VkPhysicalDevice, const VkDeviceCreateInfo*,
                                            const VkAllocationCallbacks*, VkDevice* out) {
    g_device.dispatch = &g_device;
    *out = reinterpret_cast<VkDevice>(&g_device);
    return VK_SUCCESS;
}

#define TOV_FN(f) reinterpret_cast<PFN_vkVoidFunction>(f)

template <char Driver>
VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL NextGetInstanceProcAddr(VkInstance, const char* name) {
    const std::string n = name;
    if (n == "vkCreateInstance") return TOV_FN(&CreateInstance);
    if (n == "vkCreateDevice") return TOV_FN(&CreateDevice);
    if (n == "vkDestroyInstance") return TOV_FN(&DestroyInstance);
    if (n == "vkEnumeratePhysicalDevices") return TOV_FN(&EnumeratePhysicalDevices<Driver>);
    if (n == "vkKnownToNextOnly") return TOV_FN(&KnownToNextOnly);
    return nullptr;
}

VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL NextGetDeviceProcAddr(VkDevice, const char* name) {
    const std::string n = name;
    if (n == "vkCmdDispatch") return TOV_FN(&CmdDispatch);
    if (n == "vkDestroyDevice") return TOV_FN(&DestroyDevice);
    if (n == "vkKnownToNextOnly") return TOV_FN(&KnownToNextOnly);
    return nullptr;  // vkCmdSetLineStippleEXT: an extension the device did not enable
}

class VulkanHostTest : public ::testing::Test {
protected:
    void SetUp() override {
        library_ = dlopen(TOV_VULKAN_HOST_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        negotiate_ = reinterpret_cast<PFN_vkNegotiateLoaderLayerInterfaceVersion>(
            dlsym(library_, "vkNegotiateLoaderLayerInterfaceVersion"));
        ASSERT_NE(negotiate_, nullptr);
    }

    void Negotiate() {
        VkNegotiateLayerInterface version{LAYER_NEGOTIATE_INTERFACE_STRUCT, nullptr, 2};
        ASSERT_EQ(negotiate_(&version), VK_SUCCESS);
        gipa_ = version.pfnGetInstanceProcAddr;
        gdpa_ = version.pfnGetDeviceProcAddr;
    }

    // vkCreateInstance as the loader calls it, with the next layer's resolver in the link.
    VkInstance CreateInstanceOn(PFN_vkGetInstanceProcAddr next) {
        VkLayerInstanceLink link{};
        link.pfnNextGetInstanceProcAddr = next;
        VkLayerInstanceCreateInfo chain{};
        chain.sType = VK_STRUCTURE_TYPE_LOADER_INSTANCE_CREATE_INFO;
        chain.function = VK_LAYER_LINK_INFO;
        chain.u.pLayerInfo = &link;
        VkInstanceCreateInfo info{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
        info.pNext = &chain;
        auto create = reinterpret_cast<PFN_vkCreateInstance>(gipa_(nullptr, "vkCreateInstance"));
        VkInstance instance = VK_NULL_HANDLE;
        EXPECT_EQ(create(&info, nullptr, &instance), VK_SUCCESS);
        return instance;
    }

    PFN_vkVoidFunction Resolve(VkInstance instance, const char* name) {
        return gipa_(instance, name);
    }

    void* library_ = nullptr;
    PFN_vkNegotiateLoaderLayerInterfaceVersion negotiate_ = nullptr;
    PFN_vkGetInstanceProcAddr gipa_ = nullptr;
    PFN_vkGetDeviceProcAddr gdpa_ = nullptr;
};

TEST_F(VulkanHostTest, AnOlderLoaderInterfaceIsRefusedWithAMessage) {
    VkNegotiateLayerInterface version{LAYER_NEGOTIATE_INTERFACE_STRUCT, nullptr, 1};
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(negotiate_(&version), VK_ERROR_INITIALIZATION_FAILED);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("offers layer interface version 1"), std::string::npos) << err;
    EXPECT_EQ(version.pfnGetInstanceProcAddr, nullptr);
}

TEST_F(VulkanHostTest, AnInstanceOnOtherNextFunctionsIsPassedOnUnlogged) {
    tov::testhost::LoggerCapture logger;
    Negotiate();
    VkInstance first = CreateInstanceOn(&NextGetInstanceProcAddr<'A'>);
    auto enumerateFirst = reinterpret_cast<PFN_vkEnumeratePhysicalDevices>(
        Resolve(first, "vkEnumeratePhysicalDevices"));
    EXPECT_NE(enumerateFirst, &EnumeratePhysicalDevices<'A'>) << "the hook is handed out";

    ::testing::internal::CaptureStderr();
    VkInstance second = CreateInstanceOn(&NextGetInstanceProcAddr<'B'>);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("passed on without logging"), std::string::npos) << err;
    auto enumerateSecond = reinterpret_cast<PFN_vkEnumeratePhysicalDevices>(
        Resolve(second, "vkEnumeratePhysicalDevices"));
    EXPECT_EQ(enumerateSecond, &EnumeratePhysicalDevices<'B'>) << "B's own function, no hook";

    // A third instance on A's functions shares the slots and is logged.
    VkInstance third = CreateInstanceOn(&NextGetInstanceProcAddr<'A'>);
    EXPECT_EQ(Resolve(third, "vkEnumeratePhysicalDevices"), TOV_FN(enumerateFirst));

    uint32_t count = 0;
    g_reached.clear();
    logger.calls.clear();
    enumerateFirst(first, &count, nullptr);
    enumerateSecond(second, &count, nullptr);
    EXPECT_EQ(g_reached, (std::vector<std::string>{"vkEnumeratePhysicalDevices A",
                                                   "vkEnumeratePhysicalDevices B"}));
    ASSERT_EQ(logger.calls.size(), 1u);
    EXPECT_EQ(logger.calls[0].message, "vkEnumeratePhysicalDevices");

    // Once no instance on A lives, an instance on B claims the slots and is logged.
    for (VkInstance instance : {first, third, second}) {
        auto destroy = reinterpret_cast<PFN_vkDestroyInstance>(
            Resolve(instance, "vkDestroyInstance"));
        destroy(instance, nullptr);
    }
    VkInstance fourth = CreateInstanceOn(&NextGetInstanceProcAddr<'B'>);
    auto enumerateFourth = reinterpret_cast<PFN_vkEnumeratePhysicalDevices>(
        Resolve(fourth, "vkEnumeratePhysicalDevices"));
    EXPECT_EQ(TOV_FN(enumerateFourth), TOV_FN(enumerateFirst)) << "the same hook again";
    g_reached.clear();
    logger.calls.clear();
    enumerateFourth(fourth, &count, nullptr);
    EXPECT_EQ(g_reached, std::vector<std::string>{"vkEnumeratePhysicalDevices B"});
    EXPECT_EQ(logger.calls.size(), 1u);
}

TEST_F(VulkanHostTest, NamesWithoutAHookGetTheNextLayersAnswer) {
    Negotiate();
    VkInstance instance = CreateInstanceOn(&NextGetInstanceProcAddr<'A'>);
    EXPECT_EQ(Resolve(instance, "vkKnownToNextOnly"), TOV_FN(&KnownToNextOnly));
    EXPECT_EQ(Resolve(instance, "vkNoSuchFunction"), nullptr);
    // A hooked name that the next layer does not offer is not handed out as a hook.
    EXPECT_EQ(Resolve(instance, "vkGetPhysicalDeviceFeatures"), nullptr);
    EXPECT_EQ(Resolve(nullptr, "vkEnumeratePhysicalDevices"), nullptr);
}

TEST_F(VulkanHostTest, DeviceFunctionsAreStoredAfterCreateDevice) {
    tov::testhost::LoggerCapture logger;
    Negotiate();
    VkInstance instance = CreateInstanceOn(&NextGetInstanceProcAddr<'A'>);

    VkLayerDeviceLink link{};
    link.pfnNextGetInstanceProcAddr = &NextGetInstanceProcAddr<'A'>;
    link.pfnNextGetDeviceProcAddr = &NextGetDeviceProcAddr;
    VkLayerDeviceCreateInfo chain{};
    chain.sType = VK_STRUCTURE_TYPE_LOADER_DEVICE_CREATE_INFO;
    chain.function = VK_LAYER_LINK_INFO;
    chain.u.pLayerInfo = &link;
    VkDeviceCreateInfo info{VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    info.pNext = &chain;
    auto create = reinterpret_cast<PFN_vkCreateDevice>(Resolve(instance, "vkCreateDevice"));
    // A physical device shares its instance's dispatch pointer.
    FakeHandle physical{*reinterpret_cast<void**>(instance)};
    VkDevice device = VK_NULL_HANDLE;
    ASSERT_EQ(create(reinterpret_cast<VkPhysicalDevice>(&physical), &info, nullptr, &device),
              VK_SUCCESS);
    EXPECT_EQ(chain.u.pLayerInfo, nullptr) << "the link was advanced for the next layer";

    EXPECT_EQ(gdpa_(device, "vkCmdSetLineStippleEXT"), nullptr);
    EXPECT_EQ(gdpa_(device, "vkKnownToNextOnly"), TOV_FN(&KnownToNextOnly));
    auto dispatch = reinterpret_cast<PFN_vkCmdDispatch>(gdpa_(device, "vkCmdDispatch"));
    ASSERT_NE(dispatch, nullptr);
    EXPECT_NE(dispatch, &CmdDispatch);
    auto destroy = reinterpret_cast<PFN_vkDestroyDevice>(gdpa_(device, "vkDestroyDevice"));

    g_reached.clear();
    logger.calls.clear();
    FakeHandle commandBuffer{&g_device};
    dispatch(reinterpret_cast<VkCommandBuffer>(&commandBuffer), 1, 1, 1);
    destroy(device, nullptr);
    EXPECT_EQ(g_reached, (std::vector<std::string>{"vkCmdDispatch", "vkDestroyDevice"}));
    ASSERT_EQ(logger.calls.size(), 2u);
    EXPECT_EQ(logger.calls[0].message, "vkCmdDispatch");
    EXPECT_EQ(logger.calls[1].message, "vkDestroyDevice");
    // The device is gone: the host no longer answers for it.
    EXPECT_EQ(gdpa_(device, "vkCmdDispatch"), nullptr);
}

}  // namespace
