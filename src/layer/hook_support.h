// What every generated hook uses: the dispatch table, the verbose flag, the printers and the
// host logger.
#pragma once

#include "layer_state.h"
#include "printers.h"
#include "tov/journal.h"
#include "vulkan_api.h"
#include "vulkan_printers.h"
