#include "events.h"

#include <cstring>
#include <iostream>

#include "printers.h"
#include "tov/journal.h"

namespace tov::runtime {

EventData::Class* EventClassList = nullptr;

EventData::~EventData() = default;
void EventData::Reserved3() {}
void EventData::Reserved4() {}
std::uint64_t EventData::Reserved6() const { return 0; }
std::uint64_t EventData::Reserved7() const { return 0; }
std::uint64_t EventData::Reserved8() const { return 0; }

EventData::Class::Class(const UUID* id, const char* name)
    : nextClass(nullptr), classId(id), className(name) {
    for (Class* c = EventClassList; c != nullptr; c = c->nextClass)
        if (std::memcmp(c->classId, id, sizeof(UUID)) == 0) return;
    nextClass = EventClassList;
    EventClassList = this;
}

// The list is left as it is: a class stays linked until the library goes away.
EventData::Class::~Class() {}

}  // namespace tov::runtime

namespace tov::common {

const UUID* KeyframeAppliedEvent::GetClassId() const { return logging_layer::g_keyframeClassId; }
const char* KeyframeAppliedEvent::GetClassName() const { return "KeyframeAppliedEvent"; }
runtime::EventData::Class* KeyframeAppliedEvent::GetClass() const { return ClassObject(); }

runtime::EventData::Class* KeyframeAppliedEvent::ClassObject() {
    static ClassDef<KeyframeAppliedEvent> classObject(logging_layer::g_keyframeClassId,
                                                      "KeyframeAppliedEvent");
    return &classObject;
}

}  // namespace tov::common

namespace tov::logging_layer {

void KeyframeSubscriber::OnEvent(void*, runtime::EventData* event) {
    // The event comes from the host, and its class is not tested: what the layer relies on is the
    // layout of a keyframe event, with its kind in the 32 bits at byte offset 8.
    std::uint32_t kind;
    std::memcpy(&kind, reinterpret_cast<const unsigned char*>(event) + 8, sizeof kind);
    const printing::OutputScope scope;
    if (kind == 1) {
        printing::WriteBareLine(std::cout, "===================Keyframe Applied===================");
    } else if (kind == 2) {
        printing::WriteBareLine(std::cout,
                                "===================Deferred Initialization Ends===================");
    }
}

void LoggingLayerEventHandler::OnLibraryLoaded(const char16_t* path) {
    char buffer[16384] = {};
    printing::WideToUtf8Bounded(path, buffer, sizeof buffer);
    LogMessage(2, 1, 0, "Library loaded: %s", buffer);
}

#if TOV_HOST_MSVC_LAYOUT
namespace {

using Subscriber = runtime::EventPublisher::Subscriber;

// Both objects are static: the scalar deleting destructor never frees them.
void* SubscriberScalarDeletingDestructor(Subscriber* self, unsigned) {
    static_cast<KeyframeSubscriber*>(self)->~KeyframeSubscriber();
    return self;
}
void SubscriberOnEvent(Subscriber* self, void* source, runtime::EventData* event) {
    static_cast<KeyframeSubscriber*>(self)->OnEvent(source, event);
}
constexpr runtime::EventPublisher::SubscriberTable kKeyframeSubscriberTable = {
    &SubscriberScalarDeletingDestructor, &SubscriberOnEvent};

void* HandlerScalarDeletingDestructor(EventHandler* self, unsigned) { return self; }
void HandlerOnLibraryLoaded(EventHandler* self, const char16_t* path) {
    static_cast<LoggingLayerEventHandler*>(self)->OnLibraryLoaded(path);
}

}  // namespace

constinit const EventHandlerTable kLoggingLayerEventHandlerTable = {
    &HandlerScalarDeletingDestructor, &HandlerOnLibraryLoaded};

KeyframeSubscriber::KeyframeSubscriber() : Subscriber{nullptr} {
    runtime::tovHostSubscriberConstruct(this);
    table = &kKeyframeSubscriberTable;
}

KeyframeSubscriber::~KeyframeSubscriber() {
    table = &kKeyframeSubscriberTable;
    runtime::tovHostSubscriberDestruct(this);
}
#endif

}  // namespace tov::logging_layer
