// Small objects that implement the automation interfaces through
// CZQDispatchImpl, so the dispatch tests reach real vtables and real counts.
#pragma once

#include <string>

#include "interfaces/CZQDispatchImpl.h"
#include "support/CComObject.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"

namespace zqtest {

inline std::u16string FromBstr(BSTR text) {
    return text ? std::u16string(text, SysStringLen(text)) : std::u16string();
}

ZQ_BEGIN_INTERFACE_CLASS

/// A cue with fixed values; get_Text fails with m_textStatus when that is set.
class CTestCue : public CComObjectRootEx, public CZQDispatchImpl<IZQSubtitleCue> {
public:
    void* GetInterface(REFIID iid) noexcept { return ZQFindInterface<IZQSubtitleCue, IDispatch>(this, iid); }

    HRESULT get_Start(double* pVal) override { *pVal = m_start; return S_OK; }
    HRESULT get_Stop(double* pVal) override { *pVal = m_stop; return S_OK; }
    HRESULT get_Text(BSTR* pVal) override {
        if (FAILED(m_textStatus))
            return m_textStatus;
        *pVal = SysAllocString(u"Hello");
        return *pVal ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT get_trackid(LONG* pVal) override { *pVal = m_trackid; return S_OK; }

    double m_start = 1.5;
    double m_stop = 2.25;
    LONG m_trackid = 3;
    HRESULT m_textStatus = S_OK;
};

/// A demultiplexer that only keeps its callback and records SelectTrack.
class CTestDmx : public CComObjectRootEx, public CZQDispatchImpl<IZQDmxSubtitle> {
public:
    void* GetInterface(REFIID iid) noexcept { return ZQFindInterface<IZQDmxSubtitle, IDispatch>(this, iid); }

    HRESULT get_Tracks(IZQSubtitleTrackList**) override { return E_NOTIMPL; }
    HRESULT get_TextTracks(IZQSubtitleTrackList**) override { return E_NOTIMPL; }
    HRESULT get_SelectedTracks(IZQSubtitleTrackList**) override { return E_NOTIMPL; }
    HRESULT SelectTrack(LONG trackid, VARIANT_BOOL Selected) override {
        ++m_selectCalls;
        m_selectedTrack = trackid;
        m_selected = Selected;
        return S_OK;
    }
    HRESULT get_Callback(IZQDmxSubtitleCallback** pVal) override { return m_callback.CopyTo(pVal); }
    HRESULT putref_Callback(IZQDmxSubtitleCallback* pVal) override { m_callback = pVal; return S_OK; }

    CComPtr<IZQDmxSubtitleCallback> m_callback;
    int m_selectCalls = 0;
    LONG m_selectedTrack = 0;
    VARIANT_BOOL m_selected = VARIANT_FALSE;
};

/// A multiplexer that records the strings it was given.
class CTestMux : public CComObjectRootEx, public CZQDispatchImpl<IZQMuxSubtitle> {
public:
    void* GetInterface(REFIID iid) noexcept { return ZQFindInterface<IZQMuxSubtitle, IDispatch>(this, iid); }

    HRESULT get_Tracks(IZQSubtitleTrackList**) override { return E_NOTIMPL; }
    HRESULT get_TextTracks(IZQSubtitleTrackList**) override { return E_NOTIMPL; }
    HRESULT AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) override {
        m_path = FromBstr(path);
        m_label = FromBstr(Label);
        m_language = FromBstr(Language);
        *trackid = 7;
        return S_OK;
    }
    HRESULT RemoveTrack(LONG) override { return E_NOTIMPL; }
    HRESULT EnterEdit() override { ++m_enterEditCalls; return S_OK; }
    HRESULT LeaveEdit(VARIANT_BOOL) override { return E_NOTIMPL; }

    std::u16string m_path;
    std::u16string m_label;
    std::u16string m_language;
    int m_enterEditCalls = 0;
};

ZQ_END_INTERFACE_CLASS

/// Makes a CComObject<T> and holds its first reference.
template <class T>
CComPtr<CComObject<T>> MakeTestObject() {
    CComObject<T>* raw = nullptr;
    if (FAILED(CComObject<T>::CreateInstance(&raw)))
        return nullptr;
    return CComPtr<CComObject<T>>(raw);
}

/// A VARIANT that clears itself.
class ScopedVariant {
public:
    ScopedVariant() noexcept { VariantInit(&m_value); }
    ~ScopedVariant() { VariantClear(&m_value); }
    ScopedVariant(const ScopedVariant&) = delete;
    ScopedVariant& operator=(const ScopedVariant&) = delete;

    VARIANT* operator&() noexcept { return &m_value; }
    VARIANT* operator->() noexcept { return &m_value; }
    const VARIANT& Get() const noexcept { return m_value; }

private:
    VARIANT m_value;
};

}  // namespace zqtest
