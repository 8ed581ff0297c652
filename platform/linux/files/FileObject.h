// The record behind a file HANDLE.
#pragma once

#include "kernel/KernelObject.h"

namespace zqplatform {

/// An open file descriptor owned by its handle, so that CloseHandle closes
/// files, events and threads alike. Any thread may use it; the descriptor's
/// own offset is shared, as a Win32 handle's is.
class FileObject final : public KernelObject {
public:
    explicit FileObject(int fd) noexcept;
    ~FileObject() override;

    /// The file behind a handle, or null (last error ERROR_INVALID_HANDLE)
    /// for anything that is no file handle.
    static FileObject* FromHandle(HANDLE handle) noexcept;

    int Fd() const noexcept { return m_fd; }

    /// Hands the descriptor to a new owner: the record no longer closes it.
    /// The caller then closes the handle as usual.
    int DetachFd() noexcept;

private:
    int m_fd;  // closed with the record unless detached (-1)
};

}  // namespace zqplatform
