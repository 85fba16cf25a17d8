// The ordinary path of every hook of both APIs allocates nothing and builds no string.
#include <gtest/gtest.h>

#include "fake_args.h"
#include "ordinary_path_probe.h"

namespace tov::test {
namespace {

TEST(OrdinaryPath, VulkanHooksAllocateNothingAndPassConstantText) {
    ExpectAllocationFreeOrdinaryPath(HookCases_vulkan().data(), HookCases_vulkan().size());
}

TEST(OrdinaryPath, ComHooksAllocateNothingAndPassConstantText) {
    ExpectAllocationFreeOrdinaryPath(HookCases_com().data(), HookCases_com().size());
}

}  // namespace
}  // namespace tov::test
