// What the generated per-slot fakes and callers of the hook tests share, for Vulkan and the COM
// side alike: arguments as bit patterns held without allocating, the record of what each fake
// received, how callers make arguments in each mode, and what fakes write into outputs.
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

// Every call any fake received, in order (reserve ahead to keep calls allocation-free).
struct FakeCall {
    std::uint32_t slot;
    Args args;
};
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

// How the callers make their arguments.
enum class ArgMode {
    Unique,    // bit patterns unique to slot and position; nothing may read through the pointers
    Zeroed,    // pointers into zeroed memory (objects are fake objects), integers 1
    Null,      // null pointers (but for fixed arrays the API requires), integers 0
};
inline ArgMode g_argMode = ArgMode::Unique;

// One block of zeroed memory per argument position, large enough for any structure a printer
// reads behind it; zeroed again before every call, since fakes write into them.
constexpr std::size_t kZeroedBlock = 2048;
alignas(64) inline unsigned char g_zeroedMemory[32 * kZeroedBlock];
inline unsigned char* ZeroedBlock(std::uint32_t position) {
    return g_zeroedMemory + kZeroedBlock * (position % 32);
}
inline void PrepareArguments() {
    if (g_argMode == ArgMode::Zeroed) std::memset(g_zeroedMemory, 0, sizeof g_zeroedMemory);
}

// The Capture Time ID that every fake object holds.
constexpr std::uint64_t kFakeObjectId = 0x2a;
// Stands in every entry of the fake objects' virtual table; the printers only ever call
// GetPrivateData, whose arguments it takes.
inline std::int32_t __attribute__((ms_abi)) FakeObjectGetPrivateData(void*, const void*,
                                                                     std::uint32_t* size, void* data) {
    if (size == nullptr || data == nullptr || *size < sizeof kFakeObjectId) return -2147024809;
    std::memcpy(data, &kFakeObjectId, sizeof kFakeObjectId);
    return 0;
}
inline const struct FakeObjectVtbl {
    FakeObjectVtbl() { for (void*& entry : entries) entry = reinterpret_cast<void*>(&FakeObjectGetPrivateData); }
    void* entries[256];
} g_fakeObjectVtbl;
inline struct {
    const void* lpVtbl = &g_fakeObjectVtbl;
} g_fakeObject;

// COM interfaces are the structures that begin with a virtual table.
template <typename T>
concept ComObjectPointer = std::is_pointer_v<T> && requires(T p) { p->lpVtbl; };

// The argument of the Unique mode: no other slot or position receives it (for narrow types, as
// far as the width allows). Its pointers are never valid: a hook that read through one would
// crash the test.
template <typename T>
T UniqueArg(std::uint32_t slot, std::uint32_t position) {
    const std::uint64_t seed = 0x5A5A000000000000ull ^ (std::uint64_t{slot} << 20) ^
                               (std::uint64_t{position} << 8) ^ (slot * 31u + position * 7u + 1u);
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

// An argument in the present mode.
template <typename T>
T ArgFor(std::uint32_t slot, std::uint32_t position) {
    if (g_argMode == ArgMode::Unique) return UniqueArg<T>(slot, position);
    if constexpr (ComObjectPointer<T>) {
        return g_argMode == ArgMode::Null ? nullptr : reinterpret_cast<T>(&g_fakeObject);
    } else if constexpr (std::is_pointer_v<T>) {
        return g_argMode == ArgMode::Null ? nullptr : reinterpret_cast<T>(ZeroedBlock(position));
    } else if constexpr (std::is_floating_point_v<T> || std::is_class_v<T> || std::is_union_v<T>) {
        return UniqueArg<T>(slot, position);
    } else {
        const std::uint64_t small = g_argMode == ArgMode::Null ? 0 : 1;
        T value;
        std::memcpy(&value, &small, sizeof value);
        return value;
    }
}
// A fixed array that the declaration requires is there in every mode but Unique.
template <typename T>
T RequiredArg(std::uint32_t slot, std::uint32_t position) {
    if (g_argMode == ArgMode::Null) return reinterpret_cast<T>(ZeroedBlock(position));
    return ArgFor<T>(slot, position);
}
// An interface id passed by reference: never null.
template <typename T>
const T& RefArg(std::uint32_t slot, std::uint32_t position) {
    if (g_argMode == ArgMode::Unique) return *UniqueArg<const T*>(slot, position);
    return *reinterpret_cast<const T*>(ZeroedBlock(position));
}
template <typename T>
T ResultFor(std::uint32_t slot) {
    return ArgFor<T>(slot, 99);
}

// What fakes write into their outputs, so that a dump shows it only if the hook called on first.
template <typename T>
void WriteSentinel(T* output, long long value) {
    if (output != nullptr) *output = static_cast<T>(value);
}
template <typename T>
void WriteObject(T** output) {
    if (output != nullptr) *output = reinterpret_cast<T*>(&g_fakeObject);
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

// Every slot of each API, in ascending slot order (generated).
const std::vector<HookCase>& HookCases_vulkan();
const std::vector<HookCase>& HookCases_com();

}  // namespace tov::test
