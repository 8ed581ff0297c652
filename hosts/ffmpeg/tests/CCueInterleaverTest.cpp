// The hand-over from the multiplexer's pump to the writer: time order across
// tracks, the pump's pace, tracks out of order, and giving a run up. The pump
// is played by a thread that sends one cue of each track per pass, as the
// module's pump does.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "hosts/ffmpeg/CCueInterleaver.h"
#include "tests/support/HResultAssertions.h"

namespace {

using State = CCueInterleaver::State;
constexpr auto kNoWait = std::chrono::milliseconds(0);
constexpr auto kShortWait = std::chrono::milliseconds(20);
constexpr auto kDeadline = std::chrono::seconds(20);

/// The starts of one track's cues, in the order the pump sends them.
using TrackStarts = std::vector<int64_t>;

/// A pump in the module's manner: each pass sends the next cue of every
/// track that has one, and ends a track in the pass after its last cue.
class Pump {
public:
    Pump(CCueInterleaver& interleaver, std::vector<TrackStarts> tracks)
        : m_interleaver(interleaver), m_tracks(std::move(tracks)), m_thread([this] { Run(); }) {}
    /// Gives the run up first, so that a pump left waiting by a broken
    /// writer can't hang the test.
    ~Pump() {
        m_interleaver.Abandon();
        m_thread.join();
    }

    HRESULT Result() const { return m_result.load(); }

private:
    void Run() {
        std::vector<size_t> next(m_tracks.size(), 0);
        std::vector<bool> ended(m_tracks.size(), false);
        for (bool sent = true; sent;) {
            sent = false;
            for (size_t track = 0; track < m_tracks.size(); ++track) {
                if (ended[track])
                    continue;
                HRESULT hr = S_OK;
                if (next[track] < m_tracks[track].size()) {
                    const int64_t start = m_tracks[track][next[track]++];
                    const std::string text = std::to_string(track) + ":" + std::to_string(start);
                    hr = m_interleaver.Cue(track, start, start + 10, text.data(), text.size());
                } else {
                    ended[track] = true;
                    hr = m_interleaver.End(track);
                }
                if (FAILED(hr)) {
                    m_result = hr;
                    return;
                }
                sent = true;
            }
        }
    }

