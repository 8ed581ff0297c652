#include "files/FileObject.h"

#include <unistd.h>

#include "zqplatform/status.h"

namespace zqplatform {

namespace {

// Not one of the waitable kinds; the file record is found by its type.
constexpr auto kFileKind = static_cast<KernelObject::Kind>(0x100);

}  // namespace

FileObject::FileObject(int fd) noexcept : KernelObject(kFileKind, true, true), m_fd(fd) {}

FileObject::~FileObject() {
    if (m_fd >= 0)
        ::close(m_fd);
}

FileObject* FileObject::FromHandle(HANDLE handle) noexcept {
    auto* file = dynamic_cast<FileObject*>(KernelObject::FromHandle(handle));
    if (file == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return file;
}

int FileObject::DetachFd() noexcept {
    int fd = m_fd;
    m_fd = -1;
    return fd;
}

}  // namespace zqplatform
