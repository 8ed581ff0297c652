// The per-thread last error and its mapping from errno.
#include <cerrno>

#include "zqplatform/status.h"

namespace {

thread_local DWORD t_lastError = ERROR_SUCCESS;

}  // namespace

extern "C" {

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD error) {
    t_lastError = error;
}

DWORD ZQWin32ErrorFromErrno(int errnoValue) {
    switch (errnoValue) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
    case ELOOP:
        return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EBUSY:
    case ETXTBSY:
        return ERROR_BUSY;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case EPIPE:
        return ERROR_BROKEN_PIPE;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case ETIMEDOUT:
        return ERROR_TIMEOUT;
    case ENOSYS:
    case EOPNOTSUPP:
        return ERROR_NOT_SUPPORTED;
    case EILSEQ:
        return ERROR_NO_UNICODE_TRANSLATION;
    case EIO:
        return ERROR_IO_DEVICE;
    default:
        return ERROR_IO_DEVICE;
    }
}

HRESULT ZQHResultFromErrno(int errnoValue) {
    DWORD error = ZQWin32ErrorFromErrno(errnoValue);
    SetLastError(error);
    return HRESULT_FROM_WIN32(error);
}

}  // extern "C"
