// The ordinary path of every Vulkan hook allocates nothing and builds no string.
#include <gtest/gtest.h>

#include "../support/ordinary_path_probe.h"
#include "hook_cases.h"

namespace tov::test {
namespace {

TEST(OrdinaryPath, AllocatesNothingAndPassesConstantText) {
    ExpectAllocationFreeOrdinaryPath(kHookCases, kHookCaseCount);
}

}  // namespace
}  // namespace tov::test
