// The event queue: order, the pool's blocks of ten, and references.
#include "dmx/CZQDmxSubtitleEventQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/// An event with a number that counts the events alive.
class NumberedEvent final : public CZQDmxSubtitleCallbackEvent {
public:
    NumberedEvent(int number, int* alive) : m_number(number), m_alive(alive) { ++*m_alive; }
    ~NumberedEvent() override { --*m_alive; }
    HRESULT Dispatch(IZQDmxSubtitleCallback*) override { return S_OK; }
    int Number() const { return m_number; }

private:
    int m_number;
    int* m_alive;
};

/// `count` new events, each pushed with the queue's reference as its only one.
std::vector<NumberedEvent*> PushEvents(CZQDmxSubtitleEventQueue& queue, int count, int* alive) {
    std::vector<NumberedEvent*> events;
    for (int i = 0; i < count; ++i) {
        events.push_back(new NumberedEvent(i, alive));
        events.back()->AddRef();
        EXPECT_EQ(queue.Push(events.back()), S_OK);
        events.back()->Release();
    }
    return events;
}

TEST(EventQueue, KeepsOrderGrowsInBlocksOfTenAndHandsEventsOverOnSwap) {
    int alive = 0;
    CZQDmxSubtitleEventQueue queue;
    auto events = PushEvents(queue, 25, &alive);
    EXPECT_EQ(queue.GetCount(), 25u);
    EXPECT_EQ(queue.GetBlockCount(), 3u);
    EXPECT_EQ(alive, 25);

    for (int expected = 0; expected < 24; ++expected) {
        auto* event = static_cast<NumberedEvent*>(queue.Pop());
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(event->Number(), expected);
        event->Release();
    }
    EXPECT_EQ(queue.GetBlockCount(), 3u) << "the pool stays while the list holds an event";
    // Nodes freed by the pops are reused before the pool grows.
    int more = 0;
    PushEvents(queue, 5, &more);
    EXPECT_EQ(queue.GetBlockCount(), 3u);
    EXPECT_EQ(static_cast<NumberedEvent*>(queue.Pop())->Number(), 24);
    // Swap hands the events over; they go when the other list is cleared.
    CZQDmxSubtitleEventQueue other;
    queue.Swap(other);
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(queue.GetBlockCount(), 0u);
    EXPECT_EQ(more, 5);
    other.Clear();
    EXPECT_TRUE(other.IsEmpty());
    EXPECT_EQ(other.GetBlockCount(), 0u);
    EXPECT_EQ(more, 0);
    EXPECT_EQ(alive, 1) << "the popped event is the caller's to release";
    events[24]->Release();
    EXPECT_EQ(alive, 0);
}

}  // namespace
