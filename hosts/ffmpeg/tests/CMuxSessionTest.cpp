// The mux job in process, over the module built beside the test: cues in
// time order whatever the file's order, progress, and the failures that must
// leave nothing behind (a disk that fills up, Ctrl-C while the pump waits in
// Receive, names that meet each other). The output file's own promise (whole
// or nothing) is tested first.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "hosts/ffmpeg/CContainerReader.h"
#include "hosts/ffmpeg/CMuxSession.h"
#include "hosts/ffmpeg/COutputFile.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr char kEarlierContent[] = "the user's earlier file";

std::string Time(int milliseconds) {
    char text[48];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d,%03d", milliseconds / 3600000, milliseconds / 60000 % 60,
                  milliseconds / 1000 % 60, milliseconds % 1000);
    return text;
}

/// A sink that passes `budget` bytes on to the file and then fails as a
/// full disk does.
class CFullDiskSink final : public CByteSink {
public:
    CFullDiskSink(CByteSink& file, int64_t budget) : m_file(file), m_budget(budget) {}
    HRESULT Write(const uint8_t* data, size_t size) override {
        if (static_cast<int64_t>(size) > m_budget)
            return HRESULT_FROM_WIN32(ERROR_DISK_FULL);
        m_budget -= static_cast<int64_t>(size);
        return m_file.Write(data, size);
    }
    HRESULT SeekTo(int64_t offset) override { return m_file.SeekTo(offset); }
    int64_t Position() const override { return m_file.Position(); }
    int64_t Length() const override { return m_file.Length(); }

private:
    CByteSink& m_file;
    int64_t m_budget;
};

class CMuxSessionTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_folder = std::filesystem::temp_directory_path() /
                   ("zqmux-" + std::to_string(GetCurrentProcessId()) + "-" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        m_output = (m_folder / "out.mkv").string();
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    /// A SubRip file whose cues start at `startsMs`, in that order, each
    /// 500 ms long, with the text "cue N" of its start.
    std::string WriteSubRip(const char* name, const std::vector<int>& startsMs) {
        const std::filesystem::path path = m_folder / name;
        std::ofstream out(path);
        for (size_t i = 0; i < startsMs.size(); ++i)
            out << i + 1 << "\n" << Time(startsMs[i]) << " --> " << Time(startsMs[i] + 500) << "\ncue "
                << startsMs[i] << "\n\n";
        return path.string();
    }

    void WriteEarlierOutput() { std::ofstream(m_output) << kEarlierContent; }
    std::string ReadOutput() {
        std::ifstream in(m_output, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    /// Names of the files in the folder that a failure left behind.
    std::vector<std::string> Leftovers() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            if (entry.path().filename().string().find(".tmp-") != std::string::npos)
                names.push_back(entry.path().filename().string());
        }
        return names;
    }

    std::filesystem::path m_folder;
    std::string m_output;
};

TEST_F(CMuxSessionTest, OutputFileReplacesTheFinalNameOnlyWhenCommitted) {
    WriteEarlierOutput();
    const uint8_t bytes[] = {'n', 'e', 'w'};
    {
        std::unique_ptr<COutputFile> file;
        ASSERT_TRUE(COutputFile::Create(m_output, file).Ok());
        ASSERT_EQ(S_OK, file->Write(bytes, sizeof bytes));
        EXPECT_EQ(1u, Leftovers().size());
    }
    EXPECT_EQ(kEarlierContent, ReadOutput());
    EXPECT_TRUE(Leftovers().empty());

    std::unique_ptr<COutputFile> file;
    ASSERT_TRUE(COutputFile::Create(m_output, file).Ok());
    ASSERT_EQ(S_OK, file->Write(bytes, sizeof bytes));
    ASSERT_EQ(S_OK, file->SeekTo(0));
    ASSERT_EQ(S_OK, file->Write(bytes + 1, 1));
    EXPECT_EQ(3, file->Length());
    ASSERT_TRUE(file->Commit().Ok());
    EXPECT_EQ("eew", ReadOutput());
    EXPECT_TRUE(Leftovers().empty());
}

/// Without media, a session that reports progress counts the cues first,
/// which tells it the tracks out of order; one that doesn't finds them while
/// writing and writes again.
class CMuxSessionOrderTest : public CMuxSessionTest, public ::testing::WithParamInterface<bool> {};

