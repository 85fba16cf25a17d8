// The ordinary path of every hook allocates nothing and builds no string: the logger receives
// the constant "%s" and a name that lives in the layer's own read-only data. An executable that
// links ordinary_path_probe.cpp defines LogMessage itself, which the layer then uses instead of
// the host logger's, as it would in a host process that already has one, and counts every
// operator new.
#pragma once

#include <cstddef>

#include "fake_args.h"

namespace tov::test {

// Loads the layer in ordinary mode, routes every case's slot to its fake and checks bursts of
// calls through each hook.
void ExpectAllocationFreeOrdinaryPath(const HookCase* cases, std::size_t count);

}  // namespace tov::test
