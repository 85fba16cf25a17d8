// A stand-in Vulkan driver for the demo: the few functions its scripted session calls, each
// writing plausible out-values the way a driver would.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "slot_catalogue.h"
#include "vulkan_api.h"

namespace tov::demo {

// The driver's function for each slot it implements.
std::vector<std::pair<std::uint32_t, void*>> StandInDriver();

}  // namespace tov::demo
