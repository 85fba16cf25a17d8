// The ordinary path of every hook of both APIs allocates nothing and builds no string: the
// logger receives the constant "%s" and a name that lives in the layer's own read-only data.
// This executable defines LogMessage itself, which the layer then uses instead of the host
// logger's, as it would in a host process that already has one, and counts every operator new.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <dlfcn.h>
#endif

#include <cstdarg>
#include <cstdlib>
#include <new>
#include <string>

#include "dispatch_table.h"
#include "fake_args.h"
#include "testhost.h"

namespace {
bool g_counting = false;
long g_allocations = 0;

struct LoggedCall {
    int level, category, flags;
    const char* format;
    const char* name;
};
LoggedCall g_logged[4];
int g_loggedCount = 0;
}  // namespace

void* operator new(std::size_t size) {
    if (g_counting) ++g_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

extern "C" __attribute__((visibility("default"))) int LogMessage(int level, int category, int flags,
                                                                  const char* format, ...) {
    va_list args;
    va_start(args, format);
    const char* name = va_arg(args, const char*);
    va_end(args);
    if (g_loggedCount < 4) g_logged[g_loggedCount] = {level, category, flags, format, name};
    ++g_loggedCount;
    return 0;
}

#ifdef _WIN32
// On Windows the layer's imports are bound to the DLLs that export them, so the definitions
// above are not seen by it: the probe points the layer's own imports of LogMessage and of the C
// runtime's allocator (under operator new) at its counting versions instead.
namespace {
void* (*g_malloc)(std::size_t);
void* (*g_calloc)(std::size_t, std::size_t);
void* (*g_realloc)(void*, std::size_t);
void* CountingMalloc(std::size_t size) {
    if (g_counting) ++g_allocations;
    return g_malloc(size);
}
void* CountingCalloc(std::size_t count, std::size_t size) {
    if (g_counting) ++g_allocations;
    return g_calloc(count, size);
}
void* CountingRealloc(void* p, std::size_t size) {
    if (g_counting) ++g_allocations;
    return g_realloc(p, size);
}
template <typename F>
void Replace(void* module, const char* library, const char* function, F replacement, F* previous) {
    *previous = reinterpret_cast<F>(tov::testhost::ReplaceImport(
        module, library, function, reinterpret_cast<void*>(replacement)));
}
}  // namespace
#endif

namespace tov::test {

namespace {
bool InLibrary(const void* address, const testhost::Layer& layer) {
#ifdef _WIN32
    return testhost::ModuleOf(address) == layer.module();
#else
    Dl_info info;
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return false;
    return std::string(info.dli_fname) == testhost::Layer::DefaultLayerPath();
#endif
}
}  // namespace

// Loads the layer in ordinary mode, routes every case's slot to its fake and checks bursts of
// calls through each hook.
void ExpectAllocationFreeOrdinaryPath(const std::vector<HookCase>& cases) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable();
#ifdef _WIN32
    int (*logger)(int, int, int, const char*, ...) = nullptr;
    Replace(layer.module(), "journal-x64.dll", "LogMessage", &LogMessage, &logger);
    ASSERT_NE(logger, nullptr) << "the layer imports LogMessage from journal-x64.dll";
    Replace(layer.module(), "msvcrt.dll", "malloc", &CountingMalloc, &g_malloc);
    ASSERT_NE(g_malloc, nullptr) << "the layer allocates through msvcrt.dll's malloc";
    Replace(layer.module(), "msvcrt.dll", "calloc", &CountingCalloc, &g_calloc);
    Replace(layer.module(), "msvcrt.dll", "realloc", &CountingRealloc, &g_realloc);
#endif
    std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
    for (const HookCase& c : cases) nexts[c.slot] = c.fake;
    layer.RouteAll(nexts);
    FakeCalls().reserve(16);

    for (const HookCase& c : cases) {
        void* hook = layer.hook(c.slot);
        FakeCalls().clear();
        g_loggedCount = 0;
        g_allocations = 0;
        g_counting = true;
        for (int burst = 0; burst < 3; ++burst) c.call(hook);
        g_counting = false;
        EXPECT_EQ(g_allocations, 0) << c.name;
        ASSERT_EQ(g_loggedCount, 3) << c.name;
        const LoggedCall& logged = g_logged[0];
        EXPECT_EQ(logged.level, 2);
        EXPECT_EQ(logged.category, 1);
        EXPECT_EQ(logged.flags, 0);
        EXPECT_STREQ(logged.format, "%s");
        EXPECT_STREQ(logged.name, c.name);
        EXPECT_TRUE(InLibrary(logged.name, layer)) << c.name;
        EXPECT_TRUE(InLibrary(logged.format, layer)) << c.name;
    }
}

TEST(OrdinaryPath, VulkanHooksAllocateNothingAndPassConstantText) {
    ExpectAllocationFreeOrdinaryPath(HookCases_vulkan());
}

TEST(OrdinaryPath, ComHooksAllocateNothingAndPassConstantText) {
    ExpectAllocationFreeOrdinaryPath(HookCases_com());
}

}  // namespace tov::test
