#include "subtitle/CZQSubtitleCue.h"

#include <cassert>
#include <climits>
#include <memory>
#include <new>

#include "support/CComObjectCached.h"
#include "support/CStatusException.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"

namespace {

constexpr double kUnitsPerSecond = 10000000.0;

/// Texts whose UTF-8 form surely fits here are converted without touching the
/// heap, so that the pump costs no allocation for an ordinary subtitle.
constexpr size_t kInlineUtf8Bytes = 1024;
/// One UTF-16 code unit never takes more than three UTF-8 bytes (a surrogate
/// pair takes four for its two units).
constexpr size_t kMaxUtf8BytesPerUnit = 3;

double ToSeconds(REFERENCE_TIME time) noexcept {
    return static_cast<double>(time) / kUnitsPerSecond;
}

/// The UTF-8 form of a cue's text for one Send: in an inline buffer when it
/// is short, on the heap otherwise. A conversion that fails leaves the empty
/// string, which still goes to the host.
class Utf8Payload {
public:
    /// Raises the status exception E_OUTOFMEMORY when a long text's buffer
    /// can't be allocated.
    Utf8Payload(const WCHAR* text, size_t units) {
        m_inline[0] = 0;
        if (units == 0)
            return;
        assert(units <= INT_MAX / kMaxUtf8BytesPerUnit && "a cue text of gigabytes");
        const INT count = static_cast<INT>(units);
        if (units * kMaxUtf8BytesPerUnit <= sizeof(m_inline)) {
            m_length = ConvertInto(text, count, m_inline, static_cast<INT>(sizeof(m_inline)));
            return;
        }
        const INT needed = WideCharToMultiByte(CP_UTF8, 0, text, count, nullptr, 0, nullptr, nullptr);
        if (needed <= 0)
            return;
        m_heap.reset(new (std::nothrow) char[static_cast<size_t>(needed)]);
        if (!m_heap)
            ZQThrowStatus(E_OUTOFMEMORY);
        m_length = ConvertInto(text, count, m_heap.get(), needed);
    }

    BYTE* Data() noexcept { return reinterpret_cast<BYTE*>(m_heap ? m_heap.get() : m_inline); }
    LONG Length() const noexcept { return m_length; }

private:
    static LONG ConvertInto(const WCHAR* text, INT count, char* buffer, INT capacity) noexcept {
        const INT written = WideCharToMultiByte(CP_UTF8, 0, text, count, buffer, capacity, nullptr, nullptr);
        return written > 0 ? written : 0;
    }

    char m_inline[kInlineUtf8Bytes];
    std::unique_ptr<char[]> m_heap;
    LONG m_length = 0;
};

}  // namespace

HRESULT CZQSubtitleCue::Create(LONG trackid, const WCHAR* text, size_t length, REFERENCE_TIME start,
                               REFERENCE_TIME stop, CZQSubtitleCue** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (text == nullptr && length != 0)
        return E_POINTER;

    CComObjectCached<CZQSubtitleCue>* shell = nullptr;
    HRESULT hr = CComObjectCached<CZQSubtitleCue>::CreateInstance(&shell);
    if (FAILED(hr))
        return hr;
    CZQSubtitleCue* cue = shell;
    cue->AddRef();
    hr = ZQCallWithBarrier([&] {
        if (length != 0)
            cue->m_text.assign(text, length);
    });
    if (FAILED(hr)) {
        cue->Release();
        return hr;
    }
    cue->m_start = start;
    cue->m_stop = stop;
    cue->m_trackid.store(trackid, std::memory_order_relaxed);
    *out = cue;
    return S_OK;
}

void* CZQSubtitleCue::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQSubtitleCue, IDispatch>(this, iid);
}

HRESULT CZQSubtitleCue::get_Start(double* pVal) {
    return ZQCallWithBarrier([&] {
        if (pVal == nullptr)
            return E_POINTER;
        *pVal = ToSeconds(m_start);
        return S_OK;
    });
}

HRESULT CZQSubtitleCue::get_Stop(double* pVal) {
    return ZQCallWithBarrier([&] {
        if (pVal == nullptr)
            return E_POINTER;
        *pVal = ToSeconds(m_stop);
        return S_OK;
    });
}

HRESULT CZQSubtitleCue::get_Text(BSTR* pVal) {
    return ZQCallWithBarrier([&] {
        if (pVal == nullptr)
            return E_POINTER;
        // Counted, so that a text with a NUL inside comes out whole.
        BSTR text = SysAllocStringLen(m_text.data(), static_cast<UINT>(m_text.size()));
        if (text == nullptr)
            return E_OUTOFMEMORY;
        *pVal = text;
        return S_OK;
    });
}

HRESULT CZQSubtitleCue::get_trackid(LONG* pVal) {
    return ZQCallWithBarrier([&] {
        if (pVal == nullptr)
            return E_POINTER;
        *pVal = GetTrackID();
        return S_OK;
    });
}

HRESULT CZQSubtitleCue::UpdateActive(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) {
    const bool wasActive = m_active;
    // Stored before the event, so that a failed callback isn't asked again at
    // the next test.
    m_active = IsActiveAt(selected, callback, time);
    if (m_active && !wasActive)
        return callback->Cue(ZQSubtitle_Cue_Event_Active, ToSeconds(time), this);
    if (!m_active && wasActive && callback != nullptr)
        return callback->Cue(ZQSubtitle_Cue_Event_Inactive, ToSeconds(time), this);
    return S_OK;
}

HRESULT CZQSubtitleCue::Deactivate(bool* wasActive) noexcept {
    if (m_active && wasActive != nullptr)
        *wasActive = true;
    m_active = false;
    return S_OK;
}

HRESULT CZQSubtitleCue::Send(IZQMuxSubtitleControlCallback* callback) {
    if (callback == nullptr)
        return S_OK;
    // The sample ends at the text's first NUL, as a terminated string would.
    const size_t units = m_text.find(u'\0');
    Utf8Payload payload(m_text.data(), units == std::u16string::npos ? m_text.size() : units);
    return callback->Receive(GetTrackID(), m_start, m_stop, payload.Data(), payload.Length());
}

HRESULT CZQSubtitleCue::SetTrackID(LONG trackid) noexcept {
    if (GetTrackID() != 0 && trackid != 0)
        return E_INVALIDARG;
    m_trackid.store(trackid, std::memory_order_relaxed);
    return S_OK;
}
