// A cue event on its way to the application.
#pragma once

#include "dmx/CZQDmxSubtitleCallbackEvent.h"
#include "zqplatform/comptr.h"

/// A copy of one call of IZQDmxSubtitleCallback::Cue. Its reference to the
/// cue keeps the cue alive after its list has dropped it (a flush), until
/// the event is delivered or dropped. Immutable after Create, so any thread
/// may hold it.
class CZQDmxSubtitleCallbackCueEvent final : public CZQDmxSubtitleCallbackEvent {
public:
    /// Makes the event with a reference to `cue` (null for Clear). `*out`
    /// holds the caller's reference; E_POINTER for a null `out`,
    /// E_OUTOFMEMORY with `*out` null.
    static HRESULT Create(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue,
                          CZQDmxSubtitleCallbackEvent** out) noexcept;

    /// Calls `callback->Cue` with the three values; its status.
    HRESULT Dispatch(IZQDmxSubtitleCallback* callback) override;

private:
    CZQDmxSubtitleCallbackCueEvent(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) noexcept
        : m_event(cueevent), m_time(currenttime), m_cue(cue) {}
    ~CZQDmxSubtitleCallbackCueEvent() override = default;

    const ZQSubtitle_Cue_Event m_event;
    const double m_time;
    const CComPtr<IZQSubtitleCue> m_cue;
};
