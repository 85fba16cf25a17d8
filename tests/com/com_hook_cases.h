// Support for the generated per-slot fakes of the Direct3D and DXGI hooks: arguments unique to
// slot and position (structures by value filled byte by byte), results unique to the slot, and
// a record of what each fake received, as bit patterns.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include "com_api.h"

namespace tov::comtest {

struct Args {
    Args() = default;
    Args(std::initializer_list<std::uint64_t> list) {
        for (std::uint64_t v : list) values[count++] = v;
    }
    bool operator==(const Args&) const = default;
    std::array<std::uint64_t, 16> values{};
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

// A value as a bit pattern: pointers by address, scalars by their bits, structures by a hash
// of all their bytes.
template <typename T>
std::uint64_t Bits(const T& value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<std::uintptr_t>(value);
    } else if constexpr (std::is_class_v<T> || std::is_union_v<T>) {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        std::uint64_t hash = 0xcbf29ce484222325ull;
        for (unsigned char b : bytes) hash = (hash ^ b) * 0x100000001b3ull;
        return hash;
    } else {
        static_assert(sizeof(T) <= 8);
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof value);
        return bits;
    }
}

inline std::uint64_t Seed(std::uint32_t slot, std::uint32_t position) {
    return 0x5A5A000000000000ull ^ (std::uint64_t{slot} << 20) ^ (std::uint64_t{position} << 8) ^
           (slot * 31u + position * 7u + 1u);
}

// An argument no other slot or position receives (for narrow types, as far as the width allows).
// Pointers are never valid: a hook that read through one would crash the test.
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    const std::uint64_t seed = Seed(slot, position);
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(static_cast<std::uintptr_t>(seed & ~std::uint64_t{7}));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(slot) + static_cast<T>(position) / 8 + static_cast<T>(0.25);
    } else if constexpr (std::is_class_v<T> || std::is_union_v<T>) {
        unsigned char bytes[sizeof(T)];
        for (std::size_t i = 0; i < sizeof(T); ++i)
            bytes[i] = static_cast<unsigned char>((seed >> (8 * (i % 8))) + i * 13);
        T value;
        std::memcpy(&value, bytes, sizeof(T));
        return value;
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
    const char* name;                  // the call name
    void* fake;                        // the next function to route the slot to
    CallResult (*call)(void* hook);    // calls a hook through the slot's exact prototype
    bool returnsValue;
};

// Every Direct3D and DXGI slot, in ascending slot order.
const std::vector<HookCase>& ComHookCases();

}  // namespace tov::comtest
