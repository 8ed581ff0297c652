#include "tools/zqsubtitle/CEditMultiplexer.h"

#include "zqplatform/oleauto.h"

namespace {

CComPtr<IUnknown> Identity(IUnknown* object) {
    CComPtr<IUnknown> identity;
    if (object != nullptr)
        object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    return identity;
}

}  // namespace

HRESULT CEditMultiplexer::AddTextTrackFromFile(BSTR path, BSTR Label, BSTR Language, LONG* trackid) {
    LONG id = 0;
    const HRESULT hr = m_mux->AddTextTrackFromFile(path, Label, Language, &id);
    if (trackid != nullptr)
        *trackid = id;
    if (FAILED(hr))
        return hr;
    CComPtr<IZQSubtitleTrackList> tracks;
    CComPtr<IZQSubtitleTrack> track;
    if (SUCCEEDED(m_mux->get_Tracks(&tracks)) && SUCCEEDED(tracks->GetTrackByID(id, &track))) {
        try {
            m_files.push_back({Identity(track.Get()), path != nullptr ? std::u16string(path, SysStringLen(path)) : u""});
        } catch (...) {
            // The track is added all the same; only its file goes unprinted.
        }
    }
    return hr;
}

std::u16string CEditMultiplexer::FileOf(IZQSubtitleTrack* track) const {
    const CComPtr<IUnknown> identity = Identity(track);
    for (const TrackFile& file : m_files) {
        if (file.track == identity)
            return file.path;
    }
    return {};
}
