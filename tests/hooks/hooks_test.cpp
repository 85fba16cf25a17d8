// Every hook of both APIs through a real host routing and its exact prototype and calling
// convention (structures by value, floats, stack arguments and the result storage of a
// structure returned by value included): it calls its own slot once with every argument
// untouched and returns what came back. In ordinary mode it logs its name, and the arguments'
// pointers are never valid, so a hook that read through one would crash here. In verbose mode
// it is called once with null arguments and once with objects that are fake objects and every
// other pointer aimed at zeroed memory, into which the fakes write a sentinel for every output;
// its dump must have the line format's shape, and the whole text is kept as a golden file.
#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>
#include <vector>

#include "capture.h"
#include "fake_args.h"
#include "golden.h"
#include "slot_catalogue.h"

namespace tov::test {
namespace {

struct Api {
    const char* name;
    const std::vector<HookCase>& (*cases)();
    bool methods;    // its hooks print their object first
};
const Api kApis[] = {{"vulkan", &HookCases_vulkan, false}, {"com", &HookCases_com, true}};
void PrintTo(const Api& api, std::ostream* os) { *os << api.name; }

// The layer, its parameters given, with every slot that has a case routed to the case's fake.
struct RoutedLayer {
    explicit RoutedLayer(const std::vector<testhost::Parameter>& parameters = {}) {
        EXPECT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable(parameters);
        std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
        for (const Api& api : kApis)
            for (const HookCase& c : api.cases()) nexts[c.slot] = c.fake;
        layer.RouteAll(nexts);
    }
    testhost::Layer layer;
};

// The hook called its own slot's next function once, with every argument untouched, and
// returned what came back.
void ExpectCalledOnOnce(const HookCase& c, const CallResult& r) {
    ASSERT_EQ(FakeCalls().size(), 1u) << c.name;
    EXPECT_EQ(FakeCalls()[0].slot, c.slot) << c.name;
    EXPECT_EQ(FakeCalls()[0].args, r.args) << c.name;
    EXPECT_EQ(r.hasResult, c.returnsValue) << c.name;
    EXPECT_EQ(r.result, r.expected) << c.name << " changed the downstream result";
}

class HooksOf : public ::testing::TestWithParam<Api> {};

TEST_P(HooksOf, OrdinaryModeCallsOnAndLogsTheName) {
    RoutedLayer routed;
    for (const HookCase& c : GetParam().cases()) {
        FakeCalls().clear();
        testhost::LoggerCapture log;
        StdoutCapture out;
        ExpectCalledOnOnce(c, c.call(routed.layer.hook(c.slot)));
        ASSERT_EQ(log.calls.size(), 1u) << c.name;
        const auto& logged = log.calls[0];
        EXPECT_TRUE(logged.level == 2 && logged.category == 1 && logged.flags == 0) << c.name;
        EXPECT_EQ(logged.format, "%s");
        EXPECT_EQ(logged.message, c.name);
        EXPECT_EQ(out.str(), "") << c.name;
    }
}

constexpr std::size_t kIndent = 4;
const std::string kFrameBoundary = std::string(20, '#') + "Frame Boundary" + std::string(20, '#');

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool IsName(const std::string& text) {
    for (char c : text)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
    return !text.empty();
}

// The second line of a set handle (": IS NYI") or an object (its interface, behind its id).
bool IsSecondLine(const std::string& body) {
    const std::string id = "Capture Time ID: 0x";
    if (body == ": IS NYI" || IsName(body)) return true;
    if (body.rfind(id, 0) != 0) return false;
    const std::size_t blank = body.find(' ', id.size());
    if (blank == std::string::npos || blank == id.size() || body[id.size()] == '0') return false;
    for (std::size_t i = id.size(); i < blank; ++i)
        if (!std::isxdigit(static_cast<unsigned char>(body[i])) || std::isupper(static_cast<unsigned char>(body[i])))
            return false;
    return IsName(body.substr(blank + 1));
}

// A line that holds only a label, whose contents may follow one level deeper: a structure, an
// array, an object; a record with bare-named fields ends its label in ": ".
bool Opens(const std::string& body) {
    if (EndsWith(body, ": ")) return !EndsWith(body, " : ");
    return body.find(':') == std::string::npos && !EndsWith(body, " NULLPTR") &&
           !EndsWith(body, " void ptr, can not infer type to print") && !EndsWith(body, " ");
}

bool IsArrayLabel(const std::string& body) {
    return body.find("*const *") != std::string::npos || body.find("**") != std::string::npos ||
           body.find(" [") != std::string::npos;
}

// Returns what is wrong with one call's dump, or nothing.
std::string CheckDump(const std::string& name, bool method, bool returnsValue, const std::string& text) {
    if (text.empty() || text.back() != '\n') return "does not end with a line feed";
    if (text.find('\r') != std::string::npos) return "holds a carriage return";
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (lines[0] != name) return "first line is not the call's name";
    if (lines.back() == kFrameBoundary) lines.pop_back();
    const bool hasResultLine = lines.size() > 1 && lines.back().rfind("= ", 0) == 0;
    if (hasResultLine != returnsValue) return "result line present iff the call returns a value: violated";
    if (hasResultLine && lines.back().find(" RESULT ") == std::string::npos) return "malformed result line";
    if (method && (lines.size() < 2 || !(EndsWith(lines[1], "* self") || EndsWith(lines[1], "* self NULLPTR"))))
        return "second line is not the self line";

    std::size_t level = 0;        // of the last line with a label; the header line opens level 1
    bool opens = true, array = false;
    for (std::size_t i = 1; i < lines.size() - (hasResultLine ? 1 : 0); ++i) {
        const std::string& line = lines[i];
        const std::string where = "line " + std::to_string(i + 1) + " \"" + line + "\": ";
        const std::size_t blanks = line.find_first_not_of(' ');
        if (blanks == std::string::npos) return where + "empty line";
        const std::string body = line.substr(blanks);
        if (line == kFrameBoundary || line.rfind("= ", 0) == 0) return where + "before the end";
        if (line == " NULLPTR") {
            if (!opens || !array) return where + "column-one NULLPTR not behind an array label";
            opens = false;
            continue;
        }
        if (blanks % kIndent == 1) {
            if (!IsSecondLine(body) || !opens || array || blanks != kIndent * (level + 1) + 1)
                return where + "not the second line of a handle or an object one level deeper";
            opens = false;
            continue;
        }
        if (blanks % kIndent != 0) return where + "indent is not a multiple of four";
        const std::size_t next = blanks / kIndent;
        if (next == 0 || next > level + (opens ? 1 : 0))
            return where + "not at the level its place allows";
        level = next;
        opens = Opens(body);
        array = opens && IsArrayLabel(body);
    }
    return "";
}

std::string SweepAll(const Api& api, ArgMode mode) {
    RoutedLayer routed(std::vector<testhost::Parameter>{{u"verbose", u"1"}});
    std::string all;
    g_argMode = mode;
    for (const HookCase& c : api.cases()) {
        FakeCalls().clear();
        testhost::LoggerCapture log;
        const std::string text = CaptureStdout([&] { ExpectCalledOnOnce(c, c.call(routed.layer.hook(c.slot))); });
        EXPECT_TRUE(log.calls.empty()) << c.name;
        const bool method = api.methods && std::string(c.name).find("::") != std::string::npos;
        EXPECT_EQ(CheckDump(c.name, method, c.returnsValue, text), "") << text;
        all += text;
    }
    g_argMode = ArgMode::Unique;
    return all;
}

TEST_P(HooksOf, VerboseModeWithNullArguments) {
    ExpectGolden(std::string(GetParam().name) + "/sweep_null.txt", SweepAll(GetParam(), ArgMode::Null));
}

TEST_P(HooksOf, VerboseModeWithArgumentsToFollow) {
    ExpectGolden(std::string(GetParam().name) + "/sweep_zeroed.txt", SweepAll(GetParam(), ArgMode::Zeroed));
}

INSTANTIATE_TEST_SUITE_P(BothApis, HooksOf, ::testing::ValuesIn(kApis));

// The checker itself must refuse the faults it is there to catch.
TEST(Hooks, DumpCheckerRefusesMalformedDumps) {
    struct Row {
        const char* text;
        bool returnsValue;
        bool good;
    };
    const Row rows[] = {
        {"    UINT a: 1\n= HRESULT RESULT : 0\n", true, true},
        {"    UINT a: 1\n", true, false},                                   // result missing
        {"= HRESULT RESULT : 0\n", false, false},                            // result not expected
        {"    const S * p\n            UINT a: 1\n", false, false},         // two levels deeper
        {"    const S * p\n        VkBuffer b\n             : IS NYI\n", false, true},
        {"    J * p\n         Capture Time ID: 0x2B J\n", false, false},  // upper-case digits
        {"    J ** pp\n        [0] Capture Time ID: 0x2b J\n        [1]  NULLPTR\n", false, true},
        {"    const S * p\n NULLPTR\n", false, false},                      // not an array
        {"####################Frame Boundary####################\n= HRESULT RESULT : 0\n", true, false},
    };
    const std::string self = "I::F\n    I* self\n         I\n";
    for (const Row& row : rows)
        EXPECT_EQ(CheckDump("I::F", true, row.returnsValue, self + row.text).empty(), row.good) << row.text;
    EXPECT_FALSE(CheckDump("I::F", true, false, "I::F\n    UINT a: 1\n").empty()) << "self line missing";
    EXPECT_FALSE(CheckDump("vkG", false, false, "vkF\n").empty()) << "wrong name";
}

}  // namespace
}  // namespace tov::test
