#include "hosts/ffmpeg/CCueCensus.h"

#include "zqplatform/status.h"

HRESULT CCueCensus::Cue(size_t track, int64_t start, int64_t, const char*, size_t) {
    if (m_abandoned.load(std::memory_order_relaxed))
        return E_ABORT;
    if (track >= m_tracks.size())
        return E_INVALIDARG;
    TrackCount& count = m_tracks[track];
    ++count.cues;
    if (start < count.lastStart)
        count.inOrder = false;
    count.lastStart = start;
    return S_OK;
}

HRESULT CCueCensus::End(size_t track) {
    if (m_abandoned.load(std::memory_order_relaxed))
        return E_ABORT;
    if (track >= m_tracks.size())
        return E_INVALIDARG;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_ended;
    }
    m_changed.notify_all();
    return S_OK;
}

void CCueCensus::Abandon() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_abandoned = true;
    }
    m_changed.notify_all();
}

bool CCueCensus::WaitForEnds(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [this] { return m_abandoned || m_ended >= m_tracks.size(); });
}

bool CCueCensus::Abandoned() const {
    return m_abandoned.load();
}

int64_t CCueCensus::TotalCues() const noexcept {
    int64_t total = 0;
    for (const TrackCount& track : m_tracks)
        total += track.cues;
    return total;
}
