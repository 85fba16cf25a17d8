// Golden files: exact expected text kept under tests/golden. Run a test with
// TOV_UPDATE_GOLDEN=1 to rewrite the files it compares against, then review the diff.
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

inline void ExpectGolden(const std::string& name, const std::string& actual) {
    const std::string path = GoldenPath(name);
    if (const char* update = std::getenv("TOV_UPDATE_GOLDEN"); update && *update == '1') {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    std::ifstream probe(path, std::ios::binary);
    ASSERT_TRUE(probe.good()) << "missing golden file " << path;
    EXPECT_EQ(actual, ReadFile(path)) << "differs from " << path;
}

}  // namespace tov::test
