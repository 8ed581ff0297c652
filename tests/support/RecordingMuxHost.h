// A host multiplexer fake: records every call of IZQMuxSubtitleControlCallback
// in order, answers with statuses a test chooses, and counts its references.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "zqsubtitle/ZQSubtitle.h"

namespace zqtest {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

enum class MuxHostCallKind { Receive, EndOfStream, AddTrack, RemoveAllTracks, RemoveTrack };

/// One call the host received. Fields that the call doesn't carry stay 0/empty.
struct MuxHostCall {
    MuxHostCallKind kind;
    LONG trackid = 0;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    /// Receive: the payload bytes, exactly `length` of them.
    std::string data;
    /// AddTrack: a copy of the media type's identifiers and format block
    /// (the host may only read the media type during the call).
    GUID majortype = GUID_NULL;
    GUID subtype = GUID_NULL;
    GUID formattype = GUID_NULL;
    std::vector<BYTE> format;
};

/// A stack or member object that never deletes itself. QueryInterface answers
/// IUnknown and IZQMuxSubtitleControlCallback. Any thread may call it (a pump
/// worker calls Receive while the test waits); the record is guarded by a mutex.
class RecordingMuxHost : public IZQMuxSubtitleControlCallback {
public:
    /// Decides the status of a call from its record; runs with no lock held,
    /// so it may call back into the object under test.
    using Responder = std::function<HRESULT(const MuxHostCall&)>;

    RecordingMuxHost() = default;
    RecordingMuxHost(const RecordingMuxHost&) = delete;
    RecordingMuxHost& operator=(const RecordingMuxHost&) = delete;

    HRESULT QueryInterface(REFIID iid, void** out) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override;
    HRESULT EndOfStream(LONG trackid) override;
    HRESULT AddTrack(const AM_MEDIA_TYPE* mediatype, LONG trackid) override;
    HRESULT RemoveAllTracks() override;
    HRESULT RemoveTrack(LONG trackid) override;

    /// Every call answers S_OK unless a responder is set; set it before the
    /// object under test can call.
    void SetResponder(Responder responder);

    std::vector<MuxHostCall> Calls() const;
    /// The calls of one kind, in order.
    std::vector<MuxHostCall> Calls(MuxHostCallKind kind) const;
    size_t CountCalls(MuxHostCallKind kind) const;
    void ClearCalls();
    /// Waits until at least `count` calls of `kind` have been recorded; false
    /// when `timeout` passes first.
    bool WaitForCalls(MuxHostCallKind kind, size_t count,
                      std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    /// References held now: AddRefs minus Releases.
    LONG References() const noexcept { return m_references.load(); }
    LONG AddRefCalls() const noexcept { return m_addRefs.load(); }
    LONG ReleaseCalls() const noexcept { return m_releases.load(); }

private:
    HRESULT Record(MuxHostCall call);
    size_t CountCallsLocked(MuxHostCallKind kind) const;

    std::atomic<LONG> m_references{0};
    std::atomic<LONG> m_addRefs{0};
    std::atomic<LONG> m_releases{0};
    // Guards m_calls and m_responder; m_changed is signalled on every record.
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<MuxHostCall> m_calls;
    Responder m_responder;
};

#pragma GCC diagnostic pop

}  // namespace zqtest