TEST_P(CMuxSessionOrderTest, WritesEveryTrackInTimeOrderWhateverTheFileOrder) {
    const bool reportsProgress = GetParam();
    WriteEarlierOutput();
    const std::vector<int> shuffled = {1000, 4000, 3000, 2000, 0};
    MuxRequest request;
    request.subtitles = {{WriteSubRip("ordered.srt", {500, 1500, 2500}), "", ""},
                         {WriteSubRip("shuffled.srt", shuffled), "de", "Durcheinander"}};
    request.output = m_output;
    std::vector<double> progress;
    MuxHooks hooks;
    if (reportsProgress)
        hooks.progress = [&progress](double fraction) { progress.push_back(fraction); };
    MuxSummary summary;
    CMuxSession session;
    const CHostStatus status = session.Run(request, hooks, summary);
    ASSERT_TRUE(status.Ok()) << status.Message();
    EXPECT_TRUE(Leftovers().empty());

    ASSERT_EQ(2u, summary.streams.size());
    EXPECT_EQ("ger", summary.streams[1].language);
    EXPECT_EQ("Durcheinander", summary.streams[1].title);
    EXPECT_EQ(3, summary.streams[0].packets);
    EXPECT_EQ(5, summary.streams[1].packets);
    EXPECT_EQ(45000000, summary.duration);
    if (reportsProgress) {
        ASSERT_FALSE(progress.empty());
        EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
        EXPECT_EQ(1.0, progress.back());
    }

    std::unique_ptr<CContainerReader> reader;
    ASSERT_TRUE(CContainerReader::Open(m_output, reader).Ok());
    std::vector<std::vector<int64_t>> starts(2);
    CPacket packet;
    for (bool ended = false;;) {
        ASSERT_TRUE(reader->Next(packet.Get(), ended).Ok());
        if (ended)
            break;
        const std::string text(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
        EXPECT_EQ("cue " + std::to_string(packet->pts), text);
        starts[static_cast<size_t>(packet->stream_index)].push_back(packet->pts);
    }
    EXPECT_EQ((std::vector<int64_t>{500, 1500, 2500}), starts[0]);
    EXPECT_EQ((std::vector<int64_t>{0, 1000, 2000, 3000, 4000}), starts[1]);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutProgress, CMuxSessionOrderTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& progress) {
                             return progress.param ? "CountingFirst" : "WritingAgain";
                         });

TEST_F(CMuxSessionTest, AFullDiskLeavesNoOutputAndTheEarlierFileAsItWas) {
    WriteEarlierOutput();
    std::vector<int> starts;
    for (int i = 0; i < 2000; ++i)
        starts.push_back(i * 1000);
    MuxRequest request;
    request.subtitles = {{WriteSubRip("long.srt", starts), "en", ""}};
    request.output = m_output;
    MuxHooks hooks;
    hooks.wrapOutput = [](CByteSink& file) { return std::make_unique<CFullDiskSink>(file, 4096); };
    MuxSummary summary;
    CMuxSession session;
    const CHostStatus status = session.Run(request, hooks, summary);
    EXPECT_FALSE(status.Ok());
    EXPECT_EQ(m_output, status.File());
    EXPECT_NE(std::string::npos, status.Reason().find("ERROR_DISK_FULL")) << status.Message();
    EXPECT_EQ(kEarlierContent, ReadOutput());
    EXPECT_TRUE(Leftovers().empty());
}

TEST_F(CMuxSessionTest, InterruptionWhileThePumpWaitsLeavesNothing) {
    WriteEarlierOutput();
    std::vector<int> starts;
    for (int i = 0; i < 20000; ++i)
        starts.push_back(i * 100);
    MuxRequest request;
    request.subtitles = {{WriteSubRip("a.srt", starts), "", ""}, {WriteSubRip("b.srt", starts), "", ""}};
    request.output = m_output;
    // Ctrl-C comes once the writing has begun, with the pump well ahead and
    // waiting in Receive for the writer.
    bool writing = false;
    MuxHooks hooks;
    hooks.progress = [&writing](double) { writing = true; };
    hooks.interrupted = [&writing] { return writing; };
    MuxSummary summary;
    CMuxSession session;
    const CHostStatus status = session.Run(request, hooks, summary);
    EXPECT_EQ(m_output + ": interrupted; nothing was written", status.Message());
    EXPECT_EQ(kEarlierContent, ReadOutput());
    EXPECT_TRUE(Leftovers().empty());
}

TEST_F(CMuxSessionTest, RefusesNamesThatMeetEachOther) {
    const std::string subtitle = WriteSubRip("a.srt", {0});
    const std::string sameFile = (m_folder / "." / "a.srt").string();
    struct Case {
        MuxRequest request;
        std::string message;
    };
    const Case cases[] = {
        {{"", {{subtitle, "", ""}, {sameFile, "en", ""}}, m_output, ""}, sameFile + ": is given twice"},
        {{"", {{subtitle, "", ""}}, sameFile, ""},
         sameFile + ": is also a subtitle file; the output needs a name of its own"},
        {{subtitle, {{subtitle, "", ""}}, subtitle, ""},
         subtitle + ": is also the input media; the output needs a name of its own"},
        {{"", {}, m_output, ""}, m_output + ": no subtitle file to add"},
        {{"", {{subtitle, "", ""}}, m_output, "no-such-format"}, m_output + ": FFmpeg knows no output format 'no-such-format'"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.message);
        MuxSummary summary;
        CMuxSession session;
        EXPECT_EQ(test.message, session.Run(test.request, MuxHooks{}, summary).Message());
        EXPECT_FALSE(std::filesystem::exists(m_output));
        EXPECT_TRUE(Leftovers().empty());
    }
}

}  // namespace
