// What the core needs of the operating system, and nothing more: a per-thread counter, making a
// class's table of methods writable for the moment of a patch, one lock, and a line on standard
// error. platform_posix.cpp and platform_win32.cpp give it.
#pragma once

#include <cstddef>

// A variable of which every thread has its own copy, zero at the start. A plain word without a
// constructor, so that reading it costs no more than a load.
#if defined(_WIN32)
#define TOV_COMHOST_THREAD_LOCAL __thread
#else
#define TOV_COMHOST_THREAD_LOCAL __thread __attribute__((tls_model("initial-exec")))
#endif

namespace tov::comhost::platform {

// Makes [address, address + size) writable. On success, *previous is what Reprotect needs to
// give the bytes back the protection they had.
bool Unprotect(void* address, std::size_t size, unsigned long* previous);
void Reprotect(void* address, std::size_t size, unsigned long previous);

// The one lock of the host: finding classes, claiming interfaces, storing capture ids.
void Lock();
void Unlock();

// One line of text on standard error.
void Report(const char* line);

}  // namespace tov::comhost::platform
