// Read streams: a stdio stream over the descriptor of a file handle. Every
// failure leaves its errno, mapped, in the calling thread's last error.
#include "zqplatform/fileio.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "files/FileObject.h"
#include "zqplatform/status.h"

struct ZQStream {
    FILE* file = nullptr;
};

namespace {

void SetLastErrorFromErrno(int errnoValue) {
    SetLastError(ZQWin32ErrorFromErrno(errnoValue));
}

}  // namespace

extern "C" {

ZQStream* ZQStreamFromHandle(HANDLE handle, const char* mode) {
    if (mode == nullptr || std::strcmp(mode, "rb") != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    zqplatform::FileObject* file = zqplatform::FileObject::FromHandle(handle);
    if (file == nullptr)
        return nullptr;
    auto* stream = new (std::nothrow) ZQStream;
    if (stream == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    stream->file = ::fdopen(file->Fd(), mode);
    if (stream->file == nullptr) {
        SetLastErrorFromErrno(errno);
        delete stream;
        return nullptr;
    }
    // The stream closes the descriptor from now on; the handle's record goes.
    file->DetachFd();
    file->Release();
    return stream;
}

size_t ZQStreamRead(ZQStream* stream, void* buffer, size_t count) {
    if (stream == nullptr || count == 0)
        return 0;
    const size_t got = ::fread(buffer, 1, count, stream->file);
    if (got < count && ::ferror(stream->file))
        SetLastErrorFromErrno(errno != 0 ? errno : EIO);
    return got;
}

int ZQStreamSeek(ZQStream* stream, int64_t offset, int origin) {
    if (stream == nullptr || origin < ZQ_SEEK_SET || origin > ZQ_SEEK_END) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (::fseeko(stream->file, static_cast<off_t>(offset), kWhence[origin]) != 0) {
        SetLastErrorFromErrno(errno);
        return -1;
    }
    return 0;
}

int64_t ZQStreamTell(ZQStream* stream) {
    if (stream == nullptr)
        return -1;
    off_t position = ::ftello(stream->file);
    if (position < 0)
        SetLastErrorFromErrno(errno);
    return position;
}

int64_t ZQStreamLength(ZQStream* stream) {
    if (stream == nullptr)
        return -1;
    struct stat info;
    if (::fstat(::fileno(stream->file), &info) != 0) {
        SetLastErrorFromErrno(errno);
        return -1;
    }
    // Pipes and terminals have no length that a reader could trust.
    if (!S_ISREG(info.st_mode) && !S_ISBLK(info.st_mode)) {
        SetLastError(ERROR_INVALID_FUNCTION);
        return -1;
    }
    return info.st_size;
}

BOOL ZQStreamError(ZQStream* stream) {
    if (stream == nullptr)
        return FALSE;
    return ::ferror(stream->file) != 0 ? TRUE : FALSE;
}

void ZQStreamClose(ZQStream* stream) {
    if (stream == nullptr)
        return;
    ::fclose(stream->file);
    delete stream;
}

}  // extern "C"
