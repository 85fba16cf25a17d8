// All 435 Vulkan hooks in verbose mode, once with every pointer null and once with every pointer
// aimed at zeroed memory. Each call's dump must have the shape of the line format, and the whole
// text is kept as a golden file, so that any change in any hook's lines shows up as a diff.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "golden.h"
#include "hook_cases.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace tov::test {

namespace {

std::size_t LeadingBlanks(const std::string& line) {
    const std::size_t n = line.find_first_not_of(' ');
    return n == std::string::npos ? line.size() : n;
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// A line that holds only a label: a structure or an array, whose contents follow one level deeper.
bool IsLabelOnly(const std::string& body) {
    return body.find(':') == std::string::npos && !EndsWith(body, " NULLPTR") &&
           !EndsWith(body, " void ptr, can not infer type to print") && !EndsWith(body, " ");
}

// Arrays may be empty; a structure always has contents.
bool IsArrayLabel(const std::string& body) {
    return body.find("*const *") != std::string::npos || body.find(" [") != std::string::npos;
}

// Returns what is wrong with one call's dump, or nothing.
std::string CheckDump(const std::string& name, bool returnsValue, const std::string& text) {
    if (text.empty() || text.back() != '\n') return "does not end with a line feed";
    if (text.find('\r') != std::string::npos) return "holds a carriage return";
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (lines[0] != name) return "first line is not the call's name";

    const bool hasResultLine = lines.size() > 1 && lines.back().rfind("= ", 0) == 0;
    if (hasResultLine != returnsValue) return "result line present iff the function returns a value: violated";
    if (hasResultLine && lines.back().find(" RESULT ") == std::string::npos) return "malformed result line";
    const std::size_t argumentEnd = lines.size() - (hasResultLine ? 1 : 0);

    // Walk the argument lines with the level and kind of the line before.
    std::size_t previousLevel = 0;
    bool previousOpens = false;       // a label-only line: the next line may go one level deeper
    bool previousIsArray = false;
    bool previousIsHandleSecond = false;
    for (std::size_t i = 1; i < argumentEnd; ++i) {
        const std::string& line = lines[i];
        const std::string where = "line " + std::to_string(i + 1) + " \"" + line + "\": ";
        const std::size_t blanks = LeadingBlanks(line);
        const std::string body = line.substr(blanks);
        if (line.rfind("= ", 0) == 0) return where + "a result line before the end";

        // The null array of pointers: " NULLPTR" in column one, right behind its label line.
        if (line == " NULLPTR") {
            if (!previousOpens || !previousIsArray) return where + "column-one NULLPTR not behind an array label";
            previousOpens = previousIsArray = false;
            previousIsHandleSecond = true;  // closes the array: nothing may go deeper
            continue;
        }
        // The second line of a set handle: 4*(n+1) blanks, then " : IS NYI".
        if (blanks % 4 == 1) {
            if (body != ": IS NYI") return where + "indent is not a multiple of four";
            if (!previousOpens || blanks != 4 * (previousLevel + 1) + 1)
                return where + "handle line not one level under its label";
            previousOpens = previousIsArray = false;
            previousIsHandleSecond = true;
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
            if (level <= previousLevel && !previousIsArray) return where + "structure label with no contents";
        } else if (level > previousLevel) {
            return where + "deeper than a line that opens nothing";
        }
        if (previousIsHandleSecond && level > previousLevel) return where + "deeper than a handle";

        previousLevel = level;
        previousOpens = IsLabelOnly(body);
        previousIsArray = previousOpens && IsArrayLabel(body);
        previousIsHandleSecond = false;
    }
    if (previousOpens && !previousIsArray) return "structure label with no contents at the end";
    return "";
}

// Parameters that the API declares as fixed-size arrays must be there, and their printers read
// them without a null test; with null pointers these hooks get zeroed arrays instead.
bool TakesFixedArray(std::uint32_t slot) {
    namespace s = logging_layer::slots;
    return slot == s::vkCmdSetBlendConstants || slot == s::vkCmdSetFragmentShadingRateKHR ||
           slot == s::vkCmdSetFragmentShadingRateEnumNV;
}

std::string SweepAll(ArgMode mode) {
    testhost::Layer layer;
    EXPECT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable({{u"verbose", u"1"}});
    std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
    for (std::size_t i = 0; i < kHookCaseCount; ++i) nexts[kHookCases[i].slot] = kHookCases[i].fake;
    layer.RouteAll(nexts);

    std::string all;
    for (std::size_t i = 0; i < kHookCaseCount; ++i) {
        const HookCase& c = kHookCases[i];
        FakeCalls().clear();
        g_argMode = mode == ArgMode::Null && TakesFixedArray(c.slot) ? ArgMode::Zeroed : mode;
        std::string text;
        {
            testhost::StdoutCapture out;
            c.call(layer.hook(c.slot));
            text = out.str();
            EXPECT_EQ(out.faults(), "") << c.name;
        }
        EXPECT_EQ(FakeCalls().size(), 1u) << c.name;
        EXPECT_EQ(CheckDump(c.name, c.returnsValue, text), "") << c.name << "\n" << text;
        all += text;
    }
    g_argMode = ArgMode::Unique;
    return all;
}

TEST(VulkanSweep, EveryHookWithNullPointers) {
    ExpectGolden("vulkan/sweep_null.txt", SweepAll(ArgMode::Null));
}

TEST(VulkanSweep, EveryHookWithPointersIntoZeroedMemory) {
    ExpectGolden("vulkan/sweep_zeroed.txt", SweepAll(ArgMode::Zeroed));
}

// The checker itself must refuse the faults it is there to catch.
TEST(VulkanSweep, CheckerRefusesMalformedDumps) {
    struct Row {
        const char* text;
        bool returnsValue;
        bool good;
    };
    const Row rows[] = {
        {"vkF\n    uint32_t a: 1\n= VkResult RESULT  VK_SUCCESS, \n", true, true},
        {"vkF\n    uint32_t a: 1\n", true, false},                          // result missing
        {"vkF\n= VkResult RESULT  VK_SUCCESS, \n", false, false},            // result not expected
        {"vkG\n    uint32_t a: 1\n", false, false},                          // wrong name
        {"vkF\n   uint32_t a: 1\n", false, false},                           // three blanks
        {"vkF\n    const S * p\n            uint32_t a: 1\n", false, false}, // two levels deeper
        {"vkF\n    const S * p\n    uint32_t a: 1\n", false, false},         // empty structure
        {"vkF\n    uint32_t a: 1\n        uint32_t b: 1\n", false, false},   // deeper under a leaf
        {"vkF\n    const S * p\n        VkBuffer b\n             : IS NYI\n", false, true},
        {"vkF\n    const S * p\n        VkBuffer b\n         : IS NYI\n", false, false},
        {"vkF\n    const uint32_t *const * pp\n NULLPTR\n", false, true},
        {"vkF\n    const uint32_t *const * pp\n", false, true},              // empty array
        {"vkF\n    const S * p\n NULLPTR\n", false, false},                  // not an array
        {"vkF\n    uint32_t a: 1", false, false},                            // no line feed
    };
    for (const Row& row : rows)
        EXPECT_EQ(CheckDump("vkF", row.returnsValue, row.text).empty(), row.good) << row.text;
}

}  // namespace
}  // namespace tov::test
