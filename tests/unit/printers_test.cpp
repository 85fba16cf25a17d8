// The leaf printers and templates of the printing core, each case one exact piece of text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>

#include "golden.h"
#include "printers.h"
#include "testhost.h"

using namespace tov::printing;

namespace {

struct Case {
    const char* what;
    std::function<void(std::ostream&)> print;
    const char* expected;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.what; }

// Every case is also held to the line discipline: one insertion and one flush per line.
std::string Render(const Case& c) {
    tov::testhost::LineCheckingBuffer buffer;
    std::ostream os(&buffer);
    c.print(os);
    EXPECT_EQ(buffer.faults(), "") << c.what;
    return buffer.str();
}

template <typename T>
const void* Ptr(T value) {
    static thread_local unsigned char storage[16];
    std::memcpy(storage, &value, sizeof value);
    return storage;
}

const EnumRow kDemoEnum[] = {
    {0, "DEMO_ZERO, "},
    {1, "DEMO_ONE, "},
    {1, "DEMO_ONE_ALIAS, "},
    {-1, "DEMO_MINUS_ONE, "},
    {4, "DEMO_FOUR, "},
    {2147483647, "DEMO_MAX_ENUM, "},
};

void Print_Demo(const void* v, Label label, std::ostream& os, std::uint64_t indent) {
    PrintEnum(v, kDemoEnum, label, os, indent);
}

struct Pair {
    std::uint32_t a;
    float b;
};
void Print_Pair(const Pair* p, Label label, std::ostream& os, std::uint64_t indent) {
    WriteLabelLine(std::move(label), os, indent);
    Print_uint32_t(&p->a, "uint32_t a", os, indent + 1);
    Print_float(&p->b, "float b", os, indent + 1);
}

const Case kCases[] = {
    // numbers: no sign for unsigned, sign kept for signed, never hexadecimal
    {"u32 max", [](auto& os) { Print_uint32_t(Ptr(4294967295u), "uint32_t x", os, 1); },
     "    uint32_t x: 4294967295\n"},
    {"u32 zero", [](auto& os) { Print_uint32_t(Ptr(0u), "uint32_t x", os, 0); }, "uint32_t x: 0\n"},
    {"u64 max",
     [](auto& os) { Print_uint64_t(Ptr(std::numeric_limits<std::uint64_t>::max()), "uint64_t v", os, 0); },
     "uint64_t v: 18446744073709551615\n"},
    {"i32 min", [](auto& os) { Print_int32_t(Ptr(std::int32_t(-2147483647 - 1)), "int32_t o", os, 0); },
     "int32_t o: -2147483648\n"},
    {"i32 -5", [](auto& os) { Print_int32_t(Ptr(-5), "int32_t vertexOffset", os, 1); },
     "    int32_t vertexOffset: -5\n"},
    {"hresult failure", [](auto& os) { Print_HRESULT(Ptr(std::int32_t(0x80070057)), "= HRESULT RESULT ", os, 0); },
     "= HRESULT RESULT : -2147024809\n"},
    {"BOOL false", [](auto& os) { Print_BOOL(Ptr(0), "BOOL Windowed", os, 0); }, "BOOL Windowed: False\n"},
    {"BOOL high bit", [](auto& os) { Print_BOOL(Ptr(0x80000000u), "BOOL Windowed", os, 0); },
     "BOOL Windowed: True\n"},
    // floats through printf's %f, never cut
    {"float", [](auto& os) { Print_float(Ptr(1.5f), "float x", os, 0); }, "float x: 1.500000\n"},
    {"float max", [](auto& os) { Print_float(Ptr(3.4028235e38f), "float m", os, 0); },
     "float m: 340282346638528859811704183484516925440.000000\n"},
    {"float -0", [](auto& os) { Print_float(Ptr(-0.0f), "float z", os, 0); }, "float z: -0.000000\n"},
    {"nyi", [](auto& os) { Print_NYI(nullptr, "uint16_t lineStipplePattern", os, 1); },
     "    uint16_t lineStipplePattern: IS NYI\n"},
    {"voidptr", [](auto& os) { Print_voidptr(nullptr, "const void * pNext", os, 2); },
     "        const void * pNext void ptr, can not infer type to print\n"},
    {"text", [](auto& os) { Print_text("Frame 12", 9, "void* pData", os, 1); },
     "    void* pData : Frame 12\n"},
    {"text empty", [](auto& os) { Print_text("", 0, "void* pData", os, 1); }, "    void* pData : \n"},
    {"long label", [](auto& os) { Print_uint32_t(Ptr(3u), std::string(40, 'L'), os, 0); },
     "LLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLLL: 3\n"},
    // pointers share the pointee's line
    {"ptr null", [](auto& os) { PrintPtr_uint32_t(nullptr, "uint32_t * pCount", os, 0); },
     "uint32_t * pCount NULLPTR\n"},
    {"ptr value",
     [](auto& os) { std::uint32_t v = 3; PrintPtr_uint32_t(&v, "uint32_t * pPropertyCount", os, 0); },
     "uint32_t * pPropertyCount: 3\n"},
    {"ptr nyi", [](auto& os) { int x; PrintPtr_NYI(&x, "VkInstance * pInstance", os, 0); },
     "VkInstance * pInstance: IS NYI\n"},
    {"ptr to struct then sibling",
     [](auto& os) {
         Pair p{7, 0.5f};
         PrintPtr<Print_Pair>(&p, "const Pair * pPair", os, 1);
         Print_uint32_t(Ptr(1u), "uint32_t next", os, 1);
     },
     "    const Pair * pPair\n        uint32_t a: 7\n        float b: 0.500000\n    uint32_t next: 1\n"},
    // handles: two lines when set, never the value
    {"handle set", [](auto& os) { Print_handle(reinterpret_cast<void*>(0x1234), "VkBuffer buffer", os, 2); },
     "        VkBuffer buffer\n             : IS NYI\n"},
    {"handle null", [](auto& os) { Print_handle(static_cast<void*>(nullptr), "VkFence fence", os, 2); },
     "        VkFence fence NULLPTR\n"},
    // arrays of pointers
    {"ptr array",
     [](auto& os) {
         std::uint32_t a = 128, c = 64;
         const std::uint32_t* arr[] = {&a, nullptr, &c};
         PrintPtrArray<PrintPtr_uint32_t>(arr, 3, "const uint32_t *const * ppMaxPrimitiveCounts", os, 1);
     },
     "    const uint32_t *const * ppMaxPrimitiveCounts\n        [0]: 128\n        [1] NULLPTR\n        [2]: 64\n"},
    {"ptr array null at indent 3",
     [](auto& os) {
         PrintPtrArray<PrintPtr_uint32_t>(static_cast<const std::uint32_t* const*>(nullptr), 2, "L", os, 3);
     },
     "            L\n NULLPTR\n"},
    {"ptr array count 0",
     [](auto& os) {
         std::uint32_t a = 1;
         const std::uint32_t* arr[] = {&a};
         PrintPtrArray<PrintPtr_uint32_t>(arr, 0, "L", os, 1);
     },
     "    L\n"},
    {"ptr array of 12 labels",
     [](auto& os) {
         std::uint32_t v = 0;
         const std::uint32_t* arr[12];
         for (auto& p : arr) p = &v;
         PrintPtrArray<PrintPtr_uint32_t>(arr, 12, "L", os, 0);
     },
     "L\n    [0]: 0\n    [1]: 0\n    [2]: 0\n    [3]: 0\n    [4]: 0\n    [5]: 0\n    [6]: 0\n"
     "    [7]: 0\n    [8]: 0\n    [9]: 0\n    [10]: 0\n    [11]: 0\n"},
    // enum arrays: two blanks behind the bracket
    {"enum array",
     [](auto& os) {
         const std::int32_t ops[2] = {0, 4};
         PrintArray<Print_Demo>(ops, 2, "const Demo [2] combinerOps", os, 1);
     },
     "    const Demo [2] combinerOps\n        [0]  DEMO_ZERO, \n        [1]  DEMO_FOUR, \n"},
    // flat arrays: the stream's default number format
    {"float array",
     [](auto& os) {
         const float c[4] = {0.5f, 0.25f, 1e6f, 1.0f};
         PrintArray_float(c, 4, "const FLOAT [4] ColorRGBA", os, 1);
     },
     "    const FLOAT [4] ColorRGBA: [ 0.5, 0.25, 1e+06, 1, ]\n"},
    {"float array empty", [](auto& os) { PrintArray_float(nullptr, 0, "const float [4] c", os, 0); },
     "const float [4] c: [ ]\n"},
    {"uint array",
     [](auto& os) {
         const std::uint32_t v[4] = {1, 2, 3, 4};
         PrintArray_UINT(v, 4, "const UINT [4] Values", os, 1);
     },
     "    const UINT [4] Values: [ 1, 2, 3, 4, ]\n"},
    // enums: every matching row, in table order, no number for unknown values
    {"enum aliases", [](auto& os) { Print_Demo(Ptr(1), "= Demo RESULT ", os, 0); },
     "= Demo RESULT  DEMO_ONE, DEMO_ONE_ALIAS, \n"},
    {"enum zero row", [](auto& os) { Print_Demo(Ptr(0), "Demo d", os, 1); }, "    Demo d DEMO_ZERO, \n"},
    {"enum unknown", [](auto& os) { Print_Demo(Ptr(7), "Demo d", os, 1); }, "    Demo d \n"},
    {"enum bits are not split", [](auto& os) { Print_Demo(Ptr(5), "Demo d", os, 0); }, "Demo d \n"},
    {"enum negative", [](auto& os) { Print_Demo(Ptr(-1), "Demo d", os, 0); }, "Demo d DEMO_MINUS_ONE, \n"},
    {"enum max", [](auto& os) { Print_Demo(Ptr(2147483647), "Demo d", os, 0); },
     "Demo d DEMO_MAX_ENUM, \n"},
};

class PrinterCase : public testing::TestWithParam<Case> {};

TEST_P(PrinterCase, WritesExactText) { EXPECT_EQ(Render(GetParam()), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(Printers, PrinterCase, testing::ValuesIn(kCases),
                         [](const auto& info) {
                             std::string name;
                             for (const char* p = info.param.what; *p; ++p)
                                 name += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
                             return name;
                         });

TEST(Printers, NeverChangeTheStreamsFormat) {
    std::ostringstream os;
    os << std::hex;
    Print_uint32_t(Ptr(255u), "uint32_t x", os, 0);
    Print_int32_t(Ptr(-5), "int32_t y", os, 0);
    EXPECT_EQ(os.str(), "uint32_t x: 255\nint32_t y: -5\n");
    EXPECT_TRUE(os.flags() & std::ios::hex);
}

// Labels keep short text in themselves and take the heap beyond; the text must come out whole on
// either side of that edge, whether the label is copied by a pointer printer, moved on, or grown
// by a suffix across the edge.
TEST(Printers, LabelsOfAnyLengthComeOutWhole) {
    for (const std::size_t n : {1, 103, 104, 105, 300}) {
        const std::string text(n, 'L');
        std::ostringstream os;
        const std::uint32_t v = 3;
        PrintPtr_uint32_t(&v, text, os, 1);
        WriteLabelLine(Label(text) + ": ", os, 0);
        Label moved(text);
        WriteLabelLine(std::move(moved), os, 2);
        EXPECT_EQ(os.str(), "    " + text + ": 3\n" + text + ": \n" + "        " + text + "\n")
            << n;
    }
    std::ostringstream os;
    WriteLabelLine(IndexLabel(18446744073709551615u, true), os, 0);
    WriteLabelLine(IndexLabel(0, false), os, 0);
    EXPECT_EQ(os.str(), "[18446744073709551615] \n[0]\n");
}

// The capture must refuse the faults it is there to catch.
TEST(Printers, LineCheckRefusesLinesNotWrittenWhole) {
    struct Row {
        const char* what;
        std::function<void(std::ostream&)> write;
        bool good;
    };
    const Row rows[] = {
        {"whole lines", [](std::ostream& os) { os.write("a\n", 2).flush().write("b\n", 2).flush(); },
         true},
        {"no flush", [](std::ostream& os) { os << "a\n"; }, false},
        {"in pieces", [](std::ostream& os) { os << "a" << '\n' << std::flush; }, false},
        {"two lines, one flush", [](std::ostream& os) { os.write("a\nb\n", 4).flush(); }, false},
        {"no line feed", [](std::ostream& os) { os.write("a", 1).flush(); }, false},
        {"flush alone", [](std::ostream& os) { os.flush(); }, false},
    };
    for (const Row& row : rows) {
        tov::testhost::LineCheckingBuffer buffer;
        std::ostream os(&buffer);
        row.write(os);
        EXPECT_EQ(buffer.faults().empty(), row.good) << row.what;
    }
}

// A failed write of the layer leaves the stream as the program had it, and the next line goes out.
TEST(Printers, LeaveTheStreamsStateAsTheyFoundIt) {
    struct Failing : std::stringbuf {
        int failures = 1;
        std::streamsize xsputn(const char* s, std::streamsize n) override {
            if (failures > 0) return --failures, 0;
            return std::stringbuf::xsputn(s, n);
        }
    };
    for (const std::ios::iostate before : {std::ios::goodbit, std::ios::failbit}) {
        for (const std::ios::iostate mask : {std::ios::goodbit, std::ios::badbit}) {
            Failing buf;
            std::ostream os(&buf);
            os.exceptions(mask);
            os.setstate(before);
            EXPECT_NO_THROW(Print_uint32_t(Ptr(1u), "uint32_t lost", os, 0));
            EXPECT_NO_THROW(Print_uint32_t(Ptr(2u), "uint32_t kept", os, 0));
            EXPECT_EQ(buf.str(), "uint32_t kept: 2\n");
            EXPECT_EQ(os.rdstate(), before);
            EXPECT_EQ(os.exceptions(), mask);
        }
    }
}

// --- wide text ---------------------------------------------------------------------------------

TEST(WideText, ConvertsEachUnitOnItsOwn) {
    const char16_t text[] = {0x41, 0xE9, 0x20AC, 0xD800, 0xD83D, 0xDE00, 0};
    EXPECT_EQ(WideToUtf8(text), "\x41\xC3\xA9\xE2\x82\xAC\xED\xA0\x80\xED\xA0\xBD\xED\xB8\x80");
    EXPECT_EQ(WideToUtf8(u""), "");
}

TEST(WideText, BoundedCopyCutsAndTerminates) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(WideToUtf8Bounded(u"abc", buffer, 0), -1);
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(WideToUtf8Bounded(u"abc", buffer, 1), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(WideToUtf8Bounded(u"abcdefghij", buffer, sizeof buffer), 7);
    EXPECT_STREQ(buffer, "abcdefg");
    // The cut counts bytes and may fall inside a multi-byte sequence.
    EXPECT_EQ(WideToUtf8Bounded(u"\u20AC\u20AC\u20AC", buffer, 5), 4);
    EXPECT_EQ(std::string(buffer), "\xE2\x82\xAC\xE2");
}

TEST(EventText, DecodesEachMetadataKind) {
    EXPECT_EQ(DecodeEventText(0, u"Frame 12", 18), "Frame 12");
    EXPECT_EQ(DecodeEventText(1, "narrow", 7), "narrow");
    EXPECT_EQ(DecodeEventText(7, "narrow", 7), "narrow");
    for (std::uint32_t metadata : {0u, 1u, 2u, 9u}) EXPECT_EQ(DecodeEventText(metadata, nullptr, 0), "");

    // A packed record: bit 54 of the word at offset 16 says the text from offset 24 is narrow.
    unsigned char record[64] = {};
    std::uint64_t word = std::uint64_t{1} << 54;
    std::memcpy(record + 16, &word, 8);
    std::memcpy(record + 24, "Pass A", 7);
    EXPECT_EQ(DecodeEventText(2, record, sizeof record), "Pass A");
    word = 0;
    std::memcpy(record + 16, &word, 8);
    std::memcpy(record + 24, u"W\u00e9", 6);
    EXPECT_EQ(DecodeEventText(2, record, sizeof record), "W\xC3\xA9");
}

}  // namespace
