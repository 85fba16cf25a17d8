#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <mutex>

#include "platform.h"

namespace tov::comhost::platform {

__thread __attribute__((tls_model("initial-exec"))) unsigned t_depth = 0;

namespace {

std::uintptr_t PageSize() { return static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)); }

// The protection of the mapping that holds [begin, end), from /proc/self/maps; -1 if the range
// is not mapped or crosses mappings with different protections.
int ProtectionOf(std::uintptr_t begin, std::uintptr_t end) {
    std::FILE* maps = std::fopen("/proc/self/maps", "r");
    if (maps == nullptr) return -1;
    int found = -1;
    std::uintptr_t covered = begin;
    char line[512];
    while (covered < end && std::fgets(line, sizeof line, maps) != nullptr) {
        unsigned long from = 0, to = 0;
        char perms[5] = {};
        if (std::sscanf(line, "%lx-%lx %4s", &from, &to, perms) != 3) continue;
        if (to <= covered || from > covered) continue;
        const int prot = (perms[0] == 'r' ? PROT_READ : 0) | (perms[1] == 'w' ? PROT_WRITE : 0) |
                         (perms[2] == 'x' ? PROT_EXEC : 0);
        if (found != -1 && prot != found) {
            found = -1;
            break;
        }
        found = prot;
        covered = to;
    }
    std::fclose(maps);
    return covered >= end ? found : -1;
}

std::mutex g_lock;

}  // namespace

bool Unprotect(void* address, std::size_t size, unsigned long* previous) {
    const std::uintptr_t page = PageSize();
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(address) & ~(page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(address) + size + page - 1) & ~(page - 1);
    const int prot = ProtectionOf(begin, end);
    if (prot == -1) return false;
    *previous = static_cast<unsigned long>(prot);
    if (prot & PROT_WRITE) return true;
    return mprotect(reinterpret_cast<void*>(begin), end - begin, prot | PROT_WRITE) == 0;
}

void Reprotect(void* address, std::size_t size, unsigned long previous) {
    if (previous & PROT_WRITE) return;
    const std::uintptr_t page = PageSize();
    const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(address) & ~(page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(address) + size + page - 1) & ~(page - 1);
    mprotect(reinterpret_cast<void*>(begin), end - begin, static_cast<int>(previous));
}

bool LibraryBounds(const void* address, std::uintptr_t* begin, std::uintptr_t* end) {
    struct Search {
        std::uintptr_t address;
        std::uintptr_t begin = 0, end = 0;
        bool found = false;
        bool first = true;  // the first object the loader lists is the program itself
    } search{reinterpret_cast<std::uintptr_t>(address)};
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            Search& s = *static_cast<Search*>(data);
            const bool program = s.first;
            s.first = false;
            std::uintptr_t low = UINTPTR_MAX, high = 0;
            bool holds = false;
            for (int i = 0; i < info->dlpi_phnum; ++i) {
                const ElfW(Phdr)& segment = info->dlpi_phdr[i];
                if (segment.p_type != PT_LOAD) continue;
                const std::uintptr_t from = info->dlpi_addr + segment.p_vaddr;
                const std::uintptr_t to = from + segment.p_memsz;
                low = std::min(low, from);
                high = std::max(high, to);
                holds = holds || (s.address >= from && s.address < to);
            }
            if (!holds) return 0;
            s.found = !program;
            s.begin = low;
            s.end = high;
            return 1;
        },
        &search);
    *begin = search.begin;
    *end = search.end;
    return search.found;
}

void Lock() { g_lock.lock(); }
void Unlock() { g_lock.unlock(); }

void Report(const char* line) { std::fprintf(stderr, "%s\n", line); }

}  // namespace tov::comhost::platform
