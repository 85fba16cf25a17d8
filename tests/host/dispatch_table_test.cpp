// tovGetDispatchTable as a host sees it: the record, the parameters, repeated calls, the help
// text and the host's events.
#include <gtest/gtest.h>

#include <cstring>

#include "capture.h"
#include "slot_catalogue.h"
#include "testhost.h"
#include "vulkan_api.h"

using namespace tov;
using testhost::LoggerCapture;
using test::StdoutCapture;

namespace {

constexpr std::size_t kVulkanSlots = 435;

VkResult VKAPI_CALL FakeDeviceWaitIdle(VkDevice) { return VK_SUCCESS; }

// Whether the layer is in verbose mode, told by what one routed hook does.
bool HookIsVerbose(testhost::Layer& layer) {
    const auto slot = logging_layer::slots::vkDeviceWaitIdle;
    layer.Route(slot, reinterpret_cast<void*>(&FakeDeviceWaitIdle));
    LoggerCapture log;
    StdoutCapture out;
    reinterpret_cast<PFN_vkDeviceWaitIdle>(layer.hook(slot))(nullptr);
    EXPECT_NE(log.calls.empty(), out.str().empty()) << "exactly one sink is used";
    return !out.str().empty();
}

TEST(DispatchTable, RecordAfterTheFirstCall) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    LoggerCapture log;
    LayerDispatchTable* table = layer.GetDispatchTable();
    EXPECT_TRUE(log.calls.empty());
    EXPECT_STREQ(table->name, "Logging Layer");
    for (std::size_t i = std::strlen("Logging Layer"); i < logging_layer::kNameSize; ++i)
        EXPECT_EQ(table->name[i], 0) << i;
    EXPECT_NE(table->eventHandler, nullptr);
    for (std::uint64_t word : table->reservedHost) EXPECT_EQ(word, 0u);
    for (std::uint64_t word : table->reservedTail) EXPECT_EQ(word, 0u);
    for (std::size_t slot = 0; slot < kVulkanSlots; ++slot) EXPECT_NE(table->slots[slot], nullptr) << slot;
    for (std::size_t slot = kVulkanSlots; slot < 3744; ++slot) EXPECT_EQ(table->slots[slot], nullptr) << slot;
    EXPECT_FALSE(HookIsVerbose(layer));
}

TEST(DispatchTable, ParametersDecideVerboseAndMessages) {
    struct Row {
        std::vector<testhost::Parameter> parameters;
        bool verbose;
        const char* message;  // null: no message
    };
    const std::u16string longValue(200, u'x');
    const Row rows[] = {
        {{{u"verbose", u"1"}}, true, nullptr},
        {{{u"verbose", u"0"}}, false, "Logging Layer: Unrecognized layer parameter: 0"},
        {{{u"verbose", u""}}, false, "Logging Layer: Unrecognized layer parameter: "},
        {{{u"verbose", u"true"}}, false, "Logging Layer: Unrecognized layer parameter: true"},
        {{{u"verbose", u"01"}}, false, "Logging Layer: Unrecognized layer parameter: 01"},
        {{{u"verbose", u" 1"}}, false, "Logging Layer: Unrecognized layer parameter:  1"},
        {{{u"verbose", u"\u00e9"}}, false, "Logging Layer: Unrecognized layer parameter: \xC3\xA9"},
        {{{u"verbose", u"1"}, {u"verbose", u"0"}}, true, nullptr},
        {{{u"verbose", u"0"}, {u"verbose", u"1"}}, false, "Logging Layer: Unrecognized layer parameter: 0"},
        {{{u"foo", u"bar"}}, false, nullptr},
        {{{u"Verbose", u"1"}}, false, nullptr},
    };
    for (const Row& row : rows) {
        // A fresh load per row: the flag only ever goes from false to true in a process image.
        testhost::Layer layer;
        ASSERT_TRUE(layer.loaded()) << layer.error();
        LoggerCapture log;
        layer.GetDispatchTable(row.parameters);
        const auto calls = log.calls;
        if (row.message == nullptr) {
            EXPECT_TRUE(calls.empty()) << calls.front().message;
        } else {
            ASSERT_EQ(calls.size(), 1u);
            EXPECT_EQ(calls[0].level, 3);
            EXPECT_EQ(calls[0].category, 1);
            EXPECT_EQ(calls[0].flags, 0);
            EXPECT_EQ(calls[0].format, "%s: Unrecognized layer parameter: %s");
            EXPECT_EQ(calls[0].message, row.message);
        }
        EXPECT_EQ(HookIsVerbose(layer), row.verbose) << (row.message ? row.message : "");
    }
}

