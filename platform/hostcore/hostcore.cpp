#include "tov/hostcore.h"

#include <algorithm>
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

EventPublisher::Subscriber::Subscriber() = default;

EventPublisher::Subscriber::~Subscriber() {
    auto& subs = Publisher().subscriptions;
    subs.erase(std::remove_if(subs.begin(), subs.end(),
                              [this](const Subscription& s) { return s.subscriber == this; }),
               subs.end());
}

EventPublisher* GetEventPublisher() { return &Publisher(); }

int PublishEvent(const char* channel, EventData* event) {
    // Copy first: a subscriber may subscribe or end while it is being told.
    const std::vector<Subscription> snapshot = Publisher().subscriptions;
    int reached = 0;
    for (const Subscription& s : snapshot) {
        if (s.channel != channel) continue;
        s.subscriber->OnEvent(nullptr, event);
        ++reached;
    }
    return reached;
}

}  // namespace tov::runtime
