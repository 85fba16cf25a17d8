// The core of a host that puts the Logging Layer in front of an implementation of the Direct3D
// and DXGI interfaces by patching its classes: what a host shell (a preload library, a proxy
// DLL) calls.
//
// Every object the program receives is caught. Its class is the table of methods its first word
// points at; the class's interface is the most derived interface of the catalogue under which
// QueryInterface gives back the object's own pointer, for it and all its bases. The first class
// seen under an interface claims it: each method's original is stored into the interface's slot
// of the dispatch table, then the class's table entry is turned to the typed entry of that slot.
// A method that the call filter leaves out keeps the class's own entry, unless it hands out
// objects: then its entry catches them without reaching the layer.
// A second class under a claimed interface is passed on unlogged, with a message. Each object
// that reaches the host gets a capture id in its private data, unless it has one already.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "dispatch_table.h"
#include "platform.h"

namespace tov::comhost {

// Takes the linked layer: its table, whose slots receive the originals, and the layer's hook of
// every slot, null where the call filter leaves the call out. `who` starts the host's messages on
// standard error. Until then objects are not caught and the exported functions go straight to
// their next functions.
void Attach(LayerDispatchTable* table, void* const* hooks, const char* who);
bool Attached();

// Where an exported API function's entry goes when the layer is not in front of it: the
// implementation's function. Stored into its slot as well when the host attaches.
void SetFunctionNext(std::uint32_t slot, void* next);

// An object the program received. A null pointer, and any object before Attach, is left alone.
void Catch(void* object);

// Calls made while the host is already in a call on this thread (the implementation calling its
// own methods, the host's own calls on objects) are nested: they go straight to the original.
// EnterCall says whether the call is the outermost one; every EnterCall is matched by one
// LeaveCall, which passes a result through.
inline bool EnterCall() {
    const unsigned depth = platform::LoadDepth();
    platform::StoreDepth(depth + 1);
    return depth == 0;
}
inline void LeaveCall() { platform::StoreDepth(platform::LoadDepth() - 1); }
template <typename T>
T LeaveCall(T result) {
    LeaveCall();
    return result;
}

// The code of the implementation: the modules that hold the original methods of the hooked
// classes (never the program's own executable), each [begin, begin + size). Entries are added
// under the host's lock and published by the count; they never change.
struct CodeRange {
    std::uintptr_t begin;
    std::uintptr_t size;
};
inline constexpr std::size_t kMaxCodeRanges = 16;
extern CodeRange g_codeRanges[kMaxCodeRanges];
extern std::atomic<std::size_t> g_codeRangeCount;

// Whether a call's return address lies in the implementation's code: a call that the
// implementation makes on its own methods from a thread of its own (vkd3d's fence worker
// releases the device), outside any call of the program, is not the program's and passes on
// unlogged, as a nested call does. An entry asks only about its outermost calls.
inline bool FromImplementation(const void* returnAddress) {
    const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
    const std::size_t count = g_codeRangeCount.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < count; ++i)
        if (address - g_codeRanges[i].begin < g_codeRanges[i].size) return true;
    return false;
}

// The same count as a guard object.
class Nesting {
public:
    Nesting() noexcept : outermost_(EnterCall()) {}
    ~Nesting() { LeaveCall(); }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    bool outermost() const { return outermost_; }

private:
    const bool outermost_;
};

// Catches the first `count` objects of an out-parameter array, if it is not null.
template <typename T>
void CatchOut(T* const* array, std::uint64_t count) {
    if (array == nullptr) return;
    for (std::uint64_t i = 0; i < count; ++i) Catch(const_cast<void*>(static_cast<const void*>(array[i])));
}

}  // namespace tov::comhost
