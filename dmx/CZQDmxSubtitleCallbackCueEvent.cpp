#include "dmx/CZQDmxSubtitleCallbackCueEvent.h"

#include <new>

HRESULT CZQDmxSubtitleCallbackCueEvent::Create(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue,
                                               CZQDmxSubtitleCallbackEvent** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = new (std::nothrow) CZQDmxSubtitleCallbackCueEvent(cueevent, currenttime, cue);
    if (*out == nullptr)
        return E_OUTOFMEMORY;
    (*out)->AddRef();
    return S_OK;
}

HRESULT CZQDmxSubtitleCallbackCueEvent::Dispatch(IZQDmxSubtitleCallback* callback) {
    return callback->Cue(m_event, m_time, m_cue.Get());
}
