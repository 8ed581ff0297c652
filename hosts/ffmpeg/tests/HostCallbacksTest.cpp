// The two hosts at their interfaces with the module. The demultiplexer host
// over a container that the mux job writes here: what it announces, how it
// starts after a seek, how far ahead it reads, and the end of each stream,
// seen by a recording demultiplexer. The multiplexer host's own contract:
// the announcements it follows and when it refuses them, and a sample of a
// track it never heard of.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CDmxHost.h"
#include "hosts/ffmpeg/CMuxHost.h"
#include "hosts/ffmpeg/CMuxSession.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/sync.h"
#include "zqplatform/unknownimpl.h"

namespace {

constexpr REFERENCE_TIME kSecond = 10000000;

/// A demultiplexer that records what a host tells it; every call succeeds.
class RecordingDemultiplexer final : public CUnknownImpl<ZQLifetime::Borrowed, IZQDmxSubtitleControl> {
public:
    struct Sample {
        LONG trackid;
        REFERENCE_TIME start;
        REFERENCE_TIME stop;
        std::string text;
    };

    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG* trackid) override {
        SubtitleStreamLabel label;
        if (!ReadSubtitleMediaType(mediatype, label))
            return VFW_E_INVALIDMEDIATYPE;
        m_labels.push_back(label);
        *trackid = static_cast<LONG>(m_labels.size());
        return S_OK;
    }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }
    HRESULT Run(REFERENCE_TIME) override { return S_OK; }
    HRESULT Stop() override { return S_OK; }
    HRESULT Pause() override { return S_OK; }
    HRESULT SetSyncSource(IReferenceClock*) override { return S_OK; }
    HRESULT JoinFilterGraph(IFilterGraph*) override { return S_OK; }
    HRESULT BeginFlush(LONG trackid) override { return Note("BeginFlush", trackid); }
    HRESULT EndFlush(LONG trackid) override { return Note("EndFlush", trackid); }
    HRESULT NewSegment(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME, double) override {
        return Note("NewSegment " + std::to_string(start / kSecond), trackid);
    }
    HRESULT EndOfStream(LONG trackid) override { return Note("EndOfStream", trackid); }
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        m_samples.push_back({trackid, start, stop, std::string(reinterpret_cast<char*>(data), static_cast<size_t>(length))});
        return S_OK;
    }

    std::vector<SubtitleStreamLabel> m_labels;
    std::vector<std::string> m_calls;
    std::vector<Sample> m_samples;

private:
    HRESULT Note(const std::string& call, LONG trackid) {
        m_calls.push_back(call + " " + std::to_string(trackid));
        return S_OK;
    }
};

class CDmxHostTest : public ::testing::Test {
protected:
    /// A Matroska file of two tracks written by the mux job: German cues at
    /// 1, 3, 5 and 7 s, a track without language or title at 2 s.
    static void SetUpTestSuite() {
        s_folder = std::filesystem::temp_directory_path() / ("zqdmx-" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(s_folder);
        std::ofstream(s_folder / "de.srt") << "1\n00:00:01,000 --> 00:00:02,000\nEins\n\n2\n00:00:03,000 --> "
                                              "00:00:04,000\nDrei\n\n3\n00:00:05,000 --> 00:00:06,000\nFünf\n\n"
                                              "4\n00:00:07,000 --> 00:00:08,000\nSieben\n";
        std::ofstream(s_folder / "plain.srt") << "1\n00:00:02,000 --> 00:00:02,500\nplain\n";
        MuxRequest request;
        request.subtitles = {{(s_folder / "de.srt").string(), "de", "Deutsch"}, {(s_folder / "plain.srt").string(), "", ""}};
        request.output = (s_folder / "two.mkv").string();
        MuxSummary summary;
        CMuxSession session;
        ASSERT_TRUE(session.Run(request, MuxHooks{}, summary).Ok());
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(s_folder); }

    void SetUp() override {
        const CHostStatus status = CDmxHost::Open((s_folder / "two.mkv").string(), m_host);
        ASSERT_TRUE(status.Ok()) << status.Message();
        ASSERT_TRUE(m_host->Announce(&m_dmx).Ok());
    }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const auto& sample : m_dmx.m_samples)
            texts.push_back(std::to_string(sample.trackid) + " " + sample.text);
        return texts;
    }

    static std::filesystem::path s_folder;
    RecordingDemultiplexer m_dmx;
    std::unique_ptr<CDmxHost> m_host;
};

std::filesystem::path CDmxHostTest::s_folder;

TEST_F(CDmxHostTest, AnnouncesEachTextStreamWithItsLanguageAndTitle) {
    ASSERT_EQ(2u, m_dmx.m_labels.size());
    EXPECT_EQ("ger", m_dmx.m_labels[0].isoLang);
    EXPECT_EQ("Deutsch", m_dmx.m_labels[0].title);
    // Matroska says "und" for no language, which IsoLang leaves empty.
    EXPECT_EQ("", m_dmx.m_labels[1].isoLang);
    EXPECT_EQ("", m_dmx.m_labels[1].title);
    ASSERT_EQ(2u, m_host->Streams().size());
    EXPECT_EQ(1, m_host->Streams()[0].trackid);
    EXPECT_EQ("subrip", m_host->Streams()[1].codec);
}

