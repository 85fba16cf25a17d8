// The vkd3d host: a library that tov-log preloads into a program that makes its Direct3D 12
// device through vkd3d. It exports the functions that hand out the first objects in front of
// vkd3d's own (generated from api/vkd3d/functions.txt), and the COM host core does the rest.
#pragma once

#include <cstddef>
#include <cstdint>

#include "com_api.h"
#include "comhost.h"

#define TOV_VKD3D_EXPORT extern "C" __attribute__((visibility("default")))

namespace tov::vkd3d_host {

// An exported API function with a slot, and the symbol version of vkd3d's own.
struct SlottedExport {
    std::uint32_t slot;
    const char* name;
    const char* version;
};
extern const SlottedExport kSlottedExports[];
extern const std::size_t kSlottedExportCount;

// What a function answers when no library behind the host has it.
inline constexpr HRESULT kNotImplemented = static_cast<HRESULT>(0x80004001);

// The definition that the host's export hides: the next one in the search order.
void* Original(const char* name, const char* version);

// The first call links the layer and attaches the core (or says once why it cannot: then every
// call is passed on unlogged); every call after that returns at once.
void Start();

}  // namespace tov::vkd3d_host
