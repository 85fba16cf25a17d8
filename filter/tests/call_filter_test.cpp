// Globs on call names, the two lists, what counts as a problem, and the hooks a filter drops.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "call_filter.h"
#include "dispatch_table.h"
#include "slot_catalogue.h"

namespace {

using tov::filter::CallFilter;
using tov::filter::GlobMatches;
namespace s = tov::logging_layer::slots;

TEST(GlobMatches, MatchesTheWholeNameWithStarsAndQuestionMarks) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };
    const Case cases[] = {
        {"vkCmdDraw", "vkCmdDrawIndexed", false},  // the whole name, not a prefix
        {"CmdDraw", "vkCmdDraw", false},
        {"vkCmd*", "vkCmd", true},                 // a star may stand for nothing
        {"vkGet*ProcAddr", "vkGetInstanceProcAddr", true},
        {"vkGet*ProcAddr", "vkGetDeviceProcAddrX", false},
        {"*::AddRef", "ID3D12Device::AddRef", true},
        {"*Draw*Indirect*", "vkCmdDrawIndexedIndirectCountKHR", true},
        {"*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", false},  // backtracks, and ends
        {"*ab*ab", "xabyabab", true},
        {"vkCmdDraw?", "vkCmdDraw", false},
        {"vkCmdDraw?ndexed", "vkCmdDrawIndexed", true},
        {"vkcmddraw", "vkCmdDraw", false},        // names are case-sensitive
    };
    for (const Case& c : cases)
        EXPECT_EQ(GlobMatches(c.pattern, c.name), c.matches) << c.pattern << " on " << c.name;
}

TEST(CallFilter, OnlyThenSkip) {
    EXPECT_FALSE(CallFilter("", " ", "--only", "--skip").active()) << "blanks are no list";
    const CallFilter both(" vkCmd* , vkQueue*", "vkCmdPush*", "--only", "--skip");
    EXPECT_TRUE(both.problems().empty());
    EXPECT_TRUE(both.Logs("vkCmdDraw"));
    EXPECT_TRUE(both.Logs("vkQueueSubmit"));
    EXPECT_FALSE(both.Logs("vkCmdPushConstants"));
    EXPECT_FALSE(both.Logs("vkCreateBuffer"));
}

TEST(CallFilter, ReportsPatternsThatMatchNoKnownCallAndEmptyOnes) {
    const CallFilter filter("vkCmdDarw*,vkCmdDraw", "vkcmd*,,ID3D12Device::CreateFence ,", "ONLY", "SKIP");
    EXPECT_EQ(filter.problems(),
              (std::vector<std::string>{"ONLY: 'vkCmdDarw*' matches no call that the layer logs",
                                        "SKIP: 'vkcmd*' matches no call that the layer logs",
                                        "SKIP: an empty pattern in 'vkcmd*,,ID3D12Device::CreateFence ,'"}));
    // Applied as written: the misspelled pattern lets nothing through.
    EXPECT_TRUE(filter.Logs("vkCmdDraw"));
    EXPECT_FALSE(filter.Logs("vkCmdDrawIndexed"));
    EXPECT_FALSE(filter.Logs("ID3D12Device::CreateFence"));
}

TEST(CallFilter, ApplyDropsTheHooksOfTheCallsItLeavesOut) {
    std::vector<void*> hooks(tov::logging_layer::kSlotCount, &hooks);
    const CallFilter filter("vkCmd*,ID3D12Device::*", "vkCmdDispatch*", "", "");
    const std::size_t kept = filter.Apply(hooks.data());
    EXPECT_NE(hooks[s::vkCmdDraw], nullptr);
    EXPECT_NE(hooks[s::ID3D12Device_CreateFence], nullptr);
    EXPECT_EQ(hooks[s::vkCmdDispatch], nullptr);
    EXPECT_EQ(hooks[s::vkCmdDispatchBaseKHR], nullptr);
    EXPECT_EQ(hooks[s::vkCreateInstance], nullptr);
    EXPECT_EQ(hooks[s::ID3D12Device1_CreateFence], nullptr);
    EXPECT_NE(hooks[500], nullptr) << "a slot that is no call is left as it is";
    EXPECT_GT(kept, 0u);

    const CallFilter nothing("vkCmdDarw*", "", "", "");
    EXPECT_EQ(nothing.Apply(hooks.data()), 0u);
    EXPECT_EQ(hooks[s::vkCmdDraw], nullptr);
}

}  // namespace
