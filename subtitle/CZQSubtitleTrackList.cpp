#include "subtitle/CZQSubtitleTrackList.h"

#include <cassert>

#include "subtitle/CZQSubtitleTrack.h"
#include "support/CComObjectCached.h"
#include "zqplatform/comptr.h"

namespace {

constexpr LONG kFreeEntry = -1;

bool KeepAll(const CZQSubtitleTrack&) noexcept {
    return true;
}

bool KeepText(const CZQSubtitleTrack& track) noexcept {
    return track.GetKind() == ZQSubtitle_Track_Kind_Text;
}

bool KeepSelected(const CZQSubtitleTrack& track) noexcept {
    return track.IsSelected();
}

}  // namespace

HRESULT CZQSubtitleTrackList::Create(CZQSubtitleTrackList** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    CComObjectCached<CZQSubtitleTrackList>* shell = nullptr;
    const HRESULT hr = CComObjectCached<CZQSubtitleTrackList>::CreateInstance(&shell);
    if (FAILED(hr))
        return hr;
    shell->AddRef();
    *out = shell;
    return S_OK;
}

CZQSubtitleTrackList::~CZQSubtitleTrackList() {
    RemoveAll();
}

void* CZQSubtitleTrackList::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQSubtitleTrackList, IDispatch>(this, iid);
}

HRESULT CZQSubtitleTrackList::get_Count(LONG* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    *pVal = GetCount();
    return S_OK;
}

HRESULT CZQSubtitleTrackList::GetTrack(LONG index, IZQSubtitleTrack** track) {
    if (track == nullptr)
        return E_POINTER;
    CZQSubtitleTrack* found = GetTrackAt(index);
    if (found == nullptr)
        return DISP_E_BADINDEX;
    found->AddRef();
    *track = found;
    return S_OK;
}

HRESULT CZQSubtitleTrackList::GetTrackByID(LONG trackid, IZQSubtitleTrack** track) {
    if (track == nullptr)
        return E_POINTER;
    CZQSubtitleTrack* found = nullptr;
    const HRESULT hr = FindByID(trackid, &found);
    *track = found;
    return hr;
}

HRESULT CZQSubtitleTrackList::GetTrackIndexByID(LONG trackid, LONG* index) {
    if (index == nullptr)
        return E_POINTER;
    *index = kFreeEntry;
    if (trackid < 1 || trackid > GetIdMapSize())
        return E_INVALIDARG;
    *index = m_idMap[static_cast<size_t>(trackid - 1)];
    return S_OK;
}

HRESULT CZQSubtitleTrackList::FindByID(LONG trackid, CZQSubtitleTrack** track) noexcept {
    if (track == nullptr)
        return E_POINTER;
    *track = nullptr;
    const LONG index = IndexOfID(trackid);
    if (index < 0)
        return E_INVALIDARG;
    CZQSubtitleTrack* found = m_trackArray[static_cast<size_t>(index)];
    found->AddRef();
    *track = found;
    return S_OK;
}

HRESULT CZQSubtitleTrackList::AddTrack(CZQSubtitleTrack* track) {
    if (track == nullptr)
        return E_POINTER;
    // Room first, so that nothing can fail once the track bears its id.
    m_trackArray.EnsureRoom(m_trackArray.GetCount() + 1);

    // Every id of the map is taken when there are as many tracks as entries;
    // otherwise the lowest free one is reused.
    size_t entry = 0;
    if (m_trackArray.GetCount() >= m_idMap.GetCount()) {
        m_idMap.Add(kFreeEntry);
        entry = m_idMap.GetCount() - 1;
    } else {
        while (m_idMap[entry] >= 0)
            ++entry;
    }
    const LONG id = static_cast<LONG>(entry + 1);
    const HRESULT hr = track->SetID(id);
    if (FAILED(hr))
        return hr;

    track->AddRef();
    m_trackArray.Add(track);
    m_idMap[entry] = static_cast<LONG>(m_trackArray.GetCount() - 1);
    return S_OK;
}

HRESULT CZQSubtitleTrackList::AddExisting(CZQSubtitleTrack* track) {
    if (track == nullptr)
        return E_POINTER;
    return AddExistingInternal(track, track->GetID());
}

