// What the property tests and the sweeps of all hooks share: the two APIs' cases, the layer with
// every slot routed to its fake, and the checks of one call through a hook.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "fake_args.h"
#include "testhost.h"

namespace tov::test {

struct Api {
    const char* name;
    const std::vector<HookCase>& (*cases)();
    bool methods;    // its hooks print their object first
};
inline const Api kApis[] = {{"vulkan", &HookCases_vulkan, false}, {"com", &HookCases_com, true}};
inline void PrintTo(const Api& api, std::ostream* os) { *os << api.name; }

// The layer, its parameters given, with every slot that has a case routed to the case's fake.
struct RoutedLayer {
    explicit RoutedLayer(const std::vector<testhost::Parameter>& parameters = {}) {
        EXPECT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable(parameters);
        std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
        for (const Api& api : kApis)
            for (const HookCase& c : api.cases()) nexts[c.slot] = c.fake;
        layer.RouteAll(nexts);
    }
    testhost::Layer layer;
};

// The hook called its own slot's next function once, with every argument untouched, and
// returned what came back.
inline void ExpectCalledOnOnce(const HookCase& c, const CallResult& r) {
    ASSERT_EQ(FakeCalls().size(), 1u) << c.name;
    EXPECT_EQ(FakeCalls()[0].slot, c.slot) << c.name;
    EXPECT_EQ(FakeCalls()[0].args, r.args) << c.name;
    EXPECT_EQ(r.hasResult, c.returnsValue) << c.name;
    EXPECT_EQ(r.result, r.expected) << c.name << " changed the downstream result";
}

}  // namespace tov::test
