// The base of the events that the dispatcher queues for the application.
#pragma once

#include "support/CRefObject.h"
#include "zqsubtitle/ZQSubtitle.h"

/// One queued event: made by the dispatcher on whatever thread the event
/// arose, held by the dispatcher's queue, and delivered on the application's
/// thread. Counted from any thread; holds the module until delivered or
/// dropped.
class CZQDmxSubtitleCallbackEvent : public CRefObject<CZQDmxSubtitleCallbackEvent> {
public:
    /// Hands the event to the application's callback and answers its status.
    virtual HRESULT Dispatch(IZQDmxSubtitleCallback* callback) = 0;

protected:
    CZQDmxSubtitleCallbackEvent() noexcept = default;
    ~CZQDmxSubtitleCallbackEvent() override = default;
};
