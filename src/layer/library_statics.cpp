// Every static object of the layer that needs code at load or unload lives in this one file, so
// that they are built in this order and torn down in the reverse order:
//   the table of known arguments, the keyframe subscriber (its base constructor is the host's),
//   the help text buffer, the event handler, the event class id, the event class object;
// then the library's entry point runs.
#include <cstring>

#include "events.h"
#include "parameters.h"
#include "tov/win32.h"

namespace tov::logging_layer {

std::vector<LayerArgument> KnownLayerArguments = {
    {u"verbose",
     u"set verbose=1 to enable more detailed logging, certain structs or arrays may be represented "
     u"by (embedded)",
     u"string"},
};

KeyframeSubscriber g_keyframeSubscriber;

std::u16string LayerHelpTextBuffer;

LoggingLayerEventHandler g_eventHandler;

namespace {

UUID g_keyframeClassIdStorage;

// The id text as the layer hands it over is not a uuid's string form, so the parse fails and
// the id stays nil; the status is not looked at.
const UUID* ParseKeyframeClassId() {
    std::memset(&g_keyframeClassIdStorage, 0, sizeof g_keyframeClassIdStorage);
    UuidFromStringA(
        reinterpret_cast<const unsigned char*>("\"083728c2-1227-44a9-b27e-29b9ebfb9ae64\""),
        &g_keyframeClassIdStorage);
    return &g_keyframeClassIdStorage;
}

}  // namespace

const UUID* const g_keyframeClassId = ParseKeyframeClassId();

namespace {

// The class is in the list before any call into the library.
runtime::EventData::Class* const g_keyframeClass = common::KeyframeAppliedEvent::ClassObject();

}  // namespace
}  // namespace tov::logging_layer

// The library's entry point. On Windows the runtime calls it once the static objects above
// exist, and at unload before they go; on Linux the last static object calls it at load.
// DisableThreadLibraryCalls may fail (Wine refuses it for a library with thread-local data):
// it only spares the layer notices it ignores anyway.
extern "C" BOOL DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(instance);
    return 1;
}

#ifndef _WIN32
namespace {
struct EntryPoint {
    EntryPoint() { DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr); }
} g_entryPoint;
}  // namespace
#endif
