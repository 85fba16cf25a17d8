// The layer with a host runtime built with the MSVC C++ ABI (msvc_hostcore.cpp): loading it
// builds the subscriber through the host's decorated constructor, tovGetDispatchTable subscribes
// it, the host's virtual calls reach the banners and the library report, and unloading ends in
// the host's base destructor, which drops the subscription.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "dispatch_table.h"
#include "testhost.h"
#include "tov/journal.h"

namespace {

template <typename F>
F Find(HMODULE module, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

void CollectMessage(void* context, int, int, int, const char*, const char* message) {
    static_cast<std::vector<std::string>*>(context)->push_back(message);
}

TEST(MsvcHost, LayerSubscribesHearsTheHostAndUnsubscribesAtUnload) {
    // The program's folder holds this host's hostcore-x64.dll, which the layer then imports.
    HMODULE host = LoadLibraryA("hostcore-x64.dll");
    ASSERT_NE(host, nullptr);
    const auto subscriptions = Find<int (*)()>(host, "tovTestSubscriptions");
    const auto constructed = Find<int (*)()>(host, "tovTestSubscribersConstructed");
    const auto destroyed = Find<int (*)()>(host, "tovTestSubscribersDestroyed");
    const auto channel = Find<const char* (*)(int, std::uint64_t*)>(host, "tovTestChannel");
    const auto publish = Find<int (*)(std::uint32_t)>(host, "tovTestPublishKeyframe");
    const auto report =
        Find<void (*)(EventHandler*, const char16_t*)>(host, "tovTestReportLibraryLoaded");
    ASSERT_TRUE(subscriptions && constructed && destroyed && channel && publish && report);

    HMODULE layer = LoadLibraryA("logging_layer-x64.dll");
    ASSERT_NE(layer, nullptr) << "error " << GetLastError();
    tov::testhost::RouteStdoutToCaptures(layer);
    EXPECT_EQ(constructed(), 1) << "the static subscriber runs the host's base constructor";
    EXPECT_EQ(subscriptions(), 0) << "nothing is subscribed before tovGetDispatchTable";

    const auto getDispatchTable = Find<PFN_tovGetDispatchTable>(layer, "tovGetDispatchTable");
    ASSERT_NE(getDispatchTable, nullptr);
    LayerDispatchTable* table = getDispatchTable(0, nullptr);
    ASSERT_EQ(subscriptions(), 1);
    std::uint64_t reserved = 1;
    EXPECT_STREQ(channel(0, &reserved), "keyframe");
    EXPECT_EQ(reserved, 0u);

    std::vector<std::string> messages;
    JournalSetSink(&CollectMessage, &messages);
    {
        tov::testhost::StdoutCapture out;
        for (std::uint32_t kind : {1u, 2u, 3u}) EXPECT_EQ(publish(kind), 1);
        EXPECT_EQ(out.str(),
                  "===================Keyframe Applied===================\n"
                  "===================Deferred Initialization Ends===================\n");
        EXPECT_EQ(out.faults(), "");
    }
    report(table->eventHandler, u"C:\\Spiele\\d3d12.dll");
    JournalSetSink(nullptr, nullptr);
    EXPECT_EQ(messages, std::vector<std::string>{"Library loaded: C:\\Spiele\\d3d12.dll"});

    ASSERT_TRUE(FreeLibrary(layer));
    EXPECT_EQ(destroyed(), 1) << "the subscriber ends in the host's base destructor";
    EXPECT_EQ(subscriptions(), 0);
    EXPECT_EQ(publish(1), 0);
    FreeLibrary(host);
}

}  // namespace