HRESULT CZQSubtitleTrackList::AddExistingInternal(CZQSubtitleTrack* track, LONG trackid) {
    // A track without an id would have no entry, and every track of a list
    // must be found by its id; a second entry for one id would hide a track.
    if (trackid < 1 || IndexOfID(trackid) >= 0)
        return E_INVALIDARG;
    const auto entry = static_cast<size_t>(trackid - 1);
    // Both arrays get their room before the first change.
    m_idMap.EnsureRoom(entry + 1);
    m_trackArray.EnsureRoom(m_trackArray.GetCount() + 1);

    while (m_idMap.GetCount() <= entry)
        m_idMap.Add(kFreeEntry);
    track->AddRef();
    m_trackArray.Add(track);
    m_idMap[entry] = static_cast<LONG>(m_trackArray.GetCount() - 1);
    return S_OK;
}

HRESULT CZQSubtitleTrackList::RemoveByID(LONG trackid) noexcept {
    const LONG index = IndexOfID(trackid);
    if (index < 0)
        return E_INVALIDARG;
    m_idMap[static_cast<size_t>(trackid - 1)] = kFreeEntry;
    for (size_t entry = 0; entry < m_idMap.GetCount(); ++entry) {
        if (m_idMap[entry] > index)
            --m_idMap[entry];
    }
    CZQSubtitleTrack* track = m_trackArray[static_cast<size_t>(index)];
    // Only a cue that already bears another id could refuse, and none does.
    track->SetID(0);
    m_trackArray.RemoveAt(static_cast<size_t>(index));
    // Released last, when the list is whole again.
    track->Release();
    return S_OK;
}

void CZQSubtitleTrackList::RemoveAll() noexcept {
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i)
        m_trackArray[i]->Release();
    m_trackArray.RemoveAll();
    m_idMap.RemoveAll();
}

HRESULT CZQSubtitleTrackList::Clone(CZQSubtitleTrackList** list) {
    return SnapshotInternal(&KeepAll, list);
}

HRESULT CZQSubtitleTrackList::GetAllTracks(CZQSubtitleTrackList** list) {
    return SnapshotInternal(&KeepAll, list);
}

HRESULT CZQSubtitleTrackList::GetTextTracks(CZQSubtitleTrackList** list) {
    return SnapshotInternal(&KeepText, list);
}

HRESULT CZQSubtitleTrackList::GetSelectedTracks(CZQSubtitleTrackList** list) {
    return SnapshotInternal(&KeepSelected, list);
}

HRESULT CZQSubtitleTrackList::SnapshotInternal(TrackFilter keep, CZQSubtitleTrackList** list) {
    if (list == nullptr)
        return E_POINTER;
    *list = nullptr;
    CComPtr<CZQSubtitleTrackList> snapshot;
    HRESULT hr = Create(&snapshot);
    if (FAILED(hr))
        return hr;
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i) {
        CZQSubtitleTrack* track = m_trackArray[i];
        if (!keep(*track))
            continue;
        // The id this list holds the track under, which in a live list is the
        // track's own; a snapshot of a snapshot keeps the recorded ids.
        hr = snapshot->AddExistingInternal(track, IDAt(i));
        if (FAILED(hr))
            return hr;
    }
    *list = snapshot.Detach();
    return S_OK;
}

void CZQSubtitleTrackList::RestoreIDs() noexcept {
    for (size_t entry = 0; entry < m_idMap.GetCount(); ++entry) {
        const LONG index = m_idMap[entry];
        if (index < 0)
            continue;
        CZQSubtitleTrack* track = m_trackArray[static_cast<size_t>(index)];
        if (track->GetID() == 0)
            track->SetID(static_cast<LONG>(entry + 1));
    }
}

