// The multiplexer as zqsubtitle edit serves it to the page: the module's
// object, with the file of every track remembered.
#pragma once

#include <string>
#include <vector>

#include "zqplatform/comptr.h"
#include "zqplatform/unknownimpl.h"
#include "zqsubtitle/ZQSubtitle.h"

/// Stands in front of the module's multiplexer and passes every call on.
/// A track's file is nowhere in its interface, so this remembers the file of
/// each track added through it, by the track object's identity, which an
/// edit bracket keeps even where it gives a discarded track its old id back.
/// Dispatch calls go to the module's object directly and aren't remembered;
/// the page makes none. Made with new by the edit command; one thread.
class CEditMultiplexer final : public CUnknownImpl<ZQLifetime::Counted, IZQMuxSubtitle> {
public:
    explicit CEditMultiplexer(CComPtr<IZQMuxSubtitle> mux) : m_mux(std::move(mux)) {}

    HRESULT GetTypeInfoCount(UINT* pctinfo) override { return m_mux->GetTypeInfoCount(pctinfo); }
    HRESULT GetTypeInfo(UINT info, LCID lcid, ITypeInfo** ppTInfo) override {
        return m_mux->GetTypeInfo(info, lcid, ppTInfo);
    }
    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) override {
        return m_mux->GetIDsOfNames(riid, names, count, lcid, ids);
    }
    HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO* exception, UINT* argumentError) override {
        return m_mux->Invoke(id, riid, lcid, flags, params, result, exception, argumentError);
    }
    HRESULT get_Tracks(IZQSubtitleTrackList** pVal) override { return m_mux->get_Tracks(pVal); }
    HRESULT get_TextTracks(IZQSubtitleTrackList** pVal) override { return m_mux->get_TextTracks(pVal); }
    /// Passes on, then remembers `path` for the new track.
    HRESULT AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) override;
    HRESULT RemoveTrack(LONG trackid) override { return m_mux->RemoveTrack(trackid); }
    HRESULT EnterEdit() override { return m_mux->EnterEdit(); }
    HRESULT LeaveEdit(VARIANT_BOOL discard) override { return m_mux->LeaveEdit(discard); }

    /// The file a track was added from; empty for a track that didn't come
    /// through this object.
    std::u16string FileOf(IZQSubtitleTrack* track) const;

private:
    ~CEditMultiplexer() override = default;

    struct TrackFile {
        CComPtr<IUnknown> track;  // the identity; held so it can't be reused
        std::u16string path;
    };

    CComPtr<IZQMuxSubtitle> m_mux;
    std::vector<TrackFile> m_files;
};
