#include "kernel/RetryOnInterrupt.h"
#include "window/MessageQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>

namespace zqplatform {

namespace {

/// Writes or reads the eventfd's 8-byte counter.
void WriteCounter(int fd, uint64_t value) noexcept {
    zqplatform::RetryOnInterrupt([&] { return ::write(fd, &value, sizeof value); });
}

void DrainCounter(int fd) noexcept {
    uint64_t value = 0;
    zqplatform::RetryOnInterrupt([&] { return ::read(fd, &value, sizeof value); });
}

}  // namespace

MessageQueue::~MessageQueue() {
    if (m_eventFd >= 0)
        ::close(m_eventFd);
}

bool MessageQueue::Post(const MSG& message) noexcept {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_closed) {
            SetLastError(ERROR_INVALID_THREAD_ID);
            return false;
        }
        try {
            m_messages.push_back(message);
        } catch (const std::bad_alloc&) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return false;
        }
        UpdateSignalLocked();
    }
    m_posted.notify_all();
    return true;
}

bool MessageQueue::Matches(const MSG& message, HWND window, UINT filterMin, UINT filterMax) noexcept {
    if (window == ZQ_HWND_THREAD_MESSAGES && message.hwnd != nullptr)
        return false;
    if (window != nullptr && window != ZQ_HWND_THREAD_MESSAGES && message.hwnd != window)
        return false;
    if (filterMin == 0 && filterMax == 0)
        return true;
    return message.message >= filterMin && message.message <= filterMax;
}

bool MessageQueue::Peek(MSG* message, HWND window, UINT filterMin, UINT filterMax, bool remove) noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = std::find_if(m_messages.begin(), m_messages.end(), [&](const MSG& queued) {
        return Matches(queued, window, filterMin, filterMax);
    });
    if (found == m_messages.end())
        return false;
    *message = *found;
    if (remove) {
        m_messages.erase(found);
        UpdateSignalLocked();
    }
    return true;
}

void MessageQueue::Wait(MSG* message, HWND window, UINT filterMin, UINT filterMax) noexcept {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        auto found = std::find_if(m_messages.begin(), m_messages.end(), [&](const MSG& queued) {
            return Matches(queued, window, filterMin, filterMax);
        });
        if (found != m_messages.end()) {
            *message = *found;
            m_messages.erase(found);
            UpdateSignalLocked();
            return;
        }
        m_posted.wait(lock);
    }
}

void MessageQueue::RemoveWindowMessages(HWND window) noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::erase_if(m_messages, [window](const MSG& queued) { return queued.hwnd == window; });
    UpdateSignalLocked();
}

int MessageQueue::GetFd() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_eventFd >= 0)
        return m_eventFd;
    int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) {
        ZQHResultFromErrno(errno);
        return -1;
    }
    m_eventFd = fd;
    m_signalled = false;
    UpdateSignalLocked();
    return m_eventFd;
}

void MessageQueue::Close() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    m_messages.clear();
    UpdateSignalLocked();
}

void MessageQueue::UpdateSignalLocked() noexcept {
    if (m_eventFd < 0)
        return;
    // The counter only ever moves between 0 and 1, on the queue's own
    // transitions between empty and not, so poll tells exactly whether a
    // message waits, however many were posted.
    bool pending = !m_messages.empty();
    if (pending == m_signalled)
        return;
    if (pending)
        WriteCounter(m_eventFd, 1);
    else
        DrainCounter(m_eventFd);
    m_signalled = pending;
}

}  // namespace zqplatform
