// System calls of the layer's output made without the C library's wrappers where the system is
// known: after a system call the processor has lost track of where the returns still pending go,
// and the wrapper's own return would be one more of them. Failures set errno as the wrappers do.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <cstddef>

#if defined(__linux__) && defined(__x86_64__)
#include <sys/syscall.h>
#endif

namespace tov::printing {

#if defined(__linux__) && defined(__x86_64__)
[[gnu::always_inline]] inline long SystemCall3(long number, long a, long b, long c) {
    long result;
    asm volatile("syscall"
                 : "=a"(result)
                 : "0"(number), "D"(a), "S"(b), "d"(c)
                 : "rcx", "r11", "memory");
    if (result < 0 && result > -4096) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return result;
}

[[gnu::always_inline]] inline long SystemWrite(int fd, const char* data, std::size_t size) {
    return SystemCall3(SYS_write, fd, reinterpret_cast<long>(data), static_cast<long>(size));
}

[[gnu::always_inline]] inline long SystemSeek(int fd, long offset, int whence) {
    return SystemCall3(SYS_lseek, fd, offset, whence);
}
#else
inline long SystemWrite(int fd, const char* data, std::size_t size) {
    return write(fd, data, size);
}

inline long SystemSeek(int fd, long offset, int whence) { return lseek(fd, offset, whence); }
#endif

}  // namespace tov::printing
