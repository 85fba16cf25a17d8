// How a host library of this project links the layer: liblogging_layer.so next to the host's own
// library, else the build tree's (TOV_BUILD_TREE_LAYER_PATH, defined for the host's target);
// TOV_LOGGING_LAYER_LIBRARY comes before either, in tovLinkLayer.
#pragma once

#include <dlfcn.h>

#include <string>
#include <vector>

#include "host_link.h"

namespace tov::hostlink {

// `own` is any function of the host's library: its folder is where the layer is looked for.
inline TovLinkResult LinkLayerNextTo(const void* own) {
    std::vector<std::string> paths;
    Dl_info info;
    if (dladdr(own, &info) != 0 && info.dli_fname != nullptr) {
        const std::string self = info.dli_fname;
        const std::size_t slash = self.rfind('/');
        paths.push_back((slash == std::string::npos ? std::string(".") : self.substr(0, slash)) +
                        "/liblogging_layer.so");
    }
#ifdef TOV_BUILD_TREE_LAYER_PATH
    paths.push_back(TOV_BUILD_TREE_LAYER_PATH);
#endif
    std::vector<const char*> candidates;
    for (const std::string& path : paths) candidates.push_back(path.c_str());
    return tovLinkLayer(candidates.data(), candidates.size());
}

}  // namespace tov::hostlink
