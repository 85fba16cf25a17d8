// Globs on call names and what counts as a problem in a list; what a filter lets through is
// tested on real programs (loader/tests, vkd3d/tests).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "call_filter.h"

namespace {

using tov::filter::CallFilter;
using tov::filter::GlobMatches;

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

}  // namespace
