// Support for the generated per-slot fakes: arguments unique to slot and position, results
// unique to the slot, and a record of what each fake received, as bit patterns.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include "vulkan_api.h"

namespace tov::test {

// Arguments as bit patterns, held without allocating so that ordinary-mode calls can be
// checked to allocate nothing.
struct Args {
    Args() = default;
    Args(std::initializer_list<std::uint64_t> list) {
        for (std::uint64_t v : list) values[count++] = v;
    }
    bool operator==(const Args&) const = default;
    std::array<std::uint64_t, 20> values{};
    std::uint32_t count = 0;
};

struct FakeCall {
    std::uint32_t slot;
    Args args;
};
// Every call any fake received, in order (reserve ahead to keep calls allocation-free).
std::vector<FakeCall>& FakeCalls();

inline void Record(std::uint32_t slot, std::initializer_list<std::uint64_t> args) {
    FakeCalls().push_back({slot, Args(args)});
}

template <typename T>
std::uint64_t Bits(T value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<std::uintptr_t>(value);
    } else {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof value);
        return bits;
    }
}

inline std::uint64_t Seed(std::uint32_t slot, std::uint32_t position) {
    return 0x5A5A000000000000ull ^ (std::uint64_t{slot} << 20) ^ (std::uint64_t{position} << 8) ^
           (slot * 31u + position * 7u + 1u);
}

// How the callers make their arguments.
enum class ArgMode {
    Unique,    // bit patterns unique to slot and position; nothing may read through the pointers
    Zeroed,    // pointers into zeroed memory, integers 1: every printer can follow every pointer
    Null,      // null pointers, integers 0
};
inline ArgMode g_argMode = ArgMode::Unique;
// Large enough for any structure a printer reads behind any argument position.
alignas(64) inline unsigned char g_zeroedMemory[1 << 16];

// An argument no other slot or position receives (for narrow types, as far as the width allows).
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    const std::uint64_t seed = Seed(slot, position);
    if (g_argMode != ArgMode::Unique) {
        if constexpr (std::is_pointer_v<T>) {
            if (g_argMode == ArgMode::Null) return nullptr;
            return reinterpret_cast<T>(g_zeroedMemory + 2048 * position);
        } else if constexpr (!std::is_floating_point_v<T>) {
            const std::uint64_t small = g_argMode == ArgMode::Null ? 0 : 1;
            T value;
            std::memcpy(&value, &small, sizeof value);
            return value;
        }
    }
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(static_cast<std::uintptr_t>(seed & ~std::uint64_t{7}));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(slot) + static_cast<T>(position) / 8 + static_cast<T>(0.25);
    } else {
        T value;
        std::memcpy(&value, &seed, sizeof value);
        return value;
    }
}

template <typename T>
T ResultFor(std::uint32_t slot) {
    return ArgFor<T>(slot, 99);
}

struct CallResult {
    Args args;                         // what the caller passed, as bit patterns
    std::uint64_t result;              // what came back, as a bit pattern
    std::uint64_t expected;            // what the slot's fake answers
    bool hasResult;
};

struct HookCase {
    std::uint32_t slot;
    const char* name;
    void* fake;                        // the next function to route the slot to
    CallResult (*call)(void* hook);    // calls a hook through the slot's exact prototype
    bool returnsValue;
};

extern const HookCase kHookCases[];
extern const std::size_t kHookCaseCount;

}  // namespace tov::test
