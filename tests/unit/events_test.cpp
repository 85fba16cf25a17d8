// The event class machinery, the banners and the library report, and the uuid parser the class
// id goes through.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "capture.h"
#include "events.h"
#include "printers.h"
#include "testhost.h"

using namespace tov;

namespace {

TEST(EventClasses, KeyframeClassHasNilIdAndItsName) {
    const common::KeyframeAppliedEvent event;
    const UUID nil = {};
    ASSERT_NE(event.GetClassId(), nullptr);
    EXPECT_EQ(std::memcmp(event.GetClassId(), &nil, sizeof nil), 0);
    EXPECT_STREQ(event.GetClassName(), "KeyframeAppliedEvent");
    EXPECT_EQ(event.GetClass(), common::KeyframeAppliedEvent::ClassObject());
    EXPECT_EQ(event.kind, 0u);
    // Hosts make these objects: the kind sits in the 32 bits at byte offset 8.
    EXPECT_EQ(reinterpret_cast<const char*>(&event.kind) - reinterpret_cast<const char*>(&event), 8);
    EXPECT_EQ(sizeof event, 16u);
    EXPECT_EQ(event.Reserved6() + event.Reserved7() + event.Reserved8(), 0u);
}

TEST(EventClasses, AClassIsLinkedOnceByIdContent) {
    runtime::EventData::Class* const head = runtime::EventClassList;
    ASSERT_EQ(head, common::KeyframeAppliedEvent::ClassObject());
    EXPECT_EQ(head->nextClass, nullptr);

    // Same 16 bytes, other storage: not linked, the list stays as it was.
    const UUID sameId = {};
    runtime::EventData::ClassDef<common::KeyframeAppliedEvent> twin(&sameId, "Twin");
    EXPECT_EQ(runtime::EventClassList, head);

    const UUID otherId = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    runtime::EventData::ClassDef<common::KeyframeAppliedEvent> other(&otherId, "Other");
    EXPECT_EQ(runtime::EventClassList, &other);
    EXPECT_EQ(other.nextClass, head);
    runtime::EventData* made = other.Create();
    EXPECT_EQ(static_cast<common::KeyframeAppliedEvent*>(made)->kind, 0u);
    delete made;
    runtime::EventClassList = head;  // leave the list as this process found it
}

TEST(Uuid, ParsesOnlyTheStringForm) {
    UUID id;
    const auto parse = [&](const char* text) {
        std::memset(&id, 0xAB, sizeof id);
        return UuidFromStringA(reinterpret_cast<const unsigned char*>(text), &id);
    };
    EXPECT_EQ(parse("374D3F62-2ACE-4DF6-B605-9A62B2EA793A"), RPC_S_OK);
    EXPECT_EQ(id.Data1, 0x374D3F62u);
    EXPECT_EQ(id.Data2, 0x2ACEu);
    EXPECT_EQ(id.Data3, 0x4DF6u);
    const std::uint8_t tail[8] = {0xB6, 0x05, 0x9A, 0x62, 0xB2, 0xEA, 0x79, 0x3A};
    EXPECT_EQ(std::memcmp(id.Data4, tail, 8), 0);

    for (const char* bad : {"\"083728c2-1227-44a9-b27e-29b9ebfb9ae64\"", "083728c2-1227-44a9-b27e-29b9ebfb9ae64",
                            "083728c2-1227-44a9-b27e-29b9ebfb9ae", "083728c2+1227-44a9-b27e-29b9ebfb9ae6",
                            "g83728c2-1227-44a9-b27e-29b9ebfb9ae6", ""}) {
        EXPECT_EQ(parse(bad), RPC_S_INVALID_STRING_UUID) << bad;
        EXPECT_EQ(id.Data1, 0xABABABABu) << "a rejected text leaves the uuid alone";
    }
    EXPECT_EQ(UuidFromStringA(nullptr, &id), RPC_S_OK);
    EXPECT_EQ(id.Data1, 0u);
}

TEST(LibraryReport, GoesToTheLoggerAsUtf8CutAt16383Bytes) {
    test::StdoutCapture out;
    testhost::LoggerCapture log;
    logging_layer::LoggingLayerEventHandler handler;
    handler.OnLibraryLoaded(u"C:\\Spiele\\Grafik\u00fc\\d3d12.dll");
    const std::u16string longPath(20000, u'a');
    handler.OnLibraryLoaded(longPath.c_str());
    ASSERT_EQ(log.calls.size(), 2u);
    EXPECT_EQ(log.calls[0].level, 2);
    EXPECT_EQ(log.calls[0].category, 1);
    EXPECT_EQ(log.calls[0].flags, 0);
    EXPECT_EQ(log.calls[0].format, "Library loaded: %s");
    EXPECT_EQ(log.calls[0].message, "Library loaded: C:\\Spiele\\Grafik\xC3\xBC\\d3d12.dll");
    EXPECT_EQ(log.calls[1].message, "Library loaded: " + std::string(16383, 'a'));
    EXPECT_EQ(out.str(), "");
}

}  // namespace
