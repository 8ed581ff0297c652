#include "hosts/ffmpeg/CMuxHost.h"

#include <new>

#include "zqplatform/status.h"

std::string CMuxHost::Failure() const {
    std::lock_guard<std::mutex> lock(m_failureMutex);
    return m_failure;
}

HRESULT CMuxHost::AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) {
    if (m_frozen)
        return VFW_E_WRONG_STATE;
    try {
        Track track;
        track.id = trackid;
        if (!ReadSubtitleMediaType(mediatype, track.label))
            return VFW_E_INVALIDMEDIATYPE;
        m_tracks.push_back(std::move(track));
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CMuxHost::RemoveAllTracks() {
    if (m_frozen)
        return VFW_E_WRONG_STATE;
    m_tracks.clear();
    return S_OK;
}

HRESULT CMuxHost::RemoveTrack(LONG trackid) {
    if (m_frozen)
        return VFW_E_WRONG_STATE;
    std::erase_if(m_tracks, [trackid](const Track& track) { return track.id == trackid; });
    return S_OK;
}

HRESULT CMuxHost::Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) {
    if (m_sink == nullptr)
        return S_OK;
    try {
        const size_t track = FindTrackInternal(trackid);
        if (track == SIZE_MAX)
            return E_INVALIDARG;
        if (length < 0 || (data == nullptr && length > 0)) {
            FailInternal("the multiplexer sent a sample without its data");
            return E_INVALIDARG;
        }
        return m_sink->Cue(track, start, stop, reinterpret_cast<const char*>(data), static_cast<size_t>(length));
    } catch (const std::bad_alloc&) {
        FailInternal("out of memory for a cue");
        return E_OUTOFMEMORY;
    }
}

HRESULT CMuxHost::EndOfStream(LONG trackid) {
    if (m_sink == nullptr)
        return S_OK;
    try {
        const size_t track = FindTrackInternal(trackid);
        return track == SIZE_MAX ? E_INVALIDARG : m_sink->End(track);
    } catch (const std::bad_alloc&) {
        FailInternal("out of memory for a cue");
        return E_OUTOFMEMORY;
    }
}

size_t CMuxHost::FindTrackInternal(LONG trackid) {
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        if (m_tracks[i].id == trackid)
            return i;
    }
    FailInternal("the multiplexer sent a sample of track " + std::to_string(trackid) + ", which it never announced");
    return SIZE_MAX;
}

void CMuxHost::FailInternal(const std::string& reason) noexcept {
    try {
        std::lock_guard<std::mutex> lock(m_failureMutex);
        if (m_failure.empty())
            m_failure = reason;
    } catch (const std::bad_alloc&) {
        // The run is abandoned all the same; only the words are lost.
    }
    if (m_sink != nullptr)
        m_sink->Abandon();
}
