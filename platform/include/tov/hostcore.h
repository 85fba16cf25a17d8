// The host framework's runtime, as the layer sees it: an event publisher with named channels
// and the subscriber base class. On Windows this is hostcore-x64.dll; libhostcore.so is the
// Linux stand-in with the same shape.
#pragma once

#include <cstdint>

#define TOV_HOSTCORE_API __attribute__((visibility("default")))

namespace tov::runtime {

class EventData;

class TOV_HOSTCORE_API EventPublisher {
public:
    // A subscription names a channel; the second word belongs to the publisher.
    struct SubscriptionKey {
        const char* channel;
        std::uint64_t reserved;
    };

    class TOV_HOSTCORE_API Subscriber {
    public:
        Subscriber();
        // Ends every subscription of this object, so a publisher never calls a dead subscriber.
        virtual ~Subscriber();
        virtual void OnEvent(void* source, EventData* event) = 0;
    };

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

TOV_HOSTCORE_API EventPublisher* GetEventPublisher();

// Stand-in for the host's own side: deliver an event to every subscriber of a channel, in the
// order they subscribed. Returns the number of subscribers reached.
TOV_HOSTCORE_API int PublishEvent(const char* channel, EventData* event);

}  // namespace tov::runtime
