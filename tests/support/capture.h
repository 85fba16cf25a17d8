// What the tests see of the layer's standard output. All of the tests' capture goes through
// here, so that how it is taken (a stream buffer today) changes in one place.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "testhost.h"

namespace tov::test {

// Collects everything written to standard output while it lives.
using StdoutCapture = testhost::StdoutCapture;

// Everything written to standard output while `call` runs, each line of which must have been
// written whole and flushed.
template <typename Call>
std::string CaptureStdout(Call&& call) {
    testhost::StdoutCapture out;
    std::forward<Call>(call)();
    EXPECT_EQ(out.faults(), "");
    return out.str();
}

}  // namespace tov::test
