// The event queue: order, the pool's blocks of ten, and references.
#include "dmx/CZQDmxSubtitleEventQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/// An event that records its number in a shared log when delivered and
/// counts the events alive.
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

std::vector<NumberedEvent*> MakeEvents(int count, int* alive) {
    std::vector<NumberedEvent*> events;
    for (int i = 0; i < count; ++i) {
        events.push_back(new NumberedEvent(i, alive));
        events.back()->AddRef();
    }
    return events;
}

TEST(EventQueue, KeepsOrderAndGrowsAndGivesBackItsPoolInBlocksOfTen) {
    int alive = 0;
    auto events = MakeEvents(25, &alive);
    CZQDmxSubtitleEventQueue queue;
    for (auto* event : events) {
        ASSERT_EQ(queue.Push(event), S_OK);
        event->Release();  // the queue's reference is the only one left
    }
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
    auto later = MakeEvents(5, &more);
    for (auto* event : later) {
        ASSERT_EQ(queue.Push(event), S_OK);
        event->Release();
    }
    EXPECT_EQ(queue.GetBlockCount(), 3u);
    EXPECT_EQ(static_cast<NumberedEvent*>(queue.Pop())->Number(), 24);
    queue.Clear();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(queue.GetBlockCount(), 0u);
    EXPECT_EQ(more, 0);
    EXPECT_EQ(alive, 1) << "the popped event is the caller's to release";
    events[24]->Release();
    EXPECT_EQ(alive, 0);
}

TEST(EventQueue, SwapHandsOverEventsToBeDroppedElsewhere) {
    int alive = 0;
    auto events = MakeEvents(3, &alive);
    CZQDmxSubtitleEventQueue emptied;
    {
        CZQDmxSubtitleEventQueue queue;
        for (auto* event : events) {
            ASSERT_EQ(queue.Push(event), S_OK);
            event->Release();
        }
        queue.Swap(emptied);
        EXPECT_TRUE(queue.IsEmpty());
        EXPECT_EQ(queue.GetBlockCount(), 0u);
    }
    EXPECT_EQ(alive, 3) << "the events went with the swap, not with the emptied list";
    emptied.Clear();
    EXPECT_EQ(alive, 0);
}

}  // namespace
