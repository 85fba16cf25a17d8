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

// The first differing line of two texts, with a few lines of each from there on.
inline std::string FirstDifference(const std::string& expected, const std::string& actual) {
    std::istringstream e(expected), a(actual);
    std::string le, la;
    for (int line = 1;; ++line) {
        bool moreE = static_cast<bool>(std::getline(e, le));
        bool moreA = static_cast<bool>(std::getline(a, la));
        if (!moreE && !moreA) return "the texts differ only in their last line feed";
        if (moreE == moreA && le == la) continue;
        std::string out = "first difference at line " + std::to_string(line) + "\n  expected:\n";
        for (int i = 0; i < 4 && moreE; ++i, moreE = static_cast<bool>(std::getline(e, le)))
            out += "    |" + le + "|\n";
        out += "  actual:\n";
        for (int i = 0; i < 4 && moreA; ++i, moreA = static_cast<bool>(std::getline(a, la)))
            out += "    |" + la + "|\n";
        return out;
    }
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
