// Timer queues: one thread per queue calls its timers' routines in turn.
//
// A thread of our own rather than timer_create: the caller that cancels a
// timer must be able to wait until a running routine has returned (the trace
// log unloads the code the routine lives in right after), and POSIX timers
// give no such wait. The thread sleeps on a condition variable until the
// earliest due time or a change of the queue.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "zqplatform/status.h"
#include "zqplatform/sync.h"
#include "zqplatform/timerqueue.h"

namespace zqplatform {

namespace {

using Clock = std::chrono::steady_clock;

/// One timer of a queue. The queue's lock guards every field but the
/// routine and its parameter, which never change.
struct Timer {
    WAITORTIMERCALLBACK callback;
    PVOID parameter;
    Clock::time_point due;
    std::chrono::milliseconds period;
    bool expired = false;  // a one-shot timer that has fired
};

/// A queue and its thread. Made by CreateTimerQueue, ended by
/// DeleteTimerQueueEx; any thread may add or delete timers.
class TimerQueue {
public:
    static constexpr uint32_t kLiveTag = 0x5A51544Du;  // "ZQTM"

    TimerQueue() : m_thread([this] { Run(); }) {}

    static TimerQueue* FromHandle(HANDLE handle) {
        auto* queue = reinterpret_cast<TimerQueue*>(handle);
        if (queue == nullptr || handle == INVALID_HANDLE_VALUE || queue->m_tag != kLiveTag) {
            SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return queue;
    }

    /// Adds a timer and stores its handle in `*handle` before the timer can
    /// fire, so that a routine that is due at once already finds its handle.
    void Add(WAITORTIMERCALLBACK callback, PVOID parameter, DWORD dueTime, DWORD period, HANDLE* handle) {
        auto timer = std::make_shared<Timer>();
        timer->callback = callback;
        timer->parameter = parameter;
        timer->due = Clock::now() + std::chrono::milliseconds(dueTime);
        timer->period = std::chrono::milliseconds(period);
        std::lock_guard lock(m_mutex);
        m_timers.push_back(timer);
        *handle = reinterpret_cast<HANDLE>(timer.get());
        m_changed.notify_all();
    }

    /// Takes a timer out of the queue; with `wait`, until its routine isn't
    /// running any more, unless this is the routine's own thread.
    bool Remove(Timer* timer, bool wait) {
        std::unique_lock lock(m_mutex);
        auto found = std::find_if(m_timers.begin(), m_timers.end(), [timer](auto& t) { return t.get() == timer; });
        if (found == m_timers.end()) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return false;
        }
        m_timers.erase(found);
        m_changed.notify_all();
        if (wait && !OnOwnThreadLocked())
            m_changed.wait(lock, [&] { return m_running != timer; });
        return true;
    }

    /// Ends the queue. From the queue's own thread the thread is let go and
    /// deletes the queue when the running routine returns; otherwise this
    /// waits for the thread when asked to, or lets it go likewise.
    void Shutdown(bool wait) {
        {
            std::lock_guard lock(m_mutex);
            m_timers.clear();
            m_stopping = true;
            m_deletesItself = OnOwnThreadLocked() || !wait;
            m_changed.notify_all();
            // Let go under the lock: once it is free the thread may delete
            // the queue, m_thread included.
            if (m_deletesItself) {
                m_thread.detach();
                return;
            }
        }
        m_thread.join();
        delete this;
    }

private:
    ~TimerQueue() { m_tag = 0; }

    bool OnOwnThreadLocked() const { return std::this_thread::get_id() == m_threadId; }

    void Run() {
        std::unique_lock lock(m_mutex);
        m_threadId = std::this_thread::get_id();
        while (!m_stopping) {
            std::shared_ptr<Timer> next = EarliestLocked();
            if (next == nullptr) {
                m_changed.wait(lock);
                continue;
            }
            if (Clock::now() < next->due) {
                m_changed.wait_until(lock, next->due);
                continue;
            }
            Fire(lock, next);
        }
        bool deletesItself = m_deletesItself;
        lock.unlock();
        if (deletesItself)
            delete this;
    }

    std::shared_ptr<Timer> EarliestLocked() const {
        std::shared_ptr<Timer> earliest;
        for (auto& timer : m_timers)
            if (!timer->expired && (earliest == nullptr || timer->due < earliest->due))
                earliest = timer;
        return earliest;
    }

    /// Calls one routine without the lock, so that it may add or delete
    /// timers, and schedules its next run unless it was deleted meanwhile.
    void Fire(std::unique_lock<std::mutex>& lock, const std::shared_ptr<Timer>& timer) {
        m_running = timer.get();
        lock.unlock();
        timer->callback(timer->parameter, TRUE);
        lock.lock();
        m_running = nullptr;
        m_changed.notify_all();
        if (timer->period.count() == 0) {
            timer->expired = true;
            return;
        }
        // A late run doesn't bring a burst of catch-up runs.
        timer->due += timer->period;
        auto now = Clock::now();
        if (timer->due < now)
            timer->due = now + timer->period;
    }

    uint32_t m_tag = kLiveTag;
    std::mutex m_mutex;  // guards every field below but m_thread
    std::condition_variable m_changed;
    std::list<std::shared_ptr<Timer>> m_timers;
    Timer* m_running = nullptr;  // the timer whose routine runs now
    std::thread::id m_threadId;  // of m_thread, set by the thread itself
    bool m_stopping = false;
    bool m_deletesItself = false;
    std::thread m_thread;  // started last, once every field above is made
};

bool WaitsFor(HANDLE completionEvent) {
    return completionEvent != nullptr;
}

void SignalCompletion(HANDLE completionEvent) {
    if (completionEvent != nullptr && completionEvent != INVALID_HANDLE_VALUE)
        SetEvent(completionEvent);
}

}  // namespace

}  // namespace zqplatform

using zqplatform::TimerQueue;

extern "C" {

HANDLE CreateTimerQueue() {
    try {
        return reinterpret_cast<HANDLE>(new TimerQueue);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (...) {
        // The thread could not be started.
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return nullptr;
}

BOOL CreateTimerQueueTimer(HANDLE* newTimer, HANDLE queueHandle, WAITORTIMERCALLBACK callback, PVOID parameter,
                           DWORD dueTime, DWORD period, ULONG /*flags*/) {
    if (newTimer == nullptr || callback == nullptr || queueHandle == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    TimerQueue* queue = TimerQueue::FromHandle(queueHandle);
    if (queue == nullptr)
        return FALSE;
    try {
        queue->Add(callback, parameter, dueTime, period, newTimer);
        return TRUE;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

BOOL DeleteTimerQueueTimer(HANDLE queueHandle, HANDLE timer, HANDLE completionEvent) {
    TimerQueue* queue = TimerQueue::FromHandle(queueHandle);
    if (queue == nullptr)
        return FALSE;
    if (!queue->Remove(reinterpret_cast<zqplatform::Timer*>(timer), zqplatform::WaitsFor(completionEvent)))
        return FALSE;
    zqplatform::SignalCompletion(completionEvent);
    return TRUE;
}

BOOL DeleteTimerQueueEx(HANDLE queueHandle, HANDLE completionEvent) {
    TimerQueue* queue = TimerQueue::FromHandle(queueHandle);
    if (queue == nullptr)
        return FALSE;
    queue->Shutdown(zqplatform::WaitsFor(completionEvent));
    zqplatform::SignalCompletion(completionEvent);
    return TRUE;
}

}  // extern "C"
