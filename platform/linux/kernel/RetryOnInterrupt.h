// System calls that a signal may interrupt, retried in one place.
#pragma once

#include <cerrno>
#include <cstddef>

#include <unistd.h>

namespace zqplatform {

/// Calls `call` again for as long as it fails with EINTR, and answers its last
/// result: for the calls that report failure by a negative result and errno.
template <class Call>
auto RetryOnInterrupt(Call call) noexcept(noexcept(call())) -> decltype(call()) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

/// Writes all `size` bytes to `fd`, a short write and an interruption going
/// on with the rest. Answers the bytes written: all of them, or fewer when a
/// write failed (errno set) or wrote nothing (errno 0, as a full disk can).
inline size_t WriteFully(int fd, const void* data, size_t size) noexcept {
    const auto* bytes = static_cast<const char*>(data);
    size_t done = 0;
    while (done < size) {
        const ssize_t put = RetryOnInterrupt([&] { return ::write(fd, bytes + done, size - done); });
        if (put <= 0) {
            if (put == 0)
                errno = 0;
            break;
        }
        done += static_cast<size_t>(put);
    }
    return done;
}

}  // namespace zqplatform
