// Ctrl-C (and a polite kill) for the commands that run until they're done.
#pragma once

#include <csignal>

/// Catches SIGINT and SIGTERM for its lifetime, so that a command can end
/// its work cleanly (a Clear, a removed temporary file) instead of dying.
/// One at a time, made and ended on the main thread; Interrupted may be
/// asked from any thread.
class InterruptScope {
public:
    InterruptScope();
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

    /// Whether a signal has come since the scope began.
    static bool Interrupted() noexcept;

private:
    void (*m_previousInt)(int) = SIG_DFL;
    void (*m_previousTerm)(int) = SIG_DFL;
};
