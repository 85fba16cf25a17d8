// The host's events: the keyframe channel with its banners, the library report, and the small
// event class machinery behind tov::common::KeyframeAppliedEvent.
#pragma once

#include <cstdint>

#include "dispatch_table.h"
#include "tov/hostcore.h"
#include "tov/win32.h"

namespace tov::runtime {

class EventData {
public:
    class Class;
    template <typename Event>
    class ClassDef;

    virtual ~EventData();
    virtual const UUID* GetClassId() const = 0;
    virtual const char* GetClassName() const = 0;
    virtual void Reserved3();
    virtual void Reserved4();
    virtual Class* GetClass() const = 0;
    virtual std::uint64_t Reserved6() const;
    virtual std::uint64_t Reserved7() const;
    virtual std::uint64_t Reserved8() const;
};

// An event class. Constructing one links it at the head of the layer's class list, unless a
// class with the same 16-byte id is already there.
class EventData::Class {
public:
    Class(const UUID* id, const char* name);
    virtual ~Class();
    virtual EventData* Create() const = 0;

    Class* nextClass;
    const UUID* classId;
    const char* className;
};

template <typename Event>
class EventData::ClassDef final : public EventData::Class {
public:
    using Class::Class;
    EventData* Create() const override { return new Event(); }
};

// Head of the layer's own list of event classes.
extern EventData::Class* EventClassList;

}  // namespace tov::runtime

namespace tov::common {

class KeyframeAppliedEvent : public runtime::EventData {
public:
    const UUID* GetClassId() const override;
    const char* GetClassName() const override;
    Class* GetClass() const override;
    // The class object, made on first use.
    static Class* ClassObject();

    std::uint32_t kind = 0;  // 1: keyframe applied, 2: deferred initialisation ended
    std::uint32_t reserved = 0;
};

}  // namespace tov::common

namespace tov::logging_layer {

#if TOV_HOST_MSVC_LAYOUT
// On Windows both objects are laid out as the host's compiler, MSVC, lays them out: one pointer
// to a table whose slot 0 is the scalar deleting destructor and slot 1 the operation.
struct KeyframeSubscriber : runtime::EventPublisher::Subscriber {
    KeyframeSubscriber();   // the host's base constructor, then this class's table
    ~KeyframeSubscriber();  // this class's table again, then the host's base destructor
    KeyframeSubscriber(const KeyframeSubscriber&) = delete;
    KeyframeSubscriber& operator=(const KeyframeSubscriber&) = delete;
    void OnEvent(void* source, runtime::EventData* event);
};

extern const EventHandlerTable kLoggingLayerEventHandlerTable;
struct LoggingLayerEventHandler : EventHandler {
    constexpr LoggingLayerEventHandler() : EventHandler{&kLoggingLayerEventHandlerTable} {}
    void OnLibraryLoaded(const char16_t* path);
};
#else
struct KeyframeSubscriber : runtime::EventPublisher::Subscriber {
    void OnEvent(void* source, runtime::EventData* event) override;
};

struct LoggingLayerEventHandler : EventHandler {
    void OnLibraryLoaded(const char16_t* path) override;
};
#endif

// Static objects of this module (see library_statics.cpp).
extern KeyframeSubscriber g_keyframeSubscriber;
extern LoggingLayerEventHandler g_eventHandler;
extern const UUID* const g_keyframeClassId;

}  // namespace tov::logging_layer
