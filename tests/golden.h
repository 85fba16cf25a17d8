// Golden files: exact expected text kept under tests/golden. Run a test with
// TOV_UPDATE_GOLDEN=1 to rewrite the files it compares against, then review the diff. A mismatch
// writes the text to <file>.actual and reports the first lines that differ.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace tov::test {

inline std::string GoldenPath(const std::string& name) { return std::string(TOV_GOLDEN_DIR) + "/" + name; }

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The first line where two texts differ, with the next few lines of each.
inline std::string FirstDifference(const std::string& expected, const std::string& actual) {
    std::size_t at = 0, line = 1;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at])
        if (expected[at++] == '\n') ++line;
    const std::size_t start = expected.rfind('\n', at == 0 ? 0 : at - 1) + 1;
    auto lines = [start](const std::string& text) { return "    |" + text.substr(start, 240) + "|\n"; };
    return "first difference at line " + std::to_string(line) + "\n  expected:\n" + lines(expected) +
           "  actual:\n" + lines(actual);
}

inline void ExpectGolden(const std::string& name, const std::string& actual) {
    const std::string path = GoldenPath(name);
    if (const char* update = std::getenv("TOV_UPDATE_GOLDEN"); update && *update == '1') {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    std::ifstream probe(path, std::ios::binary);
    ASSERT_TRUE(probe.good()) << "missing golden file " << path;
    const std::string expected = ReadFile(path);
    if (actual == expected) return;
    std::ofstream(path + ".actual", std::ios::binary) << actual;
    ADD_FAILURE() << path << " differs (the text is in " << path << ".actual):\n"
                  << FirstDifference(expected, actual);
}

}  // namespace tov::test
