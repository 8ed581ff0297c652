// GoogleTest assertions on statuses that print the status by name and text,
// since a bare 0x80070002 tells a reader nothing.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "zqplatform/status.h"

namespace zqtest {

/// "E_POINTER (0x80004003): Invalid pointer" or the number and text alone.
std::string DescribeStatus(HRESULT hr);

::testing::AssertionResult StatusEquals(const char* expectedExpr, const char* actualExpr, HRESULT expected,
                                        HRESULT actual);

}  // namespace zqtest

#define EXPECT_HR(expected, actual) EXPECT_PRED_FORMAT2(::zqtest::StatusEquals, expected, actual)
#define ASSERT_HR(expected, actual) ASSERT_PRED_FORMAT2(::zqtest::StatusEquals, expected, actual)
#define EXPECT_OK(actual) EXPECT_HR(S_OK, actual)
#define ASSERT_OK(actual) ASSERT_HR(S_OK, actual)
