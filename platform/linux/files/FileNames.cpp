// Removing and renaming files by name, and what the standard streams are.
#include <cerrno>
#include <cstdio>
#include <string>
#include <fcntl.h>
#include <unistd.h>

#include "files/NativePath.h"
#include "kernel/RetryOnInterrupt.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"

namespace {

BOOL FailFromErrno() {
    ZQHResultFromErrno(errno);
    return FALSE;
}

bool IsMissingName(const WCHAR* name) {
    return name == nullptr || name[0] == 0;
}

/// Makes the entries of the folder that holds `path` durable: a rename is
/// only safe from a crash once its folder has reached the disk.
bool SyncFolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const int fd = zqplatform::RetryOnInterrupt([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    errno = error;
    return synced;
}

}  // namespace

extern "C" {

BOOL DeleteFileW(const WCHAR* fileName) {
    if (IsMissingName(fileName)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string path = zqplatform::NativePath(fileName);
    // unlink refuses a folder with EISDIR, or EPERM on some systems; both
    // read as ERROR_ACCESS_DENIED, as the original platform answers.
    if (::unlink(path.c_str()) != 0)
        return FailFromErrno();
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

BOOL MoveFileExW(const WCHAR* existingFileName, const WCHAR* newFileName, DWORD flags) {
    if (IsMissingName(existingFileName) || IsMissingName(newFileName)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string from = zqplatform::NativePath(existingFileName);
    const std::string to = zqplatform::NativePath(newFileName);
    // One call either way, rather than a test and a rename, so that a target
    // made meanwhile by someone else is never replaced unasked.
    const unsigned renameFlags = (flags & MOVEFILE_REPLACE_EXISTING) != 0 ? 0 : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), renameFlags) != 0) {
        if (errno == EEXIST) {
            SetLastError(ERROR_ALREADY_EXISTS);
            return FALSE;
        }
        return FailFromErrno();
    }
    if ((flags & MOVEFILE_WRITE_THROUGH) != 0 && !SyncFolderOf(to))
        return FailFromErrno();
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

BOOL ZQIsTerminal(DWORD stdHandle) {
    switch (stdHandle) {
    case STD_INPUT_HANDLE:
        return ::isatty(STDIN_FILENO) == 1;
    case STD_OUTPUT_HANDLE:
        return ::isatty(STDOUT_FILENO) == 1;
    case STD_ERROR_HANDLE:
        return ::isatty(STDERR_FILENO) == 1;
    default:
        return FALSE;
    }
}

}  // extern "C"
