// The shared tracer alone: line ends, the UTF-8 mark, timer batching, moves, many writers.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/trace/CSharedTracer.h"
#include "support/trace/tests/TraceTestSupport.h"

namespace {

using tracetest::kMark;
using tracetest::MsSince;
using tracetest::ReadBytes;

/// A tracer with one user per test, released at the end unless the test did.
class SharedTracerTest : public tracetest::TraceFixture {
protected:
    void SetUp() override {
        TraceFixture::SetUp();
        m_tracer = CSharedTracer::Create();
        ASSERT_NE(nullptr, m_tracer);
        m_tracer->AddUse();
    }

    void TearDown() override {
        ReleaseTracer();
        TraceFixture::TearDown();
    }

    void ReleaseTracer() {
        if (m_tracer != nullptr) {
            EXPECT_EQ(0, m_tracer->Release());
        }
        m_tracer = nullptr;
    }

    CSharedTracer* m_tracer = nullptr;
};

TEST_F(SharedTracerTest, LoneCrAndLoneLfBecomeCrLfAndOnlyANewFileGetsTheMark) {
    m_tracer->Append("a\nb\rc\r\nd\n\r");
    ReleaseTracer();
    auto appendWithANewTracer = [](const char* text) {
        CSharedTracer* tracer = CSharedTracer::Create();
        tracer->AddUse();
        tracer->Append(text);
        EXPECT_EQ(0, tracer->Release());
    };
    appendWithANewTracer("later");
    EXPECT_EQ(std::string(kMark) + "a\r\nb\r\nc\r\nd\r\n\r\nlater", ReadBytes(m_file));

    tracetest::WriteBytes(m_file, "earlier\r\n");
    appendWithANewTracer("again");
    EXPECT_EQ("earlier\r\nagain", ReadBytes(m_file));
}

// Whether a flush comes within the quiet time depends on the machine's speed,
// so only what holds after it is asserted: the batch, then the timer's write.
TEST_F(SharedTracerTest, FlushAfterTheQuietTimeWritesTheBatchAndTheTimerWritesLaterLines) {
    auto created = std::chrono::steady_clock::now();
    m_tracer->Append("\nfirst");
    m_tracer->Append("\nsecond");
    tracetest::WaitUntil([&] { return MsSince(created) > 60; });
    m_tracer->Flush();
    EXPECT_EQ(std::string(kMark) + "\r\nfirst\r\nsecond", ReadBytes(m_file));

    m_tracer->Append("\nthird");
    m_tracer->Flush();
    EXPECT_NE(nullptr, m_tracer->GetTimer());
    EXPECT_TRUE(tracetest::WaitUntil([&] { return ReadBytes(m_file).find("third") != std::string::npos; }));
    EXPECT_EQ(std::string(kMark) + "\r\nfirst\r\nsecond\r\nthird", ReadBytes(m_file));
}

TEST_F(SharedTracerTest, MovesIntoADirectoryOfTheSameNameWhenThePathIsOneButOnlyOnce) {
    auto tracePath = [] {
        WCHAR path[kTracePathChars];
        CopyTracePath(path);
        return std::u16string(path);
    };
    std::filesystem::path blocked = m_directory / "Blocked.log";
    std::filesystem::create_directory(blocked);
    SetTracePath(blocked.u16string().c_str());
    m_tracer->Append("moved");
    ReleaseTracer();
    EXPECT_EQ(std::string(kMark) + "moved", ReadBytes(blocked / "Blocked.log"));
    EXPECT_EQ((blocked / "Blocked.log").u16string(), tracePath());

    // A second directory in the way is not followed: the bytes are lost.
    std::filesystem::path twice = m_directory / "Twice.log";
    std::filesystem::create_directories(twice / "Twice.log");
    SetTracePath(twice.u16string().c_str());
    CSharedTracer* tracer = CSharedTracer::Create();
    tracer->AddUse();
    tracer->Append("lost");
    tracer->WriteOut(reinterpret_cast<const BYTE*>("again"), 5);
    EXPECT_EQ(0, tracer->Release());
    EXPECT_FALSE(std::filesystem::exists(twice / "Twice.log" / "Twice.log"));
    EXPECT_EQ((twice / "Twice.log").u16string(), tracePath());
}

TEST_F(SharedTracerTest, LinesFromManyThreadsArriveWholeAndInOrderPerThread) {
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < kLines; ++i) {
                std::string line = "\nthread " + std::to_string(t) + " line " + std::to_string(i);
                m_tracer->Append(line.c_str());
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    ReleaseTracer();

    std::string bytes = ReadBytes(m_file);
    ASSERT_EQ(0u, bytes.find(kMark));
    // Each line is "\r\nthread T line I".
    std::vector<int> next(kThreads, 0);
    int count = 0;
    std::regex shape(R"(thread (\d) line (\d+))");
    for (size_t start = bytes.find("\r\n", 3); start != std::string::npos; ++count) {
        size_t end = bytes.find("\r\n", start + 2);
        std::string line = bytes.substr(start + 2, end == std::string::npos ? std::string::npos : end - start - 2);
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, shape)) << ::testing::PrintToString(line);
        int thread = std::stoi(parts[1]);
        EXPECT_EQ(next[thread]++, std::stoi(parts[2]));
        start = end;
    }
    EXPECT_EQ(kThreads * kLines, count);
}

}  // namespace
