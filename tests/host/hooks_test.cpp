// Every hook, through a real host routing: it calls its own slot exactly once with every
// argument untouched, returns what came back, and then logs its name or writes its header line.
#include <gtest/gtest.h>

#include <set>

#include "hook_cases.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace tov::test {

namespace {

struct RoutedLayer {
    explicit RoutedLayer(const std::vector<testhost::Parameter>& parameters) {
        EXPECT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable(parameters);
        std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
        for (std::size_t i = 0; i < kHookCaseCount; ++i) nexts[kHookCases[i].slot] = kHookCases[i].fake;
        layer.RouteAll(nexts);
    }
    testhost::Layer layer;
};

void ExpectCallsOwnSlotUntouched(const HookCase& c, const CallResult& r) {
    ASSERT_EQ(FakeCalls().size(), 1u) << c.name;
    EXPECT_EQ(FakeCalls()[0].slot, c.slot) << c.name;
    EXPECT_EQ(FakeCalls()[0].args, r.args) << c.name;
    EXPECT_EQ(r.hasResult, c.returnsValue) << c.name;
    EXPECT_EQ(r.result, r.expected) << c.name << " changed the downstream result";
}

TEST(Hooks, EverySlotHasItsOwnHook) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable();
    std::set<void*> seen;
    for (std::size_t i = 0; i < kHookCaseCount; ++i) {
        void* hook = layer.hook(kHookCases[i].slot);
        EXPECT_NE(hook, nullptr) << kHookCases[i].name;
        EXPECT_TRUE(seen.insert(hook).second) << kHookCases[i].name << " shares its hook";
    }
    EXPECT_EQ(kHookCaseCount, 435u);
}

TEST(Hooks, OrdinaryModeCallsOnAndLogsTheName) {
    RoutedLayer routed(std::vector<testhost::Parameter>{});
    for (std::size_t i = 0; i < kHookCaseCount; ++i) {
        const HookCase& c = kHookCases[i];
        FakeCalls().clear();
        testhost::LoggerCapture log;
        testhost::StdoutCapture out;
        const CallResult r = c.call(routed.layer.hook(c.slot));
        ExpectCallsOwnSlotUntouched(c, r);
        ASSERT_EQ(log.calls.size(), 1u) << c.name;
        EXPECT_EQ(log.calls[0].level, 2);
        EXPECT_EQ(log.calls[0].category, 1);
        EXPECT_EQ(log.calls[0].flags, 0);
        EXPECT_EQ(log.calls[0].format, "%s");
        EXPECT_EQ(log.calls[0].message, c.name);
        EXPECT_EQ(out.str(), "") << c.name;
    }
}

TEST(Hooks, VerboseModeWritesTheHeaderLineAndLogsNothing) {
    RoutedLayer routed(std::vector<testhost::Parameter>{{u"verbose", u"1"}});
    g_argMode = ArgMode::Zeroed;
    for (std::size_t i = 0; i < kHookCaseCount; ++i) {
        const HookCase& c = kHookCases[i];
        FakeCalls().clear();
        testhost::LoggerCapture log;
        testhost::StdoutCapture out;
        const CallResult r = c.call(routed.layer.hook(c.slot));
        ExpectCallsOwnSlotUntouched(c, r);
        EXPECT_TRUE(log.calls.empty()) << c.name;
        EXPECT_EQ(out.str().substr(0, std::string(c.name).size() + 1), std::string(c.name) + "\n");
    }
}

TEST(Hooks, CatalogueLandmarks) {
    using namespace logging_layer::slots;
    EXPECT_EQ(vkCreateInstance, 0u);
    EXPECT_EQ(vkEnumerateInstanceVersion, 137u);
    EXPECT_EQ(vkCmdDrawIndirectCount, 165u);
    EXPECT_EQ(vkDestroySurfaceKHR, 178u);
    EXPECT_EQ(vkGetRayTracingShaderGroupHandlesKHR + 1, vkGetRayTracingShaderGroupHandlesNV);
    EXPECT_EQ(vkCreateWin32SurfaceKHR, 422u);
    EXPECT_EQ(vkGetDeviceGroupSurfacePresentModes2EXT, 434u);
}

}  // namespace
}  // namespace tov::test
