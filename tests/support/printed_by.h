#pragma once

#include <gtest/gtest.h>

#include <string>

namespace brisko::test {

/// What an operation writes to standard output.
template <class Operation>
std::string printedBy(const Operation& operation) {
    testing::internal::CaptureStdout();
    operation();
    return testing::internal::GetCapturedStdout();
}

}  // namespace brisko::test
