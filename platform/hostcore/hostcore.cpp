#include "tov/hostcore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace tov::runtime {
namespace {

struct Subscription {
    std::string channel;
    EventPublisher::Subscriber* subscriber;
};

class StandInPublisher final : public EventPublisher {
public:
    int Subscribe(const SubscriptionKey* key, Subscriber* subscriber) override {
        if (key == nullptr || key->channel == nullptr || subscriber == nullptr) return 0;
        for (const Subscription& s : subscriptions)
            if (s.subscriber == subscriber && s.channel == key->channel) return 1;
        subscriptions.push_back({key->channel, subscriber});
        return 1;
    }

    std::vector<Subscription> subscriptions;
};

// Never destroyed: subscribers in other libraries may end after this library's statics.
StandInPublisher& Publisher() {
    static StandInPublisher* publisher = new StandInPublisher();
    return *publisher;
}

}  // namespace

void EventPublisher::Reserved0() {}
void EventPublisher::Reserved1() {}
void EventPublisher::Reserved2() {}
void EventPublisher::Reserved3() {}
int EventPublisher::Subscribe(const SubscriptionKey*, Subscriber*) { return 0; }
EventPublisher::~EventPublisher() = default;

namespace {
void Unsubscribe(EventPublisher::Subscriber* subscriber) {
    auto& subs = Publisher().subscriptions;
    subs.erase(std::remove_if(subs.begin(), subs.end(),
                              [subscriber](const Subscription& s) {
                                  return s.subscriber == subscriber;
                              }),
               subs.end());
}
}  // namespace

#if TOV_HOST_MSVC_LAYOUT
namespace {
// The base's own table, in force while a subscriber's base part is built or torn down.
void* BaseScalarDeletingDestructor(EventPublisher::Subscriber* self, unsigned) {
    tovHostSubscriberDestruct(self);
    return self;
}
void PureOnEvent(EventPublisher::Subscriber*, void*, EventData*) { std::abort(); }
constexpr EventPublisher::SubscriberTable kBaseTable = {&BaseScalarDeletingDestructor,
                                                         &PureOnEvent};

void Deliver(EventPublisher::Subscriber* subscriber, EventData* event) {
    subscriber->table->onEvent(subscriber, nullptr, event);
}
}  // namespace

extern "C" EventPublisher::Subscriber* tovHostSubscriberConstruct(
    EventPublisher::Subscriber* self) {
    self->table = &kBaseTable;
    return self;
}

extern "C" void tovHostSubscriberDestruct(EventPublisher::Subscriber* self) {
    self->table = &kBaseTable;
    Unsubscribe(self);
}

extern "C" EventPublisher* tovHostGetEventPublisher() { return &Publisher(); }
#else
namespace {
void Deliver(EventPublisher::Subscriber* subscriber, EventData* event) {
    subscriber->OnEvent(nullptr, event);
}
}  // namespace

EventPublisher::Subscriber::Subscriber() = default;
EventPublisher::Subscriber::~Subscriber() { Unsubscribe(this); }

EventPublisher* GetEventPublisher() { return &Publisher(); }
#endif

int PublishEvent(const char* channel, EventData* event) {
    // Copy first: a subscriber may subscribe or end while it is being told.
    const std::vector<Subscription> snapshot = Publisher().subscriptions;
    int reached = 0;
    for (const Subscription& s : snapshot) {
        if (s.channel != channel) continue;
        Deliver(s.subscriber, event);
        ++reached;
    }
    return reached;
}

}  // namespace tov::runtime
