// What the core needs of the operating system, and nothing more: a per-thread counter, making a
// class's table of methods writable for the moment of a patch, one lock, and a line on standard
// error. platform_posix.cpp and platform_win32.cpp give it.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#include <intrin.h>
#endif

namespace tov::comhost::platform {

// The host's count of its calls on the calling thread, zero at the start of every thread. Read
// and written by its own thread alone, with no more than a load and a store.
#if defined(_WIN32)
// A slot of the thread's own storage (TlsAlloc), read and written where TlsGetValue and
// TlsSetValue find it: the first 64 slots stand in the thread's environment block, at gs:0x1480.
// The compiler's own thread-local variables would be emulated here, a call on every access.
extern unsigned long g_depthSlot;
inline constexpr unsigned long kDirectTlsSlots = 64;
unsigned LoadDepthSlow();
void StoreDepthSlow(unsigned depth);
inline unsigned LoadDepth() {
    if (g_depthSlot >= kDirectTlsSlots) return LoadDepthSlow();
    return static_cast<unsigned>(__readgsqword(0x1480 + 8 * g_depthSlot));
}
inline void StoreDepth(unsigned depth) {
    if (g_depthSlot >= kDirectTlsSlots) return StoreDepthSlow(depth);
    __writegsqword(0x1480 + 8 * g_depthSlot, depth);
}
#else
extern __thread __attribute__((tls_model("initial-exec"))) unsigned t_depth;
inline unsigned LoadDepth() { return t_depth; }
inline void StoreDepth(unsigned depth) { t_depth = depth; }
#endif

// Makes [address, address + size) writable. On success, *previous is what Reprotect needs to
// give the bytes back the protection they had.
bool Unprotect(void* address, std::size_t size, unsigned long* previous);
void Reprotect(void* address, std::size_t size, unsigned long previous);

// The bounds [*begin, *end) of the loaded module whose image holds `address`; false if no module
// holds it, or if it is the program's own executable.
bool LibraryBounds(const void* address, std::uintptr_t* begin, std::uintptr_t* end);

// The one lock of the host: finding classes, claiming interfaces, storing capture ids.
void Lock();
void Unlock();

// One line of text on standard error.
void Report(const char* line);

}  // namespace tov::comhost::platform
