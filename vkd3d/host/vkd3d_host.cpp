#include "vkd3d_host.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "host_link.h"

namespace tov::vkd3d_host {
namespace {

constexpr const char* kWho = "tov-vkd3d";

// liblogging_layer.so next to this library, else the build tree's. The link takes
// TOV_LOGGING_LAYER_LIBRARY before either.
std::vector<std::string> CandidatePaths() {
    std::vector<std::string> paths;
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&CandidatePaths), &info) != 0 && info.dli_fname != nullptr) {
        std::string self = info.dli_fname;
        const std::size_t slash = self.rfind('/');
        paths.push_back((slash == std::string::npos ? std::string(".") : self.substr(0, slash)) +
                        "/liblogging_layer.so");
    }
#ifdef TOV_BUILD_TREE_LAYER_PATH
    paths.push_back(TOV_BUILD_TREE_LAYER_PATH);
#endif
    return paths;
}

void Link() {
    // The originals first: without the layer every call still has to reach vkd3d.
    for (std::size_t i = 0; i < kSlottedExportCount; ++i)
        comhost::SetFunctionNext(kSlottedExports[i].slot,
                                 Original(kSlottedExports[i].name, kSlottedExports[i].version));
    const std::vector<std::string> paths = CandidatePaths();
    std::vector<const char*> candidates;
    for (const std::string& path : paths) candidates.push_back(path.c_str());
    const TovLinkResult linked = tovLinkLayer(candidates.data(), candidates.size());
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
