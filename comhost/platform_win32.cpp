#include <windows.h>

#include <cstdio>

#include "platform.h"

namespace tov::comhost::platform {
namespace {
SRWLOCK g_lock = SRWLOCK_INIT;
}  // namespace

bool Unprotect(void* address, std::size_t size, unsigned long* previous) {
    DWORD old = 0;
    if (!VirtualProtect(address, size, PAGE_READWRITE, &old)) return false;
    *previous = old;
    return true;
}

void Reprotect(void* address, std::size_t size, unsigned long previous) {
    DWORD old = 0;
    VirtualProtect(address, size, static_cast<DWORD>(previous), &old);
}

void Lock() { AcquireSRWLockExclusive(&g_lock); }
void Unlock() { ReleaseSRWLockExclusive(&g_lock); }

void Report(const char* line) { std::fprintf(stderr, "%s\n", line); }

}  // namespace tov::comhost::platform
