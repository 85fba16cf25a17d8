// Support for the generated per-slot fakes of the Vulkan hooks: how a Vulkan argument is made
// in each mode, and the table of cases.
#pragma once

#include "../support/fake_args.h"
#include "vulkan_api.h"

namespace tov::test {

// A Vulkan argument in the present mode.
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    if (g_argMode != ArgMode::Unique) {
        if constexpr (std::is_pointer_v<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(ZeroedBlock(position));
        } else if constexpr (!std::is_floating_point_v<T>) {
            return SmallArg<T>();
        }
    }
    return UniqueArg<T>(slot, position);
}

template <typename T>
T ResultFor(std::uint32_t slot) {
    return ArgFor<T>(slot, 99);
}

extern const HookCase kHookCases[];
extern const std::size_t kHookCaseCount;

}  // namespace tov::test
