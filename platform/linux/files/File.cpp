// Files behind kernel-object handles: a file descriptor with the share mode
// kept through advisory locks, so that CloseHandle closes files, events and
// threads alike.
#include <cerrno>
#include <cstdlib>
#include <new>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "files/FileObject.h"
#include "files/NativePath.h"
#include "kernel/RetryOnInterrupt.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"

namespace zqplatform {

namespace {

BOOL FailFromErrno() {
    ZQHResultFromErrno(errno);
    return FALSE;
}

int OpenFlags(DWORD access, DWORD disposition) {
    int flags = O_CLOEXEC;
    bool reads = (access & GENERIC_READ) != 0;
    bool writes = (access & GENERIC_WRITE) != 0;
    flags |= reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    switch (disposition) {
    case CREATE_NEW:
        return flags | O_CREAT | O_EXCL;
    case CREATE_ALWAYS:
        return flags | O_CREAT | O_TRUNC;
    case OPEN_ALWAYS:
        return flags | O_CREAT;
    case TRUNCATE_EXISTING:
        return flags | O_TRUNC;
    default:
        return flags;
    }
}

/// The lock that stands for the share mode: a writer that doesn't let others
/// write holds the file alone; a reader that doesn't let others write, or a
/// writer that does, holds it shared. Two exclusive openers thus meet as a
/// sharing violation, the way the original platform reports them.
int ShareLock(DWORD access, DWORD shareMode) {
    bool writes = (access & GENERIC_WRITE) != 0;
    bool sharesWriting = (shareMode & FILE_SHARE_WRITE) != 0;
    if (writes && !sharesWriting)
        return LOCK_EX;
    if (writes || !sharesWriting)
        return LOCK_SH;
    return 0;
}

/// A missing file is ERROR_FILE_NOT_FOUND, but a missing folder on the way
/// is ERROR_PATH_NOT_FOUND, which callers treat differently.
DWORD OpenError(int error, const std::string& path) {
    if (error != ENOENT)
        return ZQWin32ErrorFromErrno(error);
    auto slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0)
        return ERROR_FILE_NOT_FOUND;
    struct stat parent {};
    if (::stat(path.substr(0, slash).c_str(), &parent) != 0 || !S_ISDIR(parent.st_mode))
        return ERROR_PATH_NOT_FOUND;
    return ERROR_FILE_NOT_FOUND;
}

int OpenRetrying(const std::string& path, int flags) {
    return zqplatform::RetryOnInterrupt([&] { return ::open(path.c_str(), flags, 0666); });
}

int LockRetrying(int fd, int operation) {
    return zqplatform::RetryOnInterrupt([&] { return ::flock(fd, operation | LOCK_NB); });
}

}  // namespace

}  // namespace zqplatform

using zqplatform::FileObject;

