// All 4,538 Direct3D and DXGI hooks in verbose mode, once with every pointer null and once with
// objects that are fake objects and every other pointer aimed at zeroed memory. Each call's
// dump must have the shape of the line format, and the whole text is kept as a golden file, so
// that any change in any hook's lines shows up as a diff.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "com_hook_cases.h"
#include "golden.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace tov::comtest {

namespace {

const std::string kFrameBoundary = std::string(20, '#') + "Frame Boundary" + std::string(20, '#');

std::size_t LeadingBlanks(const std::string& line) {
    const std::size_t n = line.find_first_not_of(' ');
    return n == std::string::npos ? line.size() : n;
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool IsName(const std::string& text) {
    if (text.empty()) return false;
    for (char c : text)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
    return true;
}

// The second line of an object: an interface name, behind its id if it has one.
bool IsObjectLine(const std::string& body) {
    const std::string id = "Capture Time ID: 0x";
    if (body.rfind(id, 0) != 0) return IsName(body);
    const std::size_t blank = body.find(' ', id.size());
    if (blank == std::string::npos || blank == id.size()) return false;
    for (std::size_t i = id.size(); i < blank; ++i)
        if (!std::isxdigit(static_cast<unsigned char>(body[i])) || std::isupper(static_cast<unsigned char>(body[i])))
            return false;
    return body[id.size()] != '0' && IsName(body.substr(blank + 1));
}

// A line that holds only a label: an object or an array, whose contents follow; or the label
// of a structure, which ends in ": " (the event text ends in " : ").
bool IsLabelOnly(const std::string& body) {
    if (EndsWith(body, ": ")) return !EndsWith(body, " : ");
    // The one structure that is a union and nothing else: its label line stands alone.
    if (body.find("D3D11_VIDEO_COLOR * ") != std::string::npos) return false;
    return body.find(':') == std::string::npos && !EndsWith(body, " NULLPTR") &&
           !EndsWith(body, " void ptr, can not infer type to print") && !EndsWith(body, " ");
}

// Arrays may be empty; an object and a structure always have contents.
bool IsArrayLabel(const std::string& body) {
    return body.find("*const *") != std::string::npos || body.find("**") != std::string::npos ||
           body.find(" [") != std::string::npos;
}

// Returns what is wrong with one call's dump, or nothing.
std::string CheckDump(const std::string& name, bool isMethod, bool returnsValue, const std::string& text) {
    if (text.empty() || text.back() != '\n') return "does not end with a line feed";
    if (text.find('\r') != std::string::npos) return "holds a carriage return";
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (lines[0] != name) return "first line is not the call's name";
    const bool presents = EndsWith(name, "::Present") || EndsWith(name, "::Present1");
    const bool swapChain = name.rfind("IDXGISwapChain", 0) == 0;
    if ((lines.back() == kFrameBoundary) != (presents && swapChain)) return "frame boundary where it does not belong";
    if (lines.back() == kFrameBoundary) lines.pop_back();

    const bool hasResultLine = lines.size() > 1 && lines.back().rfind("= ", 0) == 0;
    if (hasResultLine != returnsValue) return "result line present iff the method returns a value: violated";
    if (hasResultLine && lines.back().find(" RESULT ") == std::string::npos) return "malformed result line";
    const std::size_t argumentEnd = lines.size() - (hasResultLine ? 1 : 0);
    if (isMethod && (argumentEnd < 2 || lines[1].rfind("    I", 0) != 0 ||
                     !(EndsWith(lines[1], "* self") || EndsWith(lines[1], "* self NULLPTR"))))
        return "second line is not the self line";

    std::size_t previousLevel = 0;
    bool previousOpens = false;       // a label-only line: the next line may go one level deeper
    bool previousIsArray = false;
    bool previousCloses = false;      // nothing may go deeper than this line
    for (std::size_t i = 1; i < argumentEnd; ++i) {
        const std::string& line = lines[i];
        const std::string where = "line " + std::to_string(i + 1) + " \"" + line + "\": ";
        const std::size_t blanks = LeadingBlanks(line);
        const std::string body = line.substr(blanks);
        if (line.rfind("= ", 0) == 0) return where + "a result line before the end";
        if (line == kFrameBoundary) return where + "frame boundary before the end";

        // The null array: " NULLPTR" in column one, right behind its label line.
        if (line == " NULLPTR") {
            if (!previousOpens || !previousIsArray) return where + "column-one NULLPTR not behind an array label";
            previousOpens = previousIsArray = false;
            previousCloses = true;
            continue;
        }
        // The second line of an object: 4*(n+1) blanks, one more, the name.
        if (blanks % 4 == 1) {
            if (!IsObjectLine(body)) return where + "indent is not a multiple of four";
            if (!previousOpens || previousIsArray || blanks != 4 * (previousLevel + 1) + 1)
                return where + "object line not one level under its label";
            previousOpens = previousIsArray = false;
            previousCloses = true;
            continue;
        }
        if (blanks % 4 != 0) return where + "indent is not a multiple of four";
        const std::size_t level = blanks / 4;
        if (level == 0) return where + "argument line at indent 0";
        if (body.empty()) return where + "empty line";

        if (i == 1) {
            if (level != 1) return where + "first argument not at indent 1";
        } else if (previousOpens) {
            if (level > previousLevel + 1) return where + "more than one level under its label";
            if (level <= previousLevel && !previousIsArray) return where + "label with no contents";
        } else if (level > previousLevel) {
            return where + "deeper than a line that opens nothing";
        }
        if (previousCloses && level > previousLevel) return where + "deeper than a closed line";

        previousLevel = level;
        previousOpens = IsLabelOnly(body);
        previousIsArray = previousOpens && IsArrayLabel(body);
        previousCloses = false;
    }
    if (previousOpens && !previousIsArray) return "label with no contents at the end";
    return "";
}

std::string SweepAll(ArgMode mode) {
    testhost::Layer layer;
    EXPECT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable({{u"verbose", u"1"}});
    std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
    for (const HookCase& c : ComHookCases()) nexts[c.slot] = c.fake;
    layer.RouteAll(nexts);

    std::string all;
    for (const HookCase& c : ComHookCases()) {
        FakeCalls().clear();
        g_argMode = mode == ArgMode::Null && TakesFixedArray(c.name) ? ArgMode::Zeroed : mode;
        std::string text;
        {
            testhost::StdoutCapture out;
            c.call(layer.hook(c.slot));
            text = out.str();
            EXPECT_EQ(out.faults(), "") << c.name;
        }
        EXPECT_EQ(FakeCalls().size(), 1u) << c.name;
        const bool isMethod = c.slot >= logging_layer::slots::IUnknown_QueryInterface;
        EXPECT_EQ(CheckDump(c.name, isMethod, c.returnsValue, text), "") << c.name << "\n" << text;
        all += text;
    }
    g_argMode = ArgMode::Unique;
    return all;
}

TEST(ComSweep, EveryHookWithNullArguments) {
    test::ExpectGolden("sweep_null.txt", SweepAll(ArgMode::Null));
}

TEST(ComSweep, EveryHookWithObjectsAndPointersIntoZeroedMemory) {
    test::ExpectGolden("sweep_zeroed.txt", SweepAll(ArgMode::Zeroed));
}

// The checker itself must refuse the faults it is there to catch.
TEST(ComSweep, CheckerRefusesMalformedDumps) {
    struct Row {
        const char* text;
        bool returnsValue;
        bool good;
    };
    const std::string self = "I::F\n    I* self\n         I\n";
    const Row rows[] = {
        {"    UINT a: 1\n= HRESULT RESULT : 0\n", true, true},
        {"    UINT a: 1\n", true, false},                                   // result missing
        {"= HRESULT RESULT : 0\n", false, false},                            // result not expected
        {"   UINT a: 1\n", false, false},                                   // three blanks
        {"    const S * p\n            UINT a: 1\n", false, false},         // two levels deeper
        {"    const S * p\n    UINT a: 1\n", false, false},                 // empty structure
        {"    UINT a: 1\n        UINT b: 1\n", false, false},               // deeper under a leaf
        {"    J * p\n         Capture Time ID: 0x2b J\n", false, true},
        {"    J * p\n         Capture Time ID: 0x2B J\n", false, false},  // upper-case digits
        {"    J * p\n         Capture Time ID: 0x02b J\n", false, false}, // leading zero
        {"    J * p\n     J\n", false, false},                              // object line too shallow
        {"    J * p\n    UINT a: 1\n", false, false},                       // object without its line
        {"    J ** pp\n        [0] Capture Time ID: 0x2b J\n        [1]  NULLPTR\n", false, true},
        {"    J ** pp\n NULLPTR\n", false, true},
        {"    J ** pp\n", false, true},                                     // empty array
        {"    const S * p\n NULLPTR\n", false, false},                      // not an array
        {"    UINT a: 1", false, false},                                    // no line feed
        {"= HRESULT RESULT : 0\n" "####################Frame Boundary####################\n", true, false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(CheckDump("I::F", true, row.returnsValue, self + row.text).empty(), row.good) << row.text;
    EXPECT_FALSE(CheckDump("I::F", true, false, "I::F\n    UINT a: 1\n").empty()) << "self line missing";
    EXPECT_TRUE(CheckDump("IDXGISwapChain1::Present1", true, true,
                          "IDXGISwapChain1::Present1\n    IDXGISwapChain1* self\n         IDXGISwapChain1\n"
                          "= HRESULT RESULT : 0\n" + kFrameBoundary + "\n")
                    .empty());
    EXPECT_FALSE(CheckDump("IDXGISwapChain1::Present1", true, true,
                           "IDXGISwapChain1::Present1\n    IDXGISwapChain1* self\n         IDXGISwapChain1\n"
                           "= HRESULT RESULT : 0\n")
                     .empty())
        << "boundary missing";
}

}  // namespace
}  // namespace tov::comtest
