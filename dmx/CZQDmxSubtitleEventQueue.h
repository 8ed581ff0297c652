// The dispatcher's first-in first-out list of events, over a pool of nodes.
#pragma once

#include <cstddef>

#include "dmx/CZQDmxSubtitleCallbackEvent.h"

/// A first-in first-out list of counted references to events, without a
/// bound. Nodes come from a pool that grows by blocks of kBlockSize and is
/// given back whole when the list becomes empty, so a burst costs one
/// allocation per ten events and an idle dispatcher holds no memory. Owned by
/// one dispatcher and used under its lock; not synchronised itself.
class CZQDmxSubtitleEventQueue {
public:
    static constexpr size_t kBlockSize = 10;

    CZQDmxSubtitleEventQueue() noexcept = default;
    ~CZQDmxSubtitleEventQueue() { Clear(); }
    CZQDmxSubtitleEventQueue(const CZQDmxSubtitleEventQueue&) = delete;
    CZQDmxSubtitleEventQueue& operator=(const CZQDmxSubtitleEventQueue&) = delete;

    bool IsEmpty() const noexcept { return m_head == nullptr; }
    size_t GetCount() const noexcept { return m_count; }
    /// Blocks of the pool held now; 0 whenever the list is empty.
    size_t GetBlockCount() const noexcept { return m_blocks; }

    /// Appends `event` with a reference of the list's own. E_OUTOFMEMORY
    /// when the pool can't grow, with the list as it was.
    HRESULT Push(CZQDmxSubtitleCallbackEvent* event) noexcept;

    /// Takes out the first event and hands its reference to the caller; null
    /// when the list is empty.
    CZQDmxSubtitleCallbackEvent* Pop() noexcept;

    /// Drops every event's reference and gives the pool back.
    void Clear() noexcept;

    /// Exchanges contents, so that a caller can empty the list under a lock
    /// and drop the references after it.
    void Swap(CZQDmxSubtitleEventQueue& other) noexcept;

private:
    struct Node {
        CZQDmxSubtitleCallbackEvent* event;
        Node* next;
    };
    struct Block {
        Node nodes[kBlockSize];
        Block* next;
    };

    /// Frees every block; the list must be empty.
    void ReleasePool() noexcept;

    Node* m_head = nullptr;
    Node* m_tail = nullptr;
    Node* m_free = nullptr;
    Block* m_pool = nullptr;
    size_t m_count = 0;
    size_t m_blocks = 0;
};
