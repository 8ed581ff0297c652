#include "subtitle/CZQSubtitleCueList.h"

#include <new>
#include <string_view>

#include "support/CComPtr.h"
#include "support/CStatusException.h"
#include "subtitle/CZQSubtitleCue.h"

HRESULT CZQSubtitleCueList::Create(CZQSubtitleCueList** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = new (std::nothrow) CZQSubtitleCueList();
    if (*out == nullptr)
        return E_OUTOFMEMORY;
    (*out)->AddRef();
    return S_OK;
}

CZQSubtitleCueList::~CZQSubtitleCueList() {
    Clear();
}

HRESULT CZQSubtitleCueList::AddCue(LONG trackid, const WCHAR* text, REFERENCE_TIME start, REFERENCE_TIME stop) {
    const size_t length = text != nullptr ? std::u16string_view(text).size() : 0;
    return AddCue(trackid, text, length, start, stop);
}

HRESULT CZQSubtitleCueList::AddCue(LONG trackid, const WCHAR* text, size_t length, REFERENCE_TIME start,
                                   REFERENCE_TIME stop) {
    if (text == nullptr && length != 0)
        ZQThrowStatus(E_INVALIDARG);
    CComPtr<CZQSubtitleCue> cue;
    const HRESULT hr = CZQSubtitleCue::Create(trackid, text, length, start, stop, &cue);
    if (FAILED(hr))
        ZQThrowStatus(hr);
    Append(cue.Get());
    return S_OK;
}

void CZQSubtitleCueList::Append(CZQSubtitleCue* cue) {
    // The only step that can fail comes first, so a failure leaves the list
    // as it was and the caller's reference takes the cue away again.
    if (m_freeNodes == nullptr)
        GrowPool();
    CueNode* node = m_freeNodes;
    m_freeNodes = node->next;

    cue->AddRef();
    node->cue = cue;
    node->next = nullptr;
    node->previous = m_tail;
    if (m_tail != nullptr)
        m_tail->next = node;
    else
        m_head = node;
    m_tail = node;
    ++m_count;
}

void CZQSubtitleCueList::GrowPool() {
    auto* block = new (std::nothrow) CueBlock;
    if (block == nullptr)
        ZQThrowStatus(E_OUTOFMEMORY);
    block->next = m_blocks;
    m_blocks = block;
    // Pushed from the last node to the first, so the block is used in order.
    for (uint32_t i = m_blockSize; i-- > 0;) {
        block->nodes[i].next = m_freeNodes;
        block->nodes[i].previous = nullptr;
        block->nodes[i].cue = nullptr;
        m_freeNodes = &block->nodes[i];
    }
}

HRESULT CZQSubtitleCueList::UpdateActive(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) {
    const uint32_t clears = m_clears;
    for (CueNode* node = m_head; node != nullptr;) {
        CueNode* next = node->next;
        // A cue that keeps its state needs neither the call nor the
        // reference that guards it through a callback: this is the cost of
        // every tick, over every cue of the track.
        if (node->cue->IsActiveAt(selected, callback, time) == node->cue->IsActive()) {
            node = next;
            continue;
        }
        const CComPtr<CZQSubtitleCue> cue(node->cue);
        const HRESULT hr = cue->UpdateActive(selected, callback, time);
        if (FAILED(hr))
            return hr;
        // The callback cleared the list: `next` went back to the pool.
        if (m_clears != clears)
            return S_OK;
        node = next;
    }
    return S_OK;
}

HRESULT CZQSubtitleCueList::DeactivateAll(bool* wasActive) noexcept {
    for (CueNode* node = m_head; node != nullptr; node = node->next)
        node->cue->Deactivate(wasActive);
    return S_OK;
}

HRESULT CZQSubtitleCueList::SendNext(IZQMuxSubtitleControlCallback* callback) {
    if (m_cursor == nullptr)
        return S_FALSE;
    CueNode* node = m_cursor;
    m_cursor = node->next;
    const CComPtr<CZQSubtitleCue> cue(node->cue);
    const HRESULT hr = cue->Send(callback);
    return FAILED(hr) ? hr : S_OK;
}

HRESULT CZQSubtitleCueList::Rewind() noexcept {
    m_cursor = m_head;
    return S_OK;
}

HRESULT CZQSubtitleCueList::SetTrackID(LONG trackid) noexcept {
    for (CueNode* node = m_head; node != nullptr; node = node->next) {
        const HRESULT hr = node->cue->SetTrackID(trackid);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

void CZQSubtitleCueList::Clear() noexcept {
    ++m_clears;
    // Unlinked one at a time, so that the list is whole at every release.
    while (m_count > 0) {
        CueNode* node = m_head;
        m_head = node->next;
        if (m_head != nullptr)
            m_head->previous = nullptr;
        CZQSubtitleCue* cue = node->cue;
        node->cue = nullptr;
        node->next = m_freeNodes;
        m_freeNodes = node;
        --m_count;
        cue->Release();
    }
    m_head = nullptr;
    m_tail = nullptr;
    m_freeNodes = nullptr;
    m_cursor = nullptr;
    while (m_blocks != nullptr) {
        CueBlock* block = m_blocks;
        m_blocks = block->next;
        delete block;
    }
}

uint32_t CZQSubtitleCueList::GetBlockCount() const noexcept {
    uint32_t count = 0;
    for (const CueBlock* block = m_blocks; block != nullptr; block = block->next)
        ++count;
    return count;
}
