// hostcore-x64.dll as a host built with MSVC has it, for an independent check of the layer's
// side of the contract: clang compiles it with the MSVC C++ ABI from the declarations that an
// MSVC host compiles (tov/hostcore.h, dispatch_table.h), so the decorated names, the virtual
// tables and the calls through them are MSVC's, not the layer's own spelling of them. There is
// no C or C++ runtime: a fixed table of subscriptions and no allocation.
#include "dispatch_table.h"
#include "tov/hostcore.h"

namespace tov::runtime {
namespace {

struct Subscription {
    char channel[32];
    uint64_t reserved;
    EventPublisher::Subscriber* subscriber;
};
Subscription g_subscriptions[16];
int g_count = 0;
int g_constructed = 0;
int g_destroyed = 0;

bool SameText(const char* a, const char* b) {
    for (; *a == *b; ++a, ++b)
        if (*a == '\0') return true;
    return false;
}

class Publisher final : public EventPublisher {
public:
    constexpr Publisher() = default;
    ~Publisher() override {}
    int Subscribe(const SubscriptionKey* key, Subscriber* subscriber) override {
        if (g_count == 16) return 0;
        Subscription& s = g_subscriptions[g_count++];
        int i = 0;
        for (; i < 31 && key->channel[i] != '\0'; ++i) s.channel[i] = key->channel[i];
        s.channel[i] = '\0';
        s.reserved = key->reserved;
        s.subscriber = subscriber;
        return 1;
    }
};
constinit Publisher g_publisher;

// What a host publishes on the keyframe channel: an event whose kind sits at byte 8.
struct KeyframeEventRecord {
    const void* table;
    uint32_t kind;
    uint32_t reserved;
};

}  // namespace

void EventPublisher::Reserved0() {}
void EventPublisher::Reserved1() {}
void EventPublisher::Reserved2() {}
void EventPublisher::Reserved3() {}
int EventPublisher::Subscribe(const SubscriptionKey*, Subscriber*) { return 0; }
EventPublisher::~EventPublisher() {}

EventPublisher::Subscriber::Subscriber() { ++g_constructed; }

EventPublisher::Subscriber::~Subscriber() {
    ++g_destroyed;
    int kept = 0;
    for (int i = 0; i < g_count; ++i)
        if (g_subscriptions[i].subscriber != this) g_subscriptions[kept++] = g_subscriptions[i];
    g_count = kept;
}

EventPublisher* GetEventPublisher() { return &g_publisher; }

int PublishEvent(const char* channel, EventData* event) {
    int reached = 0;
    for (int i = 0; i < g_count; ++i) {
        if (!SameText(g_subscriptions[i].channel, channel)) continue;
        g_subscriptions[i].subscriber->OnEvent(nullptr, event);
        ++reached;
    }
    return reached;
}

}  // namespace tov::runtime

// What the test asks of this host.
extern "C" {
__declspec(dllexport) int tovTestSubscriptions() { return tov::runtime::g_count; }
__declspec(dllexport) int tovTestSubscribersConstructed() { return tov::runtime::g_constructed; }
__declspec(dllexport) int tovTestSubscribersDestroyed() { return tov::runtime::g_destroyed; }
// The channel and second key word of subscription i.
__declspec(dllexport) const char* tovTestChannel(int i, uint64_t* reserved) {
    *reserved = tov::runtime::g_subscriptions[i].reserved;
    return tov::runtime::g_subscriptions[i].channel;
}
__declspec(dllexport) int tovTestPublishKeyframe(uint32_t kind) {
    tov::runtime::KeyframeEventRecord event = {nullptr, kind, 0};
    return tov::runtime::PublishEvent("keyframe",
                                      reinterpret_cast<tov::runtime::EventData*>(&event));
}
__declspec(dllexport) void tovTestReportLibraryLoaded(EventHandler* handler, const char16_t* path) {
    handler->OnLibraryLoaded(path);
}
}

// What the compiler's code refers to and a runtime would give: this DLL has no entry point, so
// no static object is built or destroyed at run time, and nothing is ever freed.
void operator delete(void*) noexcept {}
void operator delete(void*, unsigned long long) noexcept {}
extern "C" int atexit(void (*)()) { return 0; }
extern "C" int _purecall() { return 0; }
