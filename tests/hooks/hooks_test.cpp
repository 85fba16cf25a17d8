// Every hook of both APIs through a real host routing and its exact prototype and calling
// convention (structures by value, floats, stack arguments and the result storage of a
// structure returned by value included). In ordinary mode the arguments' pointers are never
// valid, so a hook that read through one would crash here.
#include <set>

#include "capture.h"
#include "hook_tests.h"
#include "slot_catalogue.h"

namespace tov::test {
namespace {

TEST(Hooks, EveryFilledSlotHasItsOwnHook) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    LayerDispatchTable* table = layer.GetDispatchTable();
    std::set<void*> hooks;
    std::size_t filled = 0;
    for (const Api& api : kApis)
        for (const HookCase& c : api.cases()) {
            ++filled;
            EXPECT_TRUE(hooks.insert(table->slots[c.slot]).second) << c.name << " shares its hook";
        }
    for (std::size_t slot = 0; slot < logging_layer::kSlotCount; ++slot)
        if (table->slots[slot] != nullptr) hooks.erase(table->slots[slot]);
    EXPECT_TRUE(hooks.empty()) << "a case's slot holds no hook";
    EXPECT_EQ(filled, 4973u);
    EXPECT_EQ(logging_layer::slots::kFilledSlotCount, 4973u);
}

class HooksOf : public ::testing::TestWithParam<Api> {};

TEST_P(HooksOf, OrdinaryModeCallsOnAndLogsTheName) {
    RoutedLayer routed;
    for (const HookCase& c : GetParam().cases()) {
        FakeCalls().clear();
        testhost::LoggerCapture log;
        StdoutCapture out;
        ExpectCalledOnOnce(c, c.call(routed.layer.hook(c.slot)));
        ASSERT_EQ(log.calls.size(), 1u) << c.name;
        const auto& logged = log.calls[0];
        EXPECT_TRUE(logged.level == 2 && logged.category == 1 && logged.flags == 0) << c.name;
        EXPECT_EQ(logged.format, "%s");
        EXPECT_EQ(logged.message, c.name);
        EXPECT_EQ(out.str(), "") << c.name;
    }
}

INSTANTIATE_TEST_SUITE_P(BothApis, HooksOf, ::testing::ValuesIn(kApis));

}  // namespace
}  // namespace tov::test
