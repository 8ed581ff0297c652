// An application's cue callback fake: records every cue event with what the
// cue said about itself at that moment, answers with statuses a test chooses,
// and counts its references.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zqsubtitle/ZQSubtitle.h"

namespace zqtest {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// One call of Cue. The cue's properties are read during the call; `cue`
/// only identifies it and holds no reference.
struct CueEventRecord {
    ZQSubtitle_Cue_Event event;
    double time = 0;
    IZQSubtitleCue* cue = nullptr;
    std::u16string text;
    double start = 0;
    double stop = 0;
    LONG trackid = 0;
    std::thread::id thread;
};

/// A stack or member object that never deletes itself. QueryInterface answers
/// IUnknown and IZQDmxSubtitleCallback. Any thread may call it; the record
/// is guarded by a mutex.
class RecordingCueCallback : public IZQDmxSubtitleCallback {
public:
    /// Decides the status of an event from its record; runs with no lock held.
    using Responder = std::function<HRESULT(const CueEventRecord&)>;

    RecordingCueCallback() = default;
    RecordingCueCallback(const RecordingCueCallback&) = delete;
    RecordingCueCallback& operator=(const RecordingCueCallback&) = delete;

    HRESULT QueryInterface(REFIID iid, void** out) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) override;

    /// Every event answers S_OK unless a responder is set.
    void SetResponder(Responder responder);

    std::vector<CueEventRecord> Events() const;
    size_t EventCount() const;
    void ClearEvents();
    /// Waits until at least `count` events have been recorded; false when
    /// `timeout` passes first.
    bool WaitForEvents(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    /// References held now: AddRefs minus Releases.
    LONG References() const noexcept { return m_references.load(); }
    LONG AddRefCalls() const noexcept { return m_addRefs.load(); }
    LONG ReleaseCalls() const noexcept { return m_releases.load(); }

private:
    std::atomic<LONG> m_references{0};
    std::atomic<LONG> m_addRefs{0};
    std::atomic<LONG> m_releases{0};
    // Guards m_events and m_responder; m_changed is signalled on every record.
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<CueEventRecord> m_events;
    Responder m_responder;
};

#pragma GCC diagnostic pop

}  // namespace zqtest
