#include "hosts/ffmpeg/CCueInterleaver.h"

#include <algorithm>

#include "zqplatform/status.h"

CCueInterleaver::CCueInterleaver(const std::vector<bool>& inOrder, size_t highWater)
    : m_highWater(std::max<size_t>(highWater, 1)), m_lowWater(m_highWater / 2),
      m_writerBatch(std::max<size_t>(m_highWater / 4, 1)), m_tracks(inOrder.size()), m_notReady(inOrder.size()) {
    for (size_t i = 0; i < inOrder.size(); ++i)
        m_tracks[i].inOrder = inOrder[i];
}

QueuedCue& CCueInterleaver::Track::PushSlot() {
    if (size == ring.size()) {
        // Full: unroll the ring into a larger one, oldest first.
        std::vector<QueuedCue> larger(std::max<size_t>(ring.size() * 2, 8));
        for (size_t i = 0; i < size; ++i)
            larger[i] = std::move(ring[(head + i) % ring.size()]);
        ring = std::move(larger);
        head = 0;
    }
    QueuedCue& slot = ring[(head + size) % ring.size()];
    ++size;
    return slot;
}

void CCueInterleaver::Track::PopFront() noexcept {
    head = (head + 1) % ring.size();
    --size;
}

void CCueInterleaver::Track::SortByStart() {
    std::vector<QueuedCue> sorted;
    sorted.reserve(size);
    for (size_t i = 0; i < size; ++i)
        sorted.push_back(std::move(ring[(head + i) % ring.size()]));
    // Stable, so that cues with one start keep the order of the file.
    std::stable_sort(sorted.begin(), sorted.end(), [](const QueuedCue& a, const QueuedCue& b) { return a.start < b.start; });
    ring = std::move(sorted);
    head = 0;
}

bool CCueInterleaver::PumpMayGoOn(size_t track) const noexcept {
    return m_abandoned || m_notReady > 0 || m_tracks[track].size <= m_lowWater;
}

HRESULT CCueInterleaver::Cue(size_t track, int64_t start, int64_t stop, const char* text, size_t length) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_abandoned)
        return E_ABORT;
    if (track >= m_tracks.size() || m_tracks[track].ended)
        return E_INVALIDARG;
    Track& queue = m_tracks[track];
    const bool wasReady = IsReady(queue);
    QueuedCue& slot = queue.PushSlot();
    slot.start = start;
    slot.stop = stop;
    slot.text.assign(text, length);
    m_peakQueued = std::max(m_peakQueued, ++m_queued);
    if (!wasReady && IsReady(queue))
        --m_notReady;
    // A writer that waits is woken for a batch of cues, not for each one,
    // which would cost two thread switches per cue.
    if (m_writerWaits && m_notReady == 0 && queue.size == m_writerBatch)
        m_writerWake.notify_one();
    if (m_notReady > 0 || queue.size < m_highWater)
        return S_OK;
    // The writer has a cue of every track to choose from and this track is
    // well ahead: wait until it has taken some, or until it waits for
    // another track. A writer that waits for a batch takes what there is.
    if (m_writerWaits)
        m_writerWake.notify_one();
    m_pumpWaitsOn = track;
    m_pumpWake.wait(lock, [this, track] { return PumpMayGoOn(track); });
    m_pumpWaitsOn = SIZE_MAX;
    return m_abandoned ? E_ABORT : S_OK;
}

HRESULT CCueInterleaver::End(size_t track) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_abandoned)
        return E_ABORT;
    if (track >= m_tracks.size() || m_tracks[track].ended)
        return E_INVALIDARG;
    Track& queue = m_tracks[track];
    if (!queue.inOrder)
        queue.SortByStart();
    const bool wasReady = IsReady(queue);
    queue.ended = true;
    if (!wasReady)
        --m_notReady;
    if (m_writerWaits)
        m_writerWake.notify_one();
    return S_OK;
}

void CCueInterleaver::Abandon() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_abandoned = true;
    m_pumpWake.notify_all();
    m_writerWake.notify_all();
}

CCueInterleaver::State CCueInterleaver::Wait(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_writerWaits = true;
    const bool woken = m_writerWake.wait_for(lock, timeout, [this] { return m_abandoned || m_notReady == 0; });
    m_writerWaits = false;
    if (m_abandoned)
        return State::Abandoned;
    if (!woken)
        return State::Waiting;
    return m_queued == 0 ? State::Finished : State::Ready;
}

bool CCueInterleaver::TakeEarliest(int64_t limit, size_t& track, QueuedCue& cue) {
    std::lock_guard<std::mutex> lock(m_mutex);
    size_t earliest = SIZE_MAX;
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        Track& candidate = m_tracks[i];
        if (candidate.size == 0 || !IsReady(candidate))
            continue;
        if (earliest == SIZE_MAX || candidate.Front().start < m_tracks[earliest].Front().start)
            earliest = i;
    }
    if (earliest == SIZE_MAX || m_tracks[earliest].Front().start > limit)
        return false;
    Track& taken = m_tracks[earliest];
    QueuedCue& front = taken.Front();
    cue.start = front.start;
    cue.stop = front.stop;
    cue.text.swap(front.text);
    taken.PopFront();
    --m_queued;
    if (!IsReady(taken))
        ++m_notReady;
    track = earliest;
    if (m_pumpWaitsOn != SIZE_MAX && PumpMayGoOn(m_pumpWaitsOn))
        m_pumpWake.notify_one();
    return true;
}

size_t CCueInterleaver::PeakQueued() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_peakQueued;
}
