// What the per-slot fakes and callers of the hook property tests share, for Vulkan and the
// COM side alike: arguments as bit patterns held without allocating, the record of what each
// fake received, and how callers make arguments unique to slot and position.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>
#include <vector>

namespace tov::test {

// Held without allocating, so that ordinary-mode calls can be checked to allocate nothing.
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
inline std::vector<FakeCall>& FakeCalls() {
    static std::vector<FakeCall> calls;
    return calls;
}

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

// How the callers make their arguments.
enum class ArgMode {
    Unique,    // bit patterns unique to slot and position; nothing may read through the pointers
    Zeroed,    // pointers into zeroed memory (objects are fake objects), integers 1
    Null,      // null pointers, integers 0
};
inline ArgMode g_argMode = ArgMode::Unique;

// One block of zeroed memory per argument position, large enough for any structure a printer
// reads behind it.
constexpr std::size_t kZeroedBlock = 2048;
alignas(64) inline unsigned char g_zeroedMemory[32 * kZeroedBlock];
inline unsigned char* ZeroedBlock(std::uint32_t position) {
    return g_zeroedMemory + kZeroedBlock * (position % 32);
}

// The argument of the Unique mode: no other slot or position receives it (for narrow types, as
// far as the width allows). Its pointers are never valid: a hook that read through one would
// crash the test.
template <typename T>
T UniqueArg(std::uint32_t slot, std::uint32_t position) {
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

// A scalar of the Zeroed (1) or Null (0) mode.
template <typename T>
T SmallArg() {
    const std::uint64_t small = g_argMode == ArgMode::Null ? 0 : 1;
    T value;
    std::memcpy(&value, &small, sizeof value);
    return value;
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

}  // namespace tov::test
