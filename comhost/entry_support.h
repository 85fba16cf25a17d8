// What the generated entries and catalogue use: the declarations of the interfaces, the state
// the core keeps, and the catalogue's records.
#pragma once

#include <atomic>
#include <cstdint>

#include "com_api.h"
#include "comhost.h"
#include "slot_catalogue.h"

namespace tov::comhost {

// The attached layer's slots (null before Attach) and a copy of its hooks, read in one load.
extern void** g_slots;
extern void* g_hooks[tov::logging_layer::kSlotCount];
// The exported API functions' slots come first in the COM stretch, before the methods.
inline constexpr std::uint32_t kFirstFunctionSlot = logging_layer::slots::D3D10CreateDevice1;
inline constexpr std::uint32_t kFunctionSlotCount =
    logging_layer::slots::IUnknown_QueryInterface - kFirstFunctionSlot;
extern void* g_functionNext[kFunctionSlotCount];  // indexed by slot - kFirstFunctionSlot

// A slot holds the original method of the class that claimed the slot's interface.
inline void* SlotNext(std::uint32_t slot) {
    return std::atomic_ref<void*>(g_slots[slot]).load(std::memory_order_relaxed);
}
inline void* SlotHook(std::uint32_t slot) { return g_hooks[slot]; }
inline void* FunctionNext(std::uint32_t slot) { return g_functionNext[slot - kFirstFunctionSlot]; }

// An interface of the catalogue: its run of slots, its base, and where the GetPrivateData and
// SetPrivateData of its private data stand in its table of methods (-1: it has none).
struct InterfaceInfo {
    const char* name;
    const IID* iid;
    int base;  // index into kInterfaces; -1 for IUnknown
    std::uint32_t firstSlot;
    std::uint32_t slotCount;
    int getPrivateData;
    int setPrivateData;
};
extern const InterfaceInfo kInterfaces[];
extern const std::size_t kInterfaceCount;

// The typed entries of consecutive slots, and whether each slot's method hands out objects.
struct EntryRun {
    std::uint32_t first;
    std::uint32_t count;
    void* const* entries;
    const bool* handsOutObjects;
};
extern const EntryRun* const kEntryRuns[];
extern const std::size_t kEntryRunCount;

}  // namespace tov::comhost
