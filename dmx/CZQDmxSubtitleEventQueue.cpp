#include "dmx/CZQDmxSubtitleEventQueue.h"

#include <new>
#include <utility>

HRESULT CZQDmxSubtitleEventQueue::Push(CZQDmxSubtitleCallbackEvent* event) noexcept {
    if (m_free == nullptr) {
        Block* block = new (std::nothrow) Block;
        if (block == nullptr)
            return E_OUTOFMEMORY;
        for (size_t i = 0; i < kBlockSize; ++i)
            block->nodes[i] = Node{nullptr, i + 1 < kBlockSize ? &block->nodes[i + 1] : nullptr};
        block->next = m_pool;
        m_pool = block;
        m_free = &block->nodes[0];
        ++m_blocks;
    }
    Node* node = m_free;
    m_free = node->next;
    event->AddRef();
    *node = Node{event, nullptr};
    if (m_tail != nullptr)
        m_tail->next = node;
    else
        m_head = node;
    m_tail = node;
    ++m_count;
    return S_OK;
}

CZQDmxSubtitleCallbackEvent* CZQDmxSubtitleEventQueue::Pop() noexcept {
    Node* node = m_head;
    if (node == nullptr)
        return nullptr;
    CZQDmxSubtitleCallbackEvent* event = node->event;
    m_head = node->next;
    if (m_head == nullptr)
        m_tail = nullptr;
    --m_count;
    node->event = nullptr;
    node->next = m_free;
    m_free = node;
    if (m_head == nullptr)
        ReleasePool();
    return event;
}

void CZQDmxSubtitleEventQueue::Clear() noexcept {
    while (CZQDmxSubtitleCallbackEvent* event = Pop())
        event->Release();
}

void CZQDmxSubtitleEventQueue::Swap(CZQDmxSubtitleEventQueue& other) noexcept {
    std::swap(m_head, other.m_head);
    std::swap(m_tail, other.m_tail);
    std::swap(m_free, other.m_free);
    std::swap(m_pool, other.m_pool);
    std::swap(m_count, other.m_count);
    std::swap(m_blocks, other.m_blocks);
}

void CZQDmxSubtitleEventQueue::ReleasePool() noexcept {
    while (m_pool != nullptr) {
        Block* next = m_pool->next;
        delete m_pool;
        m_pool = next;
    }
    m_free = nullptr;
    m_blocks = 0;
}
