// Shared helpers of the trace tests: a fixture with a fresh trace directory, file bytes, waiting.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "support/trace/Trace.h"

namespace tracetest {

inline constexpr char kMark[] = "\xEF\xBB\xBF";

/// The bytes of a file, or "" if it can't be read.
std::string ReadBytes(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::string& bytes);
/// Polls `condition` until it holds or `limit` passes; answers its last value.
bool WaitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(10));
/// Whole milliseconds of the steady clock since `start`.
long long MsSince(std::chrono::steady_clock::time_point start);
/// Whether this process's shared tracer record for `file` exists.
bool TraceRecordExists(const std::filesystem::path& file);

/// Saves and restores this copy's flags; gives each test its own directory and trace path,
/// left pointing into the removed directory so that writes at exit never reach the real file.
class TraceFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::filesystem::path m_directory;
    std::filesystem::path m_file;  // m_directory / KestrixTrace.txt, set as g_TracePath
    DWORD m_savedFlags = 0;
};

}  // namespace tracetest
