// The layer's parameters: the table of known arguments, their parsing into a map, and the help
// text that the host shows its user.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "dispatch_table.h"

namespace tov::logging_layer {

struct LayerArgument {
    const char16_t* argumentName;         // compared with parameterName; null is left out of help
    const char16_t* argumentDescription;  // one line of help, may be null
    const char16_t* argumentType;         // carried along, never read
};

struct LayerDescription {
    const char16_t* layerTitle;
    const char16_t* layerUsage;
    const char16_t* layerNotes;
};

// Keys order by their 16-bit units; each list keeps values in arrival order.
using LayerParameterMap = std::map<std::u16string, std::list<std::u16string>>;

LayerParameterMap ParseLayerParameters(const LayerParameterRecord* parameters,
                                       std::uint64_t parameterCount,
                                       const LayerArgument* knownArguments,
                                       std::uint64_t knownCount);

// Mode 1: Markdown-like; mode 2: empty; any other mode: plain text.
std::u16string MakeLayerHelpText(const LayerDescription* description,
                                 std::vector<LayerArgument> knownArguments, std::uint32_t mode);

// Static state of this module, built at load (see library_statics.cpp).
extern std::vector<LayerArgument> KnownLayerArguments;
extern const LayerDescription kLayerDescription;
extern std::u16string LayerHelpTextBuffer;

}  // namespace tov::logging_layer
