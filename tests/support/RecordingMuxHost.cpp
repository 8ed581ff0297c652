#include "tests/support/RecordingMuxHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace zqtest {

HRESULT RecordingMuxHost::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IZQMuxSubtitleControlCallback)
        return E_NOINTERFACE;
    AddRef();
    *out = static_cast<IZQMuxSubtitleControlCallback*>(this);
    return S_OK;
}

ULONG RecordingMuxHost::AddRef() {
    m_addRefs.fetch_add(1);
    return static_cast<ULONG>(m_references.fetch_add(1) + 1);
}

ULONG RecordingMuxHost::Release() {
    m_releases.fetch_add(1);
    const LONG count = m_references.fetch_sub(1) - 1;
    if (count < 0)
        ADD_FAILURE() << "RecordingMuxHost released more often than it was referenced";
    return static_cast<ULONG>(count);
}

HRESULT RecordingMuxHost::Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data,
                                  LONG length) {
    MuxHostCall call{MuxHostCallKind::Receive, trackid, start, stop};
    if (length < 0 || (data == nullptr && length > 0)) {
        ADD_FAILURE() << "Receive with " << length << " bytes at " << static_cast<const void*>(data);
    } else if (length > 0) {
        call.data.assign(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
    }
    return Record(std::move(call));
}

HRESULT RecordingMuxHost::EndOfStream(LONG trackid) {
    return Record(MuxHostCall{MuxHostCallKind::EndOfStream, trackid});
}

HRESULT RecordingMuxHost::AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) {
    MuxHostCall call{MuxHostCallKind::AddTrack, trackid};
    if (mediatype == nullptr) {
        ADD_FAILURE() << "AddTrack without a media type";
    } else {
        call.majortype = mediatype->majortype;
        call.subtype = mediatype->subtype;
        call.formattype = mediatype->formattype;
        if (mediatype->pbFormat != nullptr)
            call.format.assign(mediatype->pbFormat, mediatype->pbFormat + mediatype->cbFormat);
    }
    return Record(std::move(call));
}

HRESULT RecordingMuxHost::RemoveAllTracks() {
    return Record(MuxHostCall{MuxHostCallKind::RemoveAllTracks});
}

HRESULT RecordingMuxHost::RemoveTrack(LONG trackid) {
    return Record(MuxHostCall{MuxHostCallKind::RemoveTrack, trackid});
}

void RecordingMuxHost::SetResponder(Responder responder) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_responder = std::move(responder);
}

HRESULT RecordingMuxHost::Record(MuxHostCall call) {
    Responder responder;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back(call);
        responder = m_responder;
    }
    m_changed.notify_all();
    return responder ? responder(call) : S_OK;
}

std::vector<MuxHostCall> RecordingMuxHost::Calls() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

std::vector<MuxHostCall> RecordingMuxHost::Calls(MuxHostCallKind kind) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<MuxHostCall> out;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(out),
                 [kind](const MuxHostCall& call) { return call.kind == kind; });
    return out;
}

size_t RecordingMuxHost::CountCalls(MuxHostCallKind kind) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return CountCallsLocked(kind);
}

size_t RecordingMuxHost::CountCallsLocked(MuxHostCallKind kind) const {
    return static_cast<size_t>(std::count_if(m_calls.begin(), m_calls.end(),
                                             [kind](const MuxHostCall& call) { return call.kind == kind; }));
}

void RecordingMuxHost::ClearCalls() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
}

bool RecordingMuxHost::WaitForCalls(MuxHostCallKind kind, size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return CountCallsLocked(kind) >= count; });
}

}  // namespace zqtest
