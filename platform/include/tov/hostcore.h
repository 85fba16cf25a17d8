// The host framework's runtime, as the layer sees it: an event publisher with named channels
// and the subscriber base class. On Windows this is hostcore-x64.dll; libhostcore.so is the
// Linux stand-in with the same shape.
#pragma once

#include <stdint.h>

#if defined(_WIN32)
#ifdef TOV_BUILDING_HOSTCORE
#define TOV_HOSTCORE_API __declspec(dllexport)
#else
#define TOV_HOSTCORE_API
#endif
#else
#define TOV_HOSTCORE_API __attribute__((visibility("default")))
#endif

// The real host is built with MSVC. Where another compiler builds for Windows, the subscriber
// is spelled out as MSVC lays it out (see below); MSVC itself, and every compiler on Linux, use
// the class as declared.
#if defined(_WIN32) && !defined(_MSC_VER)
#define TOV_HOST_MSVC_LAYOUT 1
#else
#define TOV_HOST_MSVC_LAYOUT 0
#endif

namespace tov::runtime {

class EventData;

class TOV_HOSTCORE_API EventPublisher {
public:
    // A subscription names a channel; the second word belongs to the publisher.
    struct SubscriptionKey {
        const char* channel;
        uint64_t reserved;
    };

#if TOV_HOST_MSVC_LAYOUT
    // MSVC gives a virtual destructor one slot, the scalar deleting destructor (flags bit 0:
    // free the object too), so OnEvent is in slot 1. g++ would give the destructor two slots.
    struct Subscriber;
    struct SubscriberTable {
        void* (*scalarDeletingDestructor)(Subscriber* self, unsigned flags);
        void (*onEvent)(Subscriber* self, void* source, EventData* event);
    };
    struct Subscriber {
        const SubscriberTable* table;
    };
#else
    class TOV_HOSTCORE_API Subscriber {
    public:
        Subscriber();
        // Ends every subscription of this object, so a publisher never calls a dead subscriber.
        virtual ~Subscriber();
        virtual void OnEvent(void* source, EventData* event) = 0;
    };
#endif

    // The first four operations are the publisher's own; subscribers use only Subscribe.
    virtual void Reserved0();
    virtual void Reserved1();
    virtual void Reserved2();
    virtual void Reserved3();
    // Subscribing the same object to the same channel twice keeps one subscription.
    virtual int Subscribe(const SubscriptionKey* key, Subscriber* subscriber);

protected:
    virtual ~EventPublisher();
};

#if TOV_HOST_MSVC_LAYOUT
// hostcore-x64.dll exports these under their MSVC-decorated names; hostcore-x64.def gives each
// decorated name this plain one for code built by other compilers.
extern "C" {
// ?GetEventPublisher@runtime@tov@@YAPEAVEventPublisher@12@XZ
EventPublisher* tovHostGetEventPublisher();
// ??0Subscriber@EventPublisher@runtime@tov@@QEAA@XZ: sets the base table, returns self
EventPublisher::Subscriber* tovHostSubscriberConstruct(EventPublisher::Subscriber* self);
// ??1Subscriber@EventPublisher@runtime@tov@@UEAA@XZ: the base destructor
void tovHostSubscriberDestruct(EventPublisher::Subscriber* self);
}
inline EventPublisher* GetEventPublisher() { return tovHostGetEventPublisher(); }
#else
TOV_HOSTCORE_API EventPublisher* GetEventPublisher();
#endif

// Stand-in for the host's own side: deliver an event to every subscriber of a channel, in the
// order they subscribed. Returns the number of subscribers reached.
TOV_HOSTCORE_API int PublishEvent(const char* channel, EventData* event);

}  // namespace tov::runtime
