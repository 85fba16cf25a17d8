#include "parameters.h"

namespace tov::logging_layer {

const LayerDescription kLayerDescription = {
    u"Logging",
    u"Use to dump out a log of every graphics API call your target application makes",
    u"",
};

namespace {
bool SameText(const char16_t* a, const char16_t* b) {
    for (;; ++a, ++b) {
        if (*a != *b) return false;
        if (*a == 0) return true;
    }
}
}  // namespace

LayerParameterMap ParseLayerParameters(const LayerParameterRecord* parameters,
                                       std::uint64_t parameterCount,
                                       const LayerArgument* knownArguments,
                                       std::uint64_t knownCount) {
    LayerParameterMap map;
    for (std::uint64_t i = 0; i < parameterCount; ++i) {
        const LayerParameterRecord& record = parameters[i];
        for (std::uint64_t k = 0; k < knownCount; ++k) {
            const char16_t* known = knownArguments[k].argumentName;
            if (known == nullptr || !SameText(record.parameterName, known)) continue;
            // Names that match nothing are passed over without a word.
            map[std::u16string(record.parameterName)].push_back(
                std::u16string(record.parameterValue));
        }
    }
    return map;
}

std::u16string MakeLayerHelpText(const LayerDescription* description,
                                 std::vector<LayerArgument> knownArguments, std::uint32_t mode) {
    std::u16string text;
    if (mode == 2) return text;
    const bool markdown = mode == 1;
    text += u"\n";
    if (markdown) text += u"# ";
    text += description->layerTitle;
    text += u" Layer\n\n";
    text += markdown ? u"### Usage : " : u"Usage : ";
    text += description->layerUsage;
    text += u"\n\n";
    text += markdown ? u"## Arguments:\n" : u"Arguments:\n";
    for (const LayerArgument& argument : knownArguments) {
        if (argument.argumentName == nullptr) continue;
        text += markdown ? u" - *" : u"\t";
        text += argument.argumentName;
        if (argument.argumentDescription != nullptr) {
            text += markdown ? u"* - " : u"\t";
            text += argument.argumentDescription;
        }
        text += u"\n";
    }
    if (markdown || description->layerNotes != nullptr) {
        text += u"\n";
        if (description->layerNotes != nullptr) text += description->layerNotes;
        text += u"\n";
    }
    return text;
}

}  // namespace tov::logging_layer

extern "C" __attribute__((visibility("default"))) const char16_t* tovGetLayerHelpText(
    std::uint32_t mode) {
    using namespace tov::logging_layer;
    std::vector<LayerArgument> copy = KnownLayerArguments;
    LayerHelpTextBuffer = MakeLayerHelpText(&kLayerDescription, std::move(copy), mode);
    return LayerHelpTextBuffer.c_str();
}