HRESULT CZQSubtitleTrackList::UpdateActive(IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) {
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i) {
        const CComPtr<CZQSubtitleTrack> track(m_trackArray[i]);
        const HRESULT hr = track->UpdateActive(callback, time);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT CZQSubtitleTrackList::DeactivateAll(bool* wasActive) noexcept {
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i) {
        const HRESULT hr = m_trackArray[i]->DeactivateAll(wasActive);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT CZQSubtitleTrackList::Rewind() noexcept {
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i) {
        const HRESULT hr = m_trackArray[i]->Rewind();
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT CZQSubtitleTrackList::SendNext(IZQMuxSubtitleControlCallback* callback) {
    HRESULT result = S_FALSE;
    for (size_t i = 0; i < m_trackArray.GetCount(); ++i) {
        const CComPtr<CZQSubtitleTrack> track(m_trackArray[i]);
        const HRESULT hr = track->SendNext(callback);
        if (FAILED(hr))
            return hr;
        // Every track gets its turn in this pass; one that wasn't finished
        // keeps the pump going.
        if (hr != S_FALSE)
            result = S_OK;
    }
    return result;
}

HRESULT CZQSubtitleTrackList::SetTrackData(LONG trackid, LONGLONG data) noexcept {
    const LONG index = IndexOfID(trackid);
    if (index < 0)
        return E_INVALIDARG;
    m_trackArray[static_cast<size_t>(index)]->SetTrackData(data);
    return S_OK;
}

HRESULT CZQSubtitleTrackList::GetTrackData(LONG trackid, LONGLONG* data) noexcept {
    if (data == nullptr)
        return E_POINTER;
    const LONG index = IndexOfID(trackid);
    if (index < 0)
        return E_INVALIDARG;
    *data = m_trackArray[static_cast<size_t>(index)]->GetTrackData();
    return S_OK;
}

HRESULT CZQSubtitleTrackList::AddTextTrackFromFile(IZQMuxSubtitleControlCallback* callback, const WCHAR* path,
                                                   const WCHAR* label, const WCHAR* language, LONG* trackid) {
    CComPtr<CZQSubtitleTrack> track;
    HRESULT hr = CZQSubtitleTrack::Create(&track);
    if (FAILED(hr))
        return hr;
    hr = track->LoadFromFile(path, label, language);
    if (FAILED(hr))
        return hr;
    track->SetKind(ZQSubtitle_Track_Kind_Text);
    hr = AddTrack(track.Get());
    if (FAILED(hr))
        return hr;
    track->SetSelected(true);

    const LONG id = track->GetID();
    if (callback != nullptr) {
        hr = callback->AddTrack(track->GetMediaType(), id);
        if (FAILED(hr)) {
            RemoveByID(id);
            return hr;
        }
    }
    if (trackid != nullptr)
        *trackid = id;
    return S_OK;
}

HRESULT CZQSubtitleTrackList::RemoveTrack(IZQMuxSubtitleControlCallback* callback, LONG trackid) {
    if (callback != nullptr) {
        const HRESULT hr = callback->RemoveTrack(trackid);
        if (FAILED(hr))
            return hr;
    }
    return RemoveByID(trackid);
}

HRESULT CZQSubtitleTrackList::AnnounceAll(IZQMuxSubtitleControlCallback* callback) {
    if (callback == nullptr)
        return S_OK;
    const HRESULT hr = callback->RemoveAllTracks();
    if (FAILED(hr))
        return hr;
    for (size_t i = 0; i < m_trackArray.GetCount();) {
        const CComPtr<CZQSubtitleTrack> track(m_trackArray[i]);
        const LONG id = IDAt(i);
        if (SUCCEEDED(callback->AddTrack(track->GetMediaType(), id))) {
            ++i;
            continue;
        }
        // The host won't have it: the track leaves, and the one behind it
        // moves into this index. The refusal isn't the caller's failure.
        RemoveByID(id);
    }
    return S_OK;
}

CZQSubtitleTrack* CZQSubtitleTrackList::GetTrackAt(LONG index) const noexcept {
    if (index < 0 || index >= GetCount())
        return nullptr;
    return m_trackArray[static_cast<size_t>(index)];
}

LONG CZQSubtitleTrackList::IndexOfID(LONG trackid) const noexcept {
    if (trackid < 1 || trackid > GetIdMapSize())
        return kFreeEntry;
    return m_idMap[static_cast<size_t>(trackid - 1)];
}

LONG CZQSubtitleTrackList::IDAt(size_t index) const noexcept {
    for (size_t entry = 0; entry < m_idMap.GetCount(); ++entry) {
        if (m_idMap[entry] == static_cast<LONG>(index))
            return static_cast<LONG>(entry + 1);
    }
    // Every track has an entry; reaching here is our own bug.
    assert(false && "a track of the list without an id");
    return 0;
}