TEST(DispatchTable, LongValuesAreCutAt99Bytes) {
    testhost::Layer layer;
    LoggerCapture log;
    layer.GetDispatchTable({{u"verbose", std::u16string(200, u'x')}});
    ASSERT_EQ(log.calls.size(), 1u);
    EXPECT_EQ(log.calls[0].message, "Logging Layer: Unrecognized layer parameter: " + std::string(99, 'x'));
}

TEST(DispatchTable, RecordStrideFindsTheFourthRecord) {
    testhost::Layer layer;
    const auto records = testhost::MakeRecords(
        {{u"a", u"1"}, {u"b", u"1"}, {u"c", u"1"}, {u"verbose", u"1"}});
    layer.GetDispatchTable(records.size(), records.data());
    EXPECT_TRUE(HookIsVerbose(layer));
}

TEST(DispatchTable, SecondCallStoresEveryHookAgainAndKeepsVerbose) {
    testhost::Layer layer;
    LayerDispatchTable* first = layer.GetDispatchTable({{u"verbose", u"1"}});
    void* hook0 = first->slots[0];
    first->slots[0] = reinterpret_cast<void*>(&FakeDeviceWaitIdle);
    LayerDispatchTable* second = layer.GetDispatchTable();
    EXPECT_EQ(first, second);
    EXPECT_EQ(second->slots[0], hook0);
    EXPECT_TRUE(HookIsVerbose(layer));
    // Still one subscription after two calls.
    StdoutCapture out;
    EXPECT_EQ(testhost::PublishKeyframe(1), 1);
}

TEST(DispatchTable, ZeroCountDoesNotReadParameters) {
    testhost::Layer layer;
    const LayerParameterRecord* garbage = reinterpret_cast<const LayerParameterRecord*>(0x10);
    LoggerCapture log;
    layer.GetDispatchTable(0, garbage);
    EXPECT_TRUE(log.calls.empty());
}

TEST(HelpText, ThroughTheExportedFunction) {
    testhost::Layer layer;
    const std::u16string plain = layer.GetHelpText(0);
    EXPECT_EQ(plain.substr(0, 15), u"\nLogging Layer\n");
    EXPECT_EQ(std::u16string(layer.GetHelpText(3)), plain);
    EXPECT_EQ(std::u16string(layer.GetHelpText(0xFFFFFFFFu)), plain);
    EXPECT_EQ(std::u16string(layer.GetHelpText(0)), plain);
    EXPECT_EQ(std::u16string(layer.GetHelpText(1)).substr(0, 17), u"\n# Logging Layer\n");
    const char16_t* empty = layer.GetHelpText(2);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty[0], u'\0');
}

TEST(HostEvents, KeyframeBannersOnlyAfterSubscription) {
    testhost::Layer layer;
    StdoutCapture out;
    LoggerCapture log;
    EXPECT_EQ(testhost::PublishKeyframe(1), 0);
    layer.GetDispatchTable();
    EXPECT_EQ(testhost::PublishKeyframe(1), 1);
    testhost::PublishKeyframe(0);
    testhost::PublishKeyframe(3);
    testhost::PublishKeyframe(2);
    EXPECT_EQ(out.str(),
              "===================Keyframe Applied===================\n"
              "===================Deferred Initialization Ends===================\n");
    EXPECT_TRUE(log.calls.empty());
}

TEST(HostEvents, UnloadEndsTheSubscription) {
    {
        testhost::Layer layer;
        layer.GetDispatchTable();
        StdoutCapture out;
        EXPECT_EQ(testhost::PublishKeyframe(1), 1);
    }
    EXPECT_EQ(testhost::PublishKeyframe(1), 0);
}

TEST(HostEvents, LibraryReportInBothModes) {
    for (const auto& parameters : {std::vector<testhost::Parameter>{},
                                   std::vector<testhost::Parameter>{{u"verbose", u"1"}}}) {
        testhost::Layer layer;
        layer.GetDispatchTable(parameters);
        LoggerCapture log;
        StdoutCapture out;
        layer.ReportLibraryLoaded(u"/opt/\u0434\u0440\u0430\u0439\u0432\u0435\u0440/libvulkan.so");
        ASSERT_EQ(log.calls.size(), 1u);
        EXPECT_EQ(log.calls[0].message,
                  "Library loaded: /opt/\xD0\xB4\xD1\x80\xD0\xB0\xD0\xB9\xD0\xB2\xD0\xB5\xD1\x80/libvulkan.so");
        EXPECT_EQ(out.str(), "");
    }
}

}  // namespace
