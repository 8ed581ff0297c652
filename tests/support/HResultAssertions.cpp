#include "tests/support/HResultAssertions.h"

#include <cstdio>

#include "zqplatform/text.h"

namespace zqtest {

std::string DescribeStatus(HRESULT hr) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(hr));
    std::string out;
    if (const char* name = ZQGetStatusName(hr)) {
        out = name;
        out += " (";
        out += number;
        out += ")";
    } else {
        out = number;
    }
    WCHAR text[512];
    if (ZQGetStatusText(hr, text, 512) > 0) {
        char utf8[1024];
        int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, sizeof utf8, nullptr, nullptr);
        if (n > 0) {
            out += ": ";
            out += utf8;
        }
    }
    return out;
}

::testing::AssertionResult StatusEquals(const char* expectedExpr, const char* actualExpr, HRESULT expected,
                                        HRESULT actual) {
    if (expected == actual)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << actualExpr << " is " << DescribeStatus(actual) << ", expected "
                                         << expectedExpr << " = " << DescribeStatus(expected);
}

}  // namespace zqtest