TEST_F(CDmxHostTest, ReadsAsFarAheadAsAskedAndEndsEachStreamOnce) {
    ASSERT_TRUE(m_host->Start(0).Ok());
    EXPECT_EQ((std::vector<std::string>{"NewSegment 0 1", "NewSegment 0 2"}), m_dmx.m_calls);
    bool ended = false;
    ASSERT_TRUE(m_host->FeedUntil(3 * kSecond, ended).Ok());
    EXPECT_FALSE(ended);
    EXPECT_EQ((std::vector<std::string>{"1 Eins", "2 plain", "1 Drei"}), Texts());
    EXPECT_EQ(4 * kSecond, m_host->LastStop());

    ASSERT_TRUE(m_host->FeedUntil(100 * kSecond, ended).Ok());
    EXPECT_TRUE(ended);
    ASSERT_TRUE(m_host->FeedUntil(200 * kSecond, ended).Ok());
    EXPECT_EQ((std::vector<std::string>{"1 Eins", "2 plain", "1 Drei", "1 Fünf", "1 Sieben"}), Texts());
    EXPECT_EQ(1, std::count(m_dmx.m_calls.begin(), m_dmx.m_calls.end(), "EndOfStream 1"));
    EXPECT_EQ(1, std::count(m_dmx.m_calls.begin(), m_dmx.m_calls.end(), "EndOfStream 2"));
    EXPECT_EQ(7 * kSecond, m_dmx.m_samples.back().start);
    EXPECT_EQ(8 * kSecond, m_dmx.m_samples.back().stop);
}

TEST_F(CDmxHostTest, ASeekFlushesStartsASegmentAndLeavesOutWhatEndedBefore) {
    ASSERT_TRUE(m_host->Start(4 * kSecond).Ok());
    EXPECT_EQ((std::vector<std::string>{"BeginFlush 1", "EndFlush 1", "NewSegment 4 1", "BeginFlush 2", "EndFlush 2",
                                        "NewSegment 4 2"}),
              m_dmx.m_calls);
    bool ended = false;
    ASSERT_TRUE(m_host->FeedUntil(100 * kSecond, ended).Ok());
    EXPECT_EQ((std::vector<std::string>{"1 Fünf", "1 Sieben"}), Texts());
    // Times are the segment's: Fünf starts a second after the point sought.
    EXPECT_EQ(1 * kSecond, m_dmx.m_samples.front().start);
}

TEST_F(CDmxHostTest, CountsTheCuesOfEachStream) {
    std::vector<int64_t> counts;
    ASSERT_TRUE(m_host->CountCues(counts).Ok());
    EXPECT_EQ((std::vector<int64_t>{4, 1}), counts);
}

TEST(CMuxHost, FollowsTheAnnouncementsUntilTheStreamsAreMade) {
    CMuxHost host;
    const CSubtitleMediaType english({"eng", "English"});
    const CSubtitleMediaType russian({"rus", "Русский"});
    EXPECT_OK(host.AddTrack(english.Get(), 1));
    EXPECT_OK(host.AddTrack(russian.Get(), 2));
    EXPECT_OK(host.RemoveTrack(1));
    ASSERT_EQ(1u, host.Tracks().size());
    EXPECT_EQ(2, host.Tracks()[0].id);
    EXPECT_EQ("Русский", host.Tracks()[0].label.title);
    AM_MEDIA_TYPE other = *english.Get();
    other.formattype = MEDIATYPE_Subtitle;
    EXPECT_HR(VFW_E_INVALIDMEDIATYPE, host.AddTrack(&other, 3));

    host.FreezeTracks();
    EXPECT_HR(VFW_E_WRONG_STATE, host.AddTrack(english.Get(), 3));
    EXPECT_HR(VFW_E_WRONG_STATE, host.RemoveTrack(2));
    EXPECT_HR(VFW_E_WRONG_STATE, host.RemoveAllTracks());
    EXPECT_EQ(1u, host.Tracks().size());
}

/// A sink that counts what reaches it.
class CountingSink final : public CCueSink {
public:
    HRESULT Cue(size_t track, int64_t, int64_t, const char* text, size_t length) override {
        m_cues.push_back(std::to_string(track) + " " + std::string(text, length));
        return S_OK;
    }
    HRESULT End(size_t) override { return S_OK; }
    void Abandon() override { m_abandoned = true; }

    std::vector<std::string> m_cues;
    bool m_abandoned = false;
};

TEST(CMuxHost, HandsSamplesOnByTrackAndGivesUpOnATrackNeverAnnounced) {
    CMuxHost host;
    const CSubtitleMediaType type({"", ""});
    ASSERT_OK(host.AddTrack(type.Get(), 7));
    ASSERT_OK(host.AddTrack(type.Get(), 3));
    host.FreezeTracks();
    CountingSink sink;
    host.SetSink(&sink);
    BYTE text[] = {'h', 'i'};
    EXPECT_OK(host.Receive(3, 0, 1, text, 2));
    EXPECT_EQ((std::vector<std::string>{"1 hi"}), sink.m_cues);
    EXPECT_EQ("", host.Failure());

    EXPECT_HR(E_INVALIDARG, host.Receive(5, 0, 1, text, 2));
    EXPECT_TRUE(sink.m_abandoned);
    EXPECT_EQ("the multiplexer sent a sample of track 5, which it never announced", host.Failure());
    EXPECT_HR(E_INVALIDARG, host.Receive(7, 0, 1, nullptr, 2));
}

}  // namespace