extern "C" {

HANDLE CreateFileW(const WCHAR* fileName, DWORD access, DWORD shareMode, void* /*securityAttributes*/,
                   DWORD disposition, DWORD /*flagsAndAttributes*/, HANDLE /*templateFile*/) {
    if (fileName == nullptr || fileName[0] == 0 || disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    std::string path = zqplatform::NativePath(fileName);
    bool existed = ::access(path.c_str(), F_OK) == 0;
    int fd = zqplatform::OpenRetrying(path, zqplatform::OpenFlags(access, disposition));
    if (fd < 0) {
        SetLastError(zqplatform::OpenError(errno, path));
        return INVALID_HANDLE_VALUE;
    }
    // A directory opens for reading here, but is no file to its callers.
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
        ::close(fd);
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    int lock = zqplatform::ShareLock(access, shareMode);
    if (lock != 0 && zqplatform::LockRetrying(fd, lock) != 0) {
        int error = errno;
        ::close(fd);
        SetLastError(error == EWOULDBLOCK ? ERROR_SHARING_VIOLATION : ZQWin32ErrorFromErrno(error));
        return INVALID_HANDLE_VALUE;
    }
    auto* file = new (std::nothrow) FileObject(fd);
    if (file == nullptr) {
        ::close(fd);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    bool reportsExisting = existed && (disposition == OPEN_ALWAYS || disposition == CREATE_ALWAYS);
    SetLastError(reportsExisting ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return file->ToHandle();
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD size, DWORD* read, void* /*overlapped*/) {
    FileObject* file = FileObject::FromHandle(handle);
    if (file == nullptr)
        return FALSE;
    const ssize_t got = zqplatform::RetryOnInterrupt([&] { return ::read(file->Fd(), buffer, size); });
    if (got < 0)
        return zqplatform::FailFromErrno();
    if (read != nullptr)
        *read = static_cast<DWORD>(got);
    return TRUE;
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written, void* /*overlapped*/) {
    FileObject* file = FileObject::FromHandle(handle);
    if (file == nullptr)
        return FALSE;
    const auto done = static_cast<DWORD>(zqplatform::WriteFully(file->Fd(), buffer, size));
    if (written != nullptr)
        *written = done;
    if (done == size)
        return TRUE;
    // A write that took nothing without an error: the disk is full.
    return errno == 0 ? (SetLastError(ERROR_DISK_FULL), FALSE) : zqplatform::FailFromErrno();
}

BOOL GetFileSizeEx(HANDLE handle, LARGE_INTEGER* size) {
    FileObject* file = FileObject::FromHandle(handle);
    if (file == nullptr)
        return FALSE;
    if (size == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    struct stat info {};
    if (::fstat(file->Fd(), &info) != 0)
        return zqplatform::FailFromErrno();
    size->QuadPart = info.st_size;
    return TRUE;
}

BOOL SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition, DWORD moveMethod) {
    FileObject* file = FileObject::FromHandle(handle);
    if (file == nullptr)
        return FALSE;
    static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (moveMethod > FILE_END) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    off_t position = ::lseek(file->Fd(), distance.QuadPart, kWhence[moveMethod]);
    if (position < 0)
        return zqplatform::FailFromErrno();
    if (newPosition != nullptr)
        newPosition->QuadPart = position;
    return TRUE;
}

BOOL FlushFileBuffers(HANDLE handle) {
    FileObject* file = FileObject::FromHandle(handle);
    if (file == nullptr)
        return FALSE;
    if (::fsync(file->Fd()) != 0)
        return zqplatform::FailFromErrno();
    return TRUE;
}

BOOL CreateDirectoryW(const WCHAR* pathName, void* /*securityAttributes*/) {
    if (pathName == nullptr || pathName[0] == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::string path = zqplatform::NativePath(pathName);
    if (::mkdir(path.c_str(), 0777) != 0) {
        SetLastError(errno == EEXIST ? ERROR_ALREADY_EXISTS : zqplatform::OpenError(errno, path));
        return FALSE;
    }
    return TRUE;
}

DWORD GetFileAttributesW(const WCHAR* fileName) {
    if (fileName == nullptr || fileName[0] == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_FILE_ATTRIBUTES;
    }
    std::string path = zqplatform::NativePath(fileName);
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        SetLastError(zqplatform::OpenError(errno, path));
        return INVALID_FILE_ATTRIBUTES;
    }
    DWORD attributes = S_ISDIR(info.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    if (::access(path.c_str(), W_OK) != 0)
        attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes;
}

DWORD GetTempPathW(DWORD size, WCHAR* buffer) {
    const char* folder = std::getenv("TMPDIR");
    std::string path = folder != nullptr && folder[0] != 0 ? folder : "/tmp";
    if (path.back() != '/')
        path += '/';
    std::u16string wide = zqplatform::WidePath(path);
    if (buffer == nullptr || wide.size() >= size)
        return static_cast<DWORD>(wide.size() + 1);
    wide.copy(buffer, wide.size());
    buffer[wide.size()] = 0;
    return static_cast<DWORD>(wide.size());
}

}  // extern "C"
