// A first run of the pump that only looks at the cues.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "hosts/ffmpeg/CCueSink.h"

/// Counts the cues of each track in a run of the pump before the writing
/// one, and finds whether they come in the order of their starts, which a
/// container needs: a track whose cues don't is kept whole and sorted while
/// it is written. The counts measure the progress of a file without media.
/// The pump calls Cue and End; the session waits and then reads.
class CCueCensus final : public CCueSink {
public:
    struct TrackCount {
        int64_t cues = 0;
        bool inOrder = true;
        int64_t lastStart = INT64_MIN;
    };

    explicit CCueCensus(size_t tracks) : m_tracks(tracks) {}

    HRESULT Cue(size_t track, int64_t start, int64_t stop, const char* text, size_t length) override;
    HRESULT End(size_t track) override;
    void Abandon() override;

    /// Waits up to `timeout` for the end of every track; true when all have
    /// ended, or the census was abandoned.
    bool WaitForEnds(std::chrono::milliseconds timeout);
    bool Abandoned() const;

    /// The counts; read only once WaitForEnds has answered true.
    const std::vector<TrackCount>& Tracks() const noexcept { return m_tracks; }
    int64_t TotalCues() const noexcept;

private:
    // Written by the pump alone, read after the last End.
    std::vector<TrackCount> m_tracks;
    // Guards m_ended, and the change of m_abandoned that a waiter looks
    // for; m_changed is signalled with each.
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    size_t m_ended = 0;
    // Also read by the pump without the lock, before each cue.
    std::atomic<bool> m_abandoned{false};
};
