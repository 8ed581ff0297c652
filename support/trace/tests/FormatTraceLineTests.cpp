// The stamped line: prefix fields and order, leading line feeds, pauses, short buffers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <regex>
#include <string>

#include "support/trace/CTraceTimer.h"
#include "support/trace/CTracerLink.h"
#include "support/trace/tests/TraceTestSupport.h"

#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

using tracetest::MsSince;
using tracetest::TraceFixture;

std::string Format(const char* text, size_t size = kTraceLineBytes) {
    std::string buffer(size, '\0');
    return FormatTraceLine(buffer.data(), buffer.size(), text);
}

struct PrefixCase {
    const char* name;
    DWORD flags;
    const char* pattern;  // after the leading CR LF and an optional pause line
};

class PrefixLayout : public TraceFixture, public ::testing::WithParamInterface<PrefixCase> {};

TEST_P(PrefixLayout, FieldsFollowEachOtherInOrder) {
    g_TraceFlags = GetParam().flags;
    std::string line = Format("\nhello");
    std::regex expected(std::string("\r\n(\r\n)?") + GetParam().pattern + "hello");
    EXPECT_TRUE(std::regex_match(line, expected)) << "line: " << ::testing::PrintToString(line);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, PrefixLayout,
    ::testing::Values(PrefixCase {"None", 0, ""},
                      PrefixCase {"Time", kTraceTime, R"(\d\d:[0-5]\d:[0-5]\d\.\d{3}: )"},
                      PrefixCase {"Handles", kTraceHandleCount, R"( *[1-9]\d* )"},
                      PrefixCase {"Thread", kTraceThreadId, R"([0-9a-f]{8}: )"},
                      PrefixCase {"All", kTraceTime | kTraceHandleCount | kTraceThreadId,
                                  R"(\d\d:[0-5]\d:[0-5]\d\.\d{3}:  *[1-9]\d* [0-9a-f]{8}: )"}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(TraceFixture, ThreadFieldLeadingLineFeedsContinuationsAndShortBuffers) {
    g_TraceFlags = kTraceThreadId;
    char expected[32];
    std::snprintf(expected, sizeof expected, "\r\n%08x: x", GetCurrentThreadId());
    EXPECT_EQ(expected, Format("\nx"));

    g_TraceFlags = 0;
    EXPECT_EQ("\r\n\r\n\r\nx", Format("\n\n\nx"));
    EXPECT_EQ("\r\n0123", Format("\n0123456789", 7));

    // Forty line feeds can't all fit beside a stamp and an id: fields and text stay whole.
    g_TraceFlags = kTraceTime | kTraceThreadId;
    std::string line = Format((std::string(40, '\n') + "tail").c_str());
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts, std::regex(R"(((?:\r\n)+)\d\d:\d\d:\d\d\.\d{3}: [0-9a-f]{8}: tail)")))
        << ::testing::PrintToString(line);
    EXPECT_LT(line.size() - std::strlen("tail"), 50u);
    EXPECT_GE(parts[1].length(), 2u);

    // Without a leading line feed the text continues a line: no prefix.
    g_TraceFlags |= kTraceHandleCount;
    EXPECT_EQ("more of the line\n", Format("more of the line\n"));
}

TEST_F(TraceFixture, PauseOfMoreThan100MsShowsAsEmptyLine) {
    g_TraceFlags = kTraceTime;
    Format("\nbefore");
    auto pauseStart = std::chrono::steady_clock::now();
    tracetest::WaitUntil([&] { return MsSince(pauseStart) > 150; });

    // Only the pause is certain here: whether the next line follows within
    // 100 ms is up to the machine, so no test asserts it.
    std::string afterPause = Format("\nafter");
    EXPECT_TRUE(std::regex_match(afterPause, std::regex(R"(\r\n\r\n\d\d:\d\d:\d\d\.\d{3}: after)")))
        << ::testing::PrintToString(afterPause);
}

TEST_F(TraceFixture, BuiltInFlagsAreTheDefaultAndMakeNoTracerNoFileAndNoOutput) {
    EXPECT_EQ(kTraceBuiltIn, g_TraceFlags);
    // The default file is the user's own, in the home folder, never in a
    // folder that other users share.
    const char* home = std::getenv("HOME");
    const std::string savedHome = home != nullptr ? home : "";
    ::setenv("HOME", "/home/someone/", 1);
    WCHAR path[kTracePathChars];
    GetDefaultTracePath(path);
    EXPECT_EQ(std::u16string(path), u"/home/someone/KestrixTrace.txt");
    ::setenv("HOME", std::string(kTracePathChars, 'x').insert(0, "/").c_str(), 1);
    GetDefaultTracePath(path);
    EXPECT_EQ(std::u16string(path), u"") << "a home folder too long for the path gives no file";
    ::setenv("HOME", savedHome.c_str(), 1);

    ::testing::internal::CaptureStderr();
    Trace("\nvalue %d", 1);
    TraceLine("\nline");
    EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
    EXPECT_EQ(nullptr, GetTracerLink().GetTracer());
    EXPECT_FALSE(tracetest::TraceRecordExists(m_file));
    EXPECT_TRUE(std::filesystem::is_empty(m_directory));
}

TEST_F(TraceFixture, DebuggerOutputGetsTheFormattedLine) {
    g_TraceFlags = kTraceActive | kTraceToDebugger;
    ::testing::internal::CaptureStderr();
    Trace("\nvalue %d of %s", 42, "x");
    EXPECT_EQ("\r\nvalue 42 of x", ::testing::internal::GetCapturedStderr());

    // Without the active bit Trace is silent, TraceLine is not.
    g_TraceFlags = kTraceToDebugger;
    ::testing::internal::CaptureStderr();
    Trace("\nsilent");
    TraceLine("\nraw");
    EXPECT_EQ("\r\nraw", ::testing::internal::GetCapturedStderr());
}

TEST_F(TraceFixture, NamedTimerReportsItsDurationAboveTheThreshold) {
    g_TraceFlags = kTraceActive | kTraceToDebugger;
    ::testing::internal::CaptureStderr();
    {
        HRESULT hr = E_FAIL;
        CTraceTimer always("step took %s;", -1, &hr);
        EXPECT_EQ(S_OK, hr);
        CTraceTimer never("never %s", 0x7FFFFFFF);
    }
    std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(output, std::regex(R"(step took (\d{3}ms|\d+\.\d{3}s);)"))) << output;
}

}  // namespace
