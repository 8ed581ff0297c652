// Hands cues from the multiplexer's pump to the writer, in time order.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CCueSink.h"

/// One cue on its way from the pump to the writer.
struct QueuedCue {
    int64_t start = 0;
    int64_t stop = 0;
    std::string text;
};

/// Hands cues from the multiplexer object's pump to the writer with a queue
/// per track, so that the writer can take them in time order among
/// themselves and among the media, and sets the pump's pace as a host does:
/// Receive blocks while the writer has a cue of every unfinished track to
/// choose from and this track has a full queue. It never blocks while a
/// track that the writer waits for is empty, since the pump sends one cue of
/// each track in turn, so the two can't wait for each other. A track whose
/// cues don't come in the order of their starts is kept whole and sorted at
/// its end. Memory stays at a queue per track as long as the tracks run side
/// by side in time; tracks that don't (one early, one late) keep what the
/// pump has sent ahead of the writer. The pump calls Cue and End; the writer
/// Wait and TakeEarliest; Abandon comes from either.
class CCueInterleaver final : public CCueSink {
public:
    /// Cues a track may have queued before Receive blocks.
    static constexpr size_t kDefaultHighWater = 4096;

    /// `inOrder[i]` tells whether track i's cues come in the order of their
    /// starts.
    explicit CCueInterleaver(const std::vector<bool>& inOrder, size_t highWater = kDefaultHighWater);

    // The pump's side. Cue blocks as told above, and answers E_ABORT, with
    // nothing queued, once the run has been abandoned.
    HRESULT Cue(size_t track, int64_t start, int64_t stop, const char* text, size_t length) override;
    HRESULT End(size_t track) override;
    void Abandon() override;

    // The writer's side.
    enum class State {
        /// The earliest cue is known: every unfinished track has one queued.
        Ready,
        /// Every track has ended and the writer has taken all cues.
        Finished,
        /// The time ran out first; the writer may look at other things.
        Waiting,
        Abandoned,
    };
    /// Waits up to `timeout` until the writer can take the earliest cue. A
    /// writer that has to wait is woken when the pump has sent a batch of
    /// cues, has ended a track or has to wait itself.
    State Wait(std::chrono::milliseconds timeout);
    /// Takes the earliest queued cue (the first queued of those with the
    /// earliest start) when it starts at or before `limit`. False when it
    /// starts later or nothing is queued. Only after Wait answered Ready.
    /// `cue`'s text buffer goes to the queue in exchange.
    bool TakeEarliest(int64_t limit, size_t& track, QueuedCue& cue);

    /// The most cues that were queued at once, over all tracks.
    size_t PeakQueued() const;

private:
    /// A track's queue: a ring of cues whose texts keep their buffers from
    /// one cue to the next, so that a cue on its way costs no allocation.
    struct Track {
        std::vector<QueuedCue> ring;
        size_t head = 0;
        size_t size = 0;
        bool inOrder = true;
        bool ended = false;

        QueuedCue& Front() { return ring[head]; }
        QueuedCue& PushSlot();
        void PopFront() noexcept;
        void SortByStart();
    };

    bool IsReady(const Track& track) const noexcept { return track.ended || (track.inOrder && track.size > 0); }
    bool PumpMayGoOn(size_t track) const noexcept;

    const size_t m_highWater;
    const size_t m_lowWater;
    // Cues a track gathers before the pump wakes a waiting writer.
    const size_t m_writerBatch;
    // Guards everything below. m_pumpWake wakes the pump blocked in Cue,
    // m_writerWake the writer in Wait; each is signalled only while its
    // thread waits.
    mutable std::mutex m_mutex;
    std::condition_variable m_pumpWake;
    std::condition_variable m_writerWake;
    std::vector<Track> m_tracks;
    // Tracks that are not ready, so the writer must wait while it isn't 0.
    size_t m_notReady;
    size_t m_queued = 0;
    size_t m_peakQueued = 0;
    // The track whose Cue blocks, or SIZE_MAX.
    size_t m_pumpWaitsOn = SIZE_MAX;
    bool m_writerWaits = false;
    bool m_abandoned = false;
};
