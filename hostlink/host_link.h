// The Logging Layer as every host of one process shares it.
//
// The layer has one dispatch table per process, and tovGetDispatchTable stores every hook back
// into its slot each time it is called, which would wipe what another host already stored. So
// the hosts of this project do not call it themselves: the first of them that needs the layer
// links it here, once for the process, and every host takes the hooks of its own slots from the
// link and stores its next functions into the table.
#pragma once

#include <cstddef>

#include "dispatch_table.h"

#define TOV_HOST_LINK_API extern "C" __attribute__((visibility("default")))

struct TovLayerLink {
    LayerDispatchTable* table;                    // the slots the hosts store their next functions in
    // The layer's hook of each slot; null: none, or the call filter leaves the call out. A host
    // routes a slot without a hook straight to its next function.
    void* hooks[tov::logging_layer::kSlotCount];
};

enum TovLinkFailure {
    kTovLinked = 0,
    kTovLayerNotLoaded = 1,  // no candidate could be loaded; detail: why, one line per candidate
    kTovNoEntryPoint = 2,    // the library has no tovGetDispatchTable; detail: its path
};

struct TovLinkResult {
    const TovLayerLink* link;  // null unless linked
    TovLinkFailure failure;
    const char* detail;
};

// Loads liblogging_layer.so and calls tovGetDispatchTable, the first time only: every later call
// returns the first one's result, whatever it is given. The library is TOV_LOGGING_LAYER_LIBRARY
// if that is set and not empty, else the first of `candidates` that loads. TOV_LOGGING_VERBOSE becomes the
// layer's parameter "verbose", whatever its value. TOV_LOGGING_ONLY and TOV_LOGGING_SKIP are the
// call filter: a pattern in them that matches no call is reported once on standard error, and the
// filter applies as written. On return every slot of the table is zero:
// no hook can call itself before a host has stored the next function of its slot.
TOV_HOST_LINK_API TovLinkResult tovLinkLayer(const char* const* candidates, std::size_t count);
