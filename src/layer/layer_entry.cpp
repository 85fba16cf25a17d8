#include <cstring>

#include "events.h"
#include "layer_state.h"
#include "parameters.h"
#include "printers.h"
#include "tov/journal.h"

namespace tov::logging_layer {

constinit LayerDispatchTable g_dispatchTable = {"Logging Layer", nullptr, {}, {}, {}};

namespace {

void SubscribeToKeyframes() {
    runtime::EventPublisher* publisher = runtime::GetEventPublisher();
    const runtime::EventPublisher::SubscriptionKey key = {"keyframe", 0};
    publisher->Subscribe(&key, &g_keyframeSubscriber);
}

void ApplyParameters(const LayerParameterMap& map) {
    const auto found = map.find(u"verbose");
    if (found == map.end()) return;
    // Only the first value counts; only the single character 1 switches verbose mode on.
    const std::u16string& value = map.at(found->first).front();
    if (value == u"1") {
        printing::SetVerbose(true);
        return;
    }
    char converted[100];
    printing::WideToUtf8Bounded(value.c_str(), converted, sizeof converted);
    LogMessage(3, 1, 0, "%s: Unrecognized layer parameter: %s", g_dispatchTable.name, converted);
}

}  // namespace
}  // namespace tov::logging_layer

extern "C" __attribute__((visibility("default"))) LayerDispatchTable* tovGetDispatchTable(
    std::uint64_t parameterCount, const LayerParameterRecord* parameters) {
    using namespace tov::logging_layer;
    SubscribeToKeyframes();
    {
        const LayerParameterMap map =
            ParseLayerParameters(parameters, parameterCount, KnownLayerArguments.data(),
                                 KnownLayerArguments.size());
        ApplyParameters(map);
        g_dispatchTable.eventHandler = &g_eventHandler;
        StoreHooks(g_dispatchTable);
    }
    return &g_dispatchTable;
}
