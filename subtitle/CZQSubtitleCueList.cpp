#include "subtitle/CZQSubtitleCueList.h"

#include <cassert>
#include <cstddef>
#include <new>
#include <string_view>
#include <type_traits>

#include "subtitle/CZQSubtitleCue.h"
#include "support/CStatusException.h"
#include "zqplatform/comptr.h"

namespace {

constexpr size_t kCacheLine = 64;

/// Asks for the lines of `bytes`; a hint that never faults and changes nothing.
void Prefetch(const void* bytes, size_t size) noexcept {
    const auto* first = static_cast<const char*>(bytes);
    for (size_t offset = 0; offset < size; offset += kCacheLine)
        __builtin_prefetch(first + offset);
}

}  // namespace

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
    Append(cue);
    return S_OK;
}

void CZQSubtitleCueList::Append(CComPtr<CZQSubtitleCue>& held) {
    // The only step that can fail comes first, so a failure leaves the list
    // as it was and the caller's reference takes the cue away again. Taking
    // the reference over, rather than adding one, spares a count up and down
    // and the module lock that a second reference takes and gives back. A new
    // block comes only when the last one is used up, and Clear gives all
    // blocks back, so the list always fills its blocks in order from their
    // first node: the timing walk relies on it.
    if (m_freeNodes == nullptr)
        GrowPool();
    CueNode* node = m_freeNodes;
    m_freeNodes = node->next;

    CZQSubtitleCue* cue = held.Detach();
    node->cue = cue;
    node->start = cue->GetStart();
    node->stop = cue->GetStop();
    node->active = cue->IsActive();
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
    block->ahead = nullptr;
    m_blocks = block;
    // The walk's lookahead: the block this many places back learns of this one.
    CueBlock* behind = block;
    for (uint32_t i = 0; i < kPrefetchBlocks && behind != nullptr; ++i)
        behind = behind->next;
    if (behind != nullptr)
        behind->ahead = block;
    // Pushed from the last node to the first, so the block is used in order.
    for (uint32_t i = m_blockSize; i-- > 0;) {
        block->nodes[i].next = m_freeNodes;
        block->nodes[i].previous = nullptr;
        block->nodes[i].cue = nullptr;
        block->nodes[i].start = 0;
        block->nodes[i].stop = 0;
        block->nodes[i].active = false;
        m_freeNodes = &block->nodes[i];
    }
}

HRESULT CZQSubtitleCueList::UpdateActive(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) {
    const uint32_t clears = m_clears;
    // The list runs through the pool's blocks in the order they were made and
    // through each block's nodes side by side, from the first node of a block
    // (see Append). So the walk steps to the next node by address and lets the
    // processor fetch a block's nodes together, instead of waiting for each
    // link in turn; only the step from one block to the next follows a link.
    for (CueNode* first = m_head; first != nullptr;) {
        CueNode* const end = first + kBlockSize;
        // The links alone would leave the walk waiting on memory at every
        // block; the fetch asked for here comes in while the blocks between
        // are tested.
        if (const CueBlock* ahead = BlockOf(first)->ahead)
            Prefetch(ahead, sizeof(CueBlock));
        CueNode* next = nullptr;
        for (CueNode* node = first; node != end; ++node) {
            next = node->next;
            assert((next == nullptr || next == node + 1 || node + 1 == end) && "a node out of the pool's order");
            assert(node->active == node->cue->IsActive() && "a cue's state changed behind its list");
            // A cue that keeps its state is judged from its node alone,
            // without the call, the reference or a look at the cue object:
            // this is the cost of every tick, over every cue of the track.
            const bool active = CZQSubtitleCue::IsActiveAt(node->start, node->stop, selected, callback, time);
            if (active != node->active) {
                // Set before the call, which may clear the list and so free
                // the node; the cue comes to the same state by the same rule.
                node->active = active;
                const CComPtr<CZQSubtitleCue> cue(node->cue);
                const HRESULT hr = cue->UpdateActive(selected, callback, time);
                if (FAILED(hr))
                    return hr;
                // The callback cleared the list: `next` went back to the pool.
                if (m_clears != clears)
                    return S_OK;
            }
            if (next == nullptr)
                return S_OK;
        }
        first = next;
    }
    return S_OK;
}

HRESULT CZQSubtitleCueList::DeactivateAll(bool* wasActive) noexcept {
    // An inactive node stands for an inactive cue, which has nothing to clear.
    for (CueNode* node = m_head; node != nullptr; node = node->next) {
        assert(node->active == node->cue->IsActive() && "a cue's state changed behind its list");
        if (!node->active)
            continue;
        node->active = false;
        node->cue->Deactivate(wasActive);
    }
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

const CZQSubtitleCueList::CueBlock* CZQSubtitleCueList::BlockOf(const CueNode* first) noexcept {
    static_assert(std::is_standard_layout_v<CueBlock>);
    return reinterpret_cast<const CueBlock*>(reinterpret_cast<const char*>(first) - offsetof(CueBlock, nodes));
}

uint32_t CZQSubtitleCueList::GetBlockCount() const noexcept {
    uint32_t count = 0;
    for (const CueBlock* block = m_blocks; block != nullptr; block = block->next)
        ++count;
    return count;
}
