#include "tests/support/RecordingCueCallback.h"

#include <gtest/gtest.h>

#include <utility>

#include "zqplatform/oleauto.h"

namespace zqtest {

HRESULT RecordingCueCallback::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IZQDmxSubtitleCallback)
        return E_NOINTERFACE;
    AddRef();
    *out = static_cast<IZQDmxSubtitleCallback*>(this);
    return S_OK;
}

ULONG RecordingCueCallback::AddRef() {
    m_addRefs.fetch_add(1);
    return static_cast<ULONG>(m_references.fetch_add(1) + 1);
}

ULONG RecordingCueCallback::Release() {
    m_releases.fetch_add(1);
    const LONG count = m_references.fetch_sub(1) - 1;
    if (count < 0)
        ADD_FAILURE() << "RecordingCueCallback released more often than it was referenced";
    return static_cast<ULONG>(count);
}

HRESULT RecordingCueCallback::Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) {
    CueEventRecord record{cueevent, currenttime, cue};
    record.thread = std::this_thread::get_id();
    if (cue != nullptr) {
        BSTR text = nullptr;
        EXPECT_EQ(cue->get_Text(&text), S_OK);
        record.text.assign(text != nullptr ? text : u"", SysStringLen(text));
        SysFreeString(text);
        EXPECT_EQ(cue->get_Start(&record.start), S_OK);
        EXPECT_EQ(cue->get_Stop(&record.stop), S_OK);
        EXPECT_EQ(cue->get_trackid(&record.trackid), S_OK);
    }
    Responder responder;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(record);
        responder = m_responder;
    }
    m_changed.notify_all();
    return responder ? responder(record) : S_OK;
}

void RecordingCueCallback::SetResponder(Responder responder) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_responder = std::move(responder);
}

std::vector<CueEventRecord> RecordingCueCallback::Events() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

size_t RecordingCueCallback::EventCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events.size();
}

void RecordingCueCallback::ClearEvents() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
}

bool RecordingCueCallback::WaitForEvents(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_events.size() >= count; });
}

}  // namespace zqtest
