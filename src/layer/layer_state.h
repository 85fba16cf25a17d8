// The layer's one dispatch table record, and the generated step that fills its slots.
#pragma once

#include "dispatch_table.h"

namespace tov::logging_layer {

extern LayerDispatchTable g_dispatchTable;

// Stores every hook into its slot, in ascending slot order (generated).
void StoreHooks(LayerDispatchTable& table);

}  // namespace tov::logging_layer
