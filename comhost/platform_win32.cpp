#include <windows.h>

#include <cstdio>

#include "platform.h"

namespace tov::comhost::platform {

// Taken while the DLL's static objects are made, before any call can count.
unsigned long g_depthSlot = TlsAlloc();

unsigned LoadDepthSlow() {
    // The thread's last-error code is the program's: TlsGetValue sets it.
    const DWORD lastError = GetLastError();
    const auto depth = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(TlsGetValue(g_depthSlot)));
    SetLastError(lastError);
    return depth;
}

void StoreDepthSlow(unsigned depth) {
    TlsSetValue(g_depthSlot, reinterpret_cast<void*>(static_cast<std::uintptr_t>(depth)));
}

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;

// The protection that adds writing to one that lacks it, keeping execution and guards.
DWORD Writable(DWORD protection) {
    const DWORD modifiers = protection & (PAGE_GUARD | PAGE_NOCACHE | PAGE_WRITECOMBINE);
    switch (protection & ~modifiers) {
    case PAGE_READONLY: return PAGE_READWRITE | modifiers;
    case PAGE_EXECUTE_READ: return PAGE_EXECUTE_READWRITE | modifiers;
    case PAGE_READWRITE:
    case PAGE_EXECUTE_READWRITE:
    case PAGE_WRITECOPY:
    case PAGE_EXECUTE_WRITECOPY: return protection;
    default: return 0;  // not readable, or not mapped: not a table of methods
    }
}

}  // namespace

bool Unprotect(void* address, std::size_t size, unsigned long* previous) {
    MEMORY_BASIC_INFORMATION region;
    if (VirtualQuery(address, &region, sizeof region) != sizeof region || region.State != MEM_COMMIT) return false;
    // A table that crosses into a region of other protection is not patched.
    const auto end = static_cast<const char*>(address) + size;
    if (end > static_cast<const char*>(region.BaseAddress) + region.RegionSize) return false;
    const DWORD writable = Writable(region.Protect);
    if (writable == 0) return false;
    *previous = region.Protect;
    if (writable == region.Protect) return true;
    DWORD old = 0;
    return VirtualProtect(address, size, writable, &old) != 0;
}

void Reprotect(void* address, std::size_t size, unsigned long previous) {
    if (Writable(static_cast<DWORD>(previous)) == previous) return;
    DWORD old = 0;
    VirtualProtect(address, size, static_cast<DWORD>(previous), &old);
    // Code may stand in the same pages.
    FlushInstructionCache(GetCurrentProcess(), address, size);
}

bool LibraryBounds(const void* address, std::uintptr_t* begin, std::uintptr_t* end) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(address), &module) ||
        module == GetModuleHandleW(nullptr))
        return false;
    const auto base = reinterpret_cast<const unsigned char*>(module);
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    *begin = reinterpret_cast<std::uintptr_t>(base);
    *end = *begin + nt->OptionalHeader.SizeOfImage;
    return true;
}

void Lock() { AcquireSRWLockExclusive(&g_lock); }
void Unlock() { ReleaseSRWLockExclusive(&g_lock); }

void Report(const char* line) { std::fprintf(stderr, "%s\n", line); }

}  // namespace tov::comhost::platform
