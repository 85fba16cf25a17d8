// The binary contract between the host and the Logging Layer: the dispatch table record, the
// parameter record and the event handler, with the two functions the layer exports.
#pragma once

#include <cstddef>
#include <cstdint>

// The event handler whose address the layer hands over in the dispatch table. On Windows its
// table holds the virtual destructor in slot 0 and OnLibraryLoaded in slot 1, as MSVC lays the
// class out.
#if defined(_WIN32) && !defined(_MSC_VER)
// Other compilers for Windows would give the destructor two slots: here the table is spelled out.
// scalarDeletingDestructor frees the object too when bit 0 of flags is set.
struct EventHandler;
struct EventHandlerTable {
    void* (*scalarDeletingDestructor)(EventHandler* self, unsigned flags);
    // path: NUL-terminated UTF-16 text.
    void (*onLibraryLoaded)(EventHandler* self, const char16_t* path);
};
struct EventHandler {
    const EventHandlerTable* table;
};
#else
struct EventHandler {
    virtual ~EventHandler() {}
    // path: NUL-terminated UTF-16 text.
    virtual void OnLibraryLoaded(const char16_t* path) {}
};
#endif

// One parameter as the host passes it: 512 UTF-16 units of name, 512 of value, each
// NUL-terminated inside its field. Records stand back to back with a stride of 2,048 bytes.
struct LayerParameterRecord {
    char16_t parameterName[512];
    char16_t parameterValue[512];
};
static_assert(sizeof(LayerParameterRecord) == 2048);
static_assert(offsetof(LayerParameterRecord, parameterValue) == 1024);

namespace tov::logging_layer {
inline constexpr std::size_t kSlotCount = 8282;
inline constexpr std::size_t kNameSize = 136;
}  // namespace tov::logging_layer

// The layer's one static record. After tovGetDispatchTable a filled slot holds the layer's hook
// for that entry point; the host then stores the next function of the chain into the same slot,
// and from then on the hook calls whatever the slot holds.
struct LayerDispatchTable {
    char name[tov::logging_layer::kNameSize];
    EventHandler* eventHandler;
    std::uint64_t reservedHost[20];
    void* slots[tov::logging_layer::kSlotCount];
    std::uint64_t reservedTail[3];
};
static_assert(offsetof(LayerDispatchTable, name) == 0);
static_assert(offsetof(LayerDispatchTable, eventHandler) == 0x88);
static_assert(offsetof(LayerDispatchTable, reservedHost) == 0x90);
static_assert(offsetof(LayerDispatchTable, slots) == 0x130);
static_assert(offsetof(LayerDispatchTable, slots) + 8 * 435 == 0xEC8);
static_assert(offsetof(LayerDispatchTable, slots) + 8 * 3744 == 0x7630);
static_assert(offsetof(LayerDispatchTable, slots) + 8 * 8281 == 0x103F8);
static_assert(offsetof(LayerDispatchTable, reservedTail) == 0x10400);
static_assert(sizeof(LayerDispatchTable) == 0x10418);

extern "C" {
typedef LayerDispatchTable* (*PFN_tovGetDispatchTable)(std::uint64_t parameterCount,
                                                       const LayerParameterRecord* parameters);
typedef const char16_t* (*PFN_tovGetLayerHelpText)(std::uint32_t mode);
}
