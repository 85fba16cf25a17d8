#include "vkd3d_host.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "link_next_to.h"

namespace tov::vkd3d_host {
namespace {

constexpr const char* kWho = "tov-vkd3d";

void Link() {
    // The originals first: without the layer every call still has to reach vkd3d.
    for (std::size_t i = 0; i < kSlottedExportCount; ++i)
        comhost::SetFunctionNext(kSlottedExports[i].slot,
                                 Original(kSlottedExports[i].name, kSlottedExports[i].version));
    const TovLinkResult linked = hostlink::LinkLayerNextTo(reinterpret_cast<const void*>(&Link));
    if (linked.failure == kTovNoEntryPoint) {
        std::fprintf(stderr, "%s: the library it loaded has no tovGetDispatchTable (%s);"
                     " calls are passed on without logging\n", kWho, linked.detail);
        return;
    }
    if (linked.link == nullptr) {
        std::fprintf(stderr, "%s: cannot load the Logging Layer library (liblogging_layer.so);"
                     " calls are passed on without logging:%s\n", kWho, linked.detail);
        return;
    }
    comhost::Attach(linked.link->table, linked.link->hooks, kWho);
}

}  // namespace

void* Original(const char* name, const char* version) {
    if (void* found = dlvsym(RTLD_NEXT, name, version)) return found;
    return dlsym(RTLD_NEXT, name);
}

void Start() {
    static std::once_flag once;
    std::call_once(once, Link);
}

}  // namespace tov::vkd3d_host
