// The message queue of one thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "zqplatform/winuser.h"

namespace zqplatform {

/// The queue of posted messages of one thread, made on that thread's first
/// use of a window or message function and shared (by shared_ptr) with the
/// windows of the thread and the process-wide table. Any thread may post;
/// only the owner takes messages out. An optional eventfd mirrors the queue:
/// readable exactly while a message is queued.
class MessageQueue {
public:
    explicit MessageQueue(DWORD threadId) noexcept : m_threadId(threadId) {}
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    DWORD GetThreadId() const noexcept { return m_threadId; }

    /// Appends a message. False with the last error set when the queue is
    /// closed (ERROR_INVALID_THREAD_ID) or out of memory.
    bool Post(const MSG& message) noexcept;

    /// The first message that passes the filter, taken out if `remove`.
    /// False when there is none.
    bool Peek(MSG* message, HWND window, UINT filterMin, UINT filterMax, bool remove) noexcept;

    /// Waits until a message passes the filter and takes it out.
    void Wait(MSG* message, HWND window, UINT filterMin, UINT filterMax) noexcept;

    /// Drops every queued message of a window that is being destroyed.
    void RemoveWindowMessages(HWND window) noexcept;

    /// The eventfd mirror, made on first request; -1 with the last error set.
    int GetFd() noexcept;

    /// The owner thread ends: the queue refuses posts and drops its messages.
    void Close() noexcept;

private:
    static bool Matches(const MSG& message, HWND window, UINT filterMin, UINT filterMax) noexcept;
    /// Brings the eventfd in line with the queue; called with m_mutex held
    /// after every change.
    void UpdateSignalLocked() noexcept;

    const DWORD m_threadId;
    // Guards every field below.
    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::deque<MSG> m_messages;
    int m_eventFd = -1;
    bool m_signalled = false;  // the eventfd's counter is 1
    bool m_closed = false;
};

}  // namespace zqplatform
