// One subtitle: a text and the interval of media time in which it is shown.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "interfaces/CZQDispatchImpl.h"
#include "support/CComObjectRoot.h"
#include "zqsubtitle/ZQSubtitle.h"

/// A cue, made as CComObjectCached<CZQSubtitleCue>: its cue list holds one
/// reference, which doesn't keep the module loaded, and any further holder (a
/// queued cue event, the application) does. Times, text and the counted
/// length never change after Create, so any thread may read the properties;
/// m_trackid and m_active are changed only under the owner object's lock, and
/// m_trackid is atomic because an application may read it meanwhile.
class CZQSubtitleCue : public CComObjectRootEx, public CZQDispatchImpl<IZQSubtitleCue> {
public:
    /// Makes a cue with a copy of `length` code units of `text` (null only
    /// with 0) and the interval [start, stop). `*out` holds the one reference
    /// of the caller. E_POINTER for a null `out`, E_OUTOFMEMORY; `*out` is null
    /// on failure. Values are not tested: any times and an empty text are kept.
    static HRESULT Create(LONG trackid, const WCHAR* text, size_t length, REFERENCE_TIME start,
                          REFERENCE_TIME stop, CZQSubtitleCue** out) noexcept;

    /// Identity table: IUnknown, IZQSubtitleCue and IDispatch, all this object.
    void* GetInterface(REFIID iid) noexcept;

    // IZQSubtitleCue. Each gives E_POINTER for a null `pVal`.
    HRESULT get_Start(double* pVal) override;
    HRESULT get_Stop(double* pVal) override;
    /// A new BSTR with every code unit of the text; E_OUTOFMEMORY without memory.
    HRESULT get_Text(BSTR* pVal) override;
    HRESULT get_trackid(LONG* pVal) override;

    /// Tests the cue against `time`: it is active while `selected`, with a
    /// callback, on [m_start, m_stop). On a change fires Active or Inactive
    /// through `callback` with `time` in seconds and gives its status; else
    /// S_OK. The new state stands whatever the callback answers, so a failed
    /// event is not repeated. Losing the callback deactivates without an event.
    HRESULT UpdateActive(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time);

    /// The state UpdateActive would give the cue, without changing anything:
    /// the rule on its own, so that a walk can skip the cues that stay as
    /// they are (nearly all of them at every tick) without a call.
    bool IsActiveAt(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) const noexcept {
        return IsActiveAt(m_start, m_stop, selected, callback, time);
    }

    /// The rule for a cue of the interval [start, stop), for a caller that
    /// keeps a copy of the times next to its link to the cue (the cue list,
    /// whose walk would otherwise fetch every cue from the heap).
    static bool IsActiveAt(REFERENCE_TIME start, REFERENCE_TIME stop, bool selected,
                           IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) noexcept {
        return selected && callback != nullptr && time >= start && time < stop;
    }

    /// Makes the cue inactive without an event. Stores true through a non-null
    /// `wasActive` if the cue was active, and never stores false, so one flag
    /// can collect the answer over many cues. Always S_OK.
    HRESULT Deactivate(bool* wasActive) noexcept;

    /// Hands the text to `callback` as UTF-8 (no BOM, no terminator counted)
    /// with the track id and the times as they stand, converted up to the
    /// text's first NUL. S_OK and no call for a null callback; otherwise the
    /// callback's status. Raises the status exception E_OUTOFMEMORY when a
    /// long text's buffer can't be had.
    HRESULT Send(IZQMuxSubtitleControlCallback* callback);

    /// Sets the track id; E_INVALIDARG and no change when both the present and
    /// the new id are non-zero, since a cue moves between tracks only by way of
    /// "no track".
    HRESULT SetTrackID(LONG trackid) noexcept;

    REFERENCE_TIME GetStart() const noexcept { return m_start; }
    REFERENCE_TIME GetStop() const noexcept { return m_stop; }
    LONG GetTrackID() const noexcept { return m_trackid.load(std::memory_order_relaxed); }
    bool IsActive() const noexcept { return m_active; }
    const std::u16string& GetText() const noexcept { return m_text; }

protected:
    CZQSubtitleCue() noexcept = default;
    ~CZQSubtitleCue() = default;

private:
    REFERENCE_TIME m_start = 0;
    REFERENCE_TIME m_stop = 0;
    std::u16string m_text;
    std::atomic<LONG> m_trackid{0};
    bool m_active = false;
};
