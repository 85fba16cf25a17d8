// The ordinary path of every Direct3D and DXGI hook allocates nothing and builds no string.
#include <gtest/gtest.h>

#include "../support/ordinary_path_probe.h"
#include "com_hook_cases.h"

namespace tov::comtest {
namespace {

TEST(ComOrdinaryPath, AllocatesNothingAndPassesConstantText) {
    ExpectAllocationFreeOrdinaryPath(ComHookCases().data(), ComHookCases().size());
}

}  // namespace
}  // namespace tov::comtest