    CCueInterleaver& m_interleaver;
    const std::vector<TrackStarts> m_tracks;
    std::atomic<HRESULT> m_result{S_OK};
    std::thread m_thread;
};

/// Takes every cue as a writer without media does; the (track, start) pairs
/// in the order taken. Gives up at the deadline, so a deadlock fails the
/// test instead of hanging it.
std::vector<std::pair<size_t, int64_t>> TakeAll(CCueInterleaver& interleaver) {
    std::vector<std::pair<size_t, int64_t>> taken;
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (std::chrono::steady_clock::now() < deadline) {
        const State state = interleaver.Wait(kShortWait);
        if (state == State::Finished || state == State::Abandoned)
            break;
        size_t track = 0;
        QueuedCue cue;
        if (state == State::Ready && interleaver.TakeEarliest(INT64_MAX, track, cue)) {
            EXPECT_EQ(std::to_string(track) + ":" + std::to_string(cue.start), cue.text);
            taken.emplace_back(track, cue.start);
        }
    }
    return taken;
}

TrackStarts Starts(int64_t first, int64_t count, int64_t step) {
    TrackStarts starts;
    for (int64_t i = 0; i < count; ++i)
        starts.push_back(first + i * step);
    return starts;
}

/// What a writer must take: every cue, by start, ties in track order.
std::vector<std::pair<size_t, int64_t>> InTimeOrder(const std::vector<TrackStarts>& tracks) {
    std::vector<std::pair<size_t, int64_t>> all;
    for (size_t track = 0; track < tracks.size(); ++track) {
        for (int64_t start : tracks[track])
            all.emplace_back(track, start);
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    return all;
}

TEST(CCueInterleaver, WaitsForACueOfEveryTrackBeforeTheWriterChooses) {
    CCueInterleaver interleaver({true, true});
    EXPECT_EQ(State::Waiting, interleaver.Wait(kNoWait));
    ASSERT_OK(interleaver.Cue(0, 50, 60, "late", 4));
    // Track 1 may still send something earlier.
    EXPECT_EQ(State::Waiting, interleaver.Wait(kNoWait));
    ASSERT_OK(interleaver.Cue(1, 10, 20, "early", 5));
    ASSERT_EQ(State::Ready, interleaver.Wait(kNoWait));

    size_t track = 9;
    QueuedCue cue;
    // Media at 5 go first: the earliest cue starts later.
    EXPECT_FALSE(interleaver.TakeEarliest(5, track, cue));
    ASSERT_TRUE(interleaver.TakeEarliest(10, track, cue));
    EXPECT_EQ(1u, track);
    EXPECT_EQ("early", cue.text);
    EXPECT_EQ(20, cue.stop);
    // Track 1 is empty again and hasn't ended.
    EXPECT_EQ(State::Waiting, interleaver.Wait(kNoWait));
    ASSERT_OK(interleaver.End(1));
    ASSERT_EQ(State::Ready, interleaver.Wait(kNoWait));
    ASSERT_TRUE(interleaver.TakeEarliest(INT64_MAX, track, cue));
    EXPECT_EQ("late", cue.text);
    ASSERT_OK(interleaver.End(0));
    EXPECT_EQ(State::Finished, interleaver.Wait(kNoWait));
}

TEST(CCueInterleaver, RefusesCuesOfUnknownOrEndedTracks) {
    CCueInterleaver interleaver({true});
    EXPECT_HR(E_INVALIDARG, interleaver.Cue(1, 0, 1, "x", 1));
    ASSERT_OK(interleaver.End(0));
    EXPECT_HR(E_INVALIDARG, interleaver.Cue(0, 0, 1, "x", 1));
    EXPECT_HR(E_INVALIDARG, interleaver.End(0));
}

TEST(CCueInterleaver, TakesCuesInTimeOrderWhateverTheTracksDo) {
    struct Case {
        const char* name;
        std::vector<TrackStarts> tracks;
    };
    const Case cases[] = {
        {"side by side", {Starts(0, 500, 10), Starts(5, 500, 10), Starts(3, 300, 17)}},
        // The pump sends all of the late track while the writer still needs
        // the early one: the late one is kept, and nothing waits for ever.
        {"one early, one late", {Starts(0, 2000, 1), Starts(1000000, 2000, 1)}},
        {"one empty", {Starts(0, 300, 3), {}}},
        {"equal starts", {Starts(0, 100, 0), Starts(0, 100, 0)}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        CCueInterleaver interleaver(std::vector<bool>(test.tracks.size(), true), 8);
        std::vector<std::pair<size_t, int64_t>> taken;
        {
            Pump pump(interleaver, test.tracks);
            taken = TakeAll(interleaver);
            EXPECT_OK(pump.Result());
        }
        EXPECT_EQ(InTimeOrder(test.tracks), taken);
    }
}

TEST(CCueInterleaver, KeepsAboutAQueueOfEachTrackWhileTheyRunSideBySide) {
    constexpr size_t kHighWater = 8;
    const std::vector<TrackStarts> tracks = {Starts(0, 5000, 10), Starts(5, 5000, 10)};
    CCueInterleaver interleaver({true, true}, kHighWater);
    {
        Pump pump(interleaver, tracks);
        EXPECT_EQ(10000u, TakeAll(interleaver).size());
    }
    // A track goes one cue past its mark at most, while another is empty.
    EXPECT_LE(interleaver.PeakQueued(), tracks.size() * (kHighWater + 1));
}

TEST(CCueInterleaver, SortsATrackThatIsOutOfOrderOnceItHasEnded) {
    const std::vector<TrackStarts> tracks = {{30, 10, 20, 10, 0}, Starts(5, 4, 10)};
    CCueInterleaver interleaver({false, true}, 2);
    std::vector<std::pair<size_t, int64_t>> taken;
    {
        Pump pump(interleaver, tracks);
        taken = TakeAll(interleaver);
    }
    EXPECT_EQ(InTimeOrder({{0, 10, 10, 20, 30}, Starts(5, 4, 10)}), taken);
}

TEST(CCueInterleaver, GivingUpReleasesAPumpThatWaitsAndRefusesWhatFollows) {
    CCueInterleaver interleaver({true}, 2);
    HRESULT result = S_OK;
    std::thread pump([&] {
        // No writer takes anything: the third cue waits.
        for (int i = 0; i < 3 && SUCCEEDED(result); ++i)
            result = interleaver.Cue(0, i, i + 1, "x", 1);
    });
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (interleaver.PeakQueued() < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    interleaver.Abandon();
    pump.join();
    EXPECT_HR(E_ABORT, result);
    EXPECT_EQ(State::Abandoned, interleaver.Wait(kNoWait));
    EXPECT_HR(E_ABORT, interleaver.Cue(0, 9, 10, "x", 1));
    EXPECT_HR(E_ABORT, interleaver.End(0));
}

}  // namespace
