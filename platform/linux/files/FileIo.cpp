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
    int64_t faultOffset = -1;  // reads reaching this byte fail; -1: never
    int faultErrno = 0;
    bool faulted = false;      // the seam has failed a read
};

namespace {

thread_local int64_t t_faultOffset = -1;
thread_local int t_faultErrno = EIO;

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
    stream->faultOffset = t_faultOffset;
    stream->faultErrno = t_faultErrno;
    return stream;
}

size_t ZQStreamRead(ZQStream* stream, void* buffer, size_t count) {
    if (stream == nullptr || count == 0)
        return 0;
    size_t allowed = count;
    bool fault = false;
    if (stream->faultOffset >= 0) {
        off_t position = ::ftello(stream->file);
        if (position >= 0 && position + static_cast<int64_t>(count) > stream->faultOffset) {
            allowed = position >= stream->faultOffset ? 0 : static_cast<size_t>(stream->faultOffset - position);
            fault = true;
        }
    }
    size_t got = allowed == 0 ? 0 : ::fread(buffer, 1, allowed, stream->file);
    if (got == allowed && fault) {
        stream->faulted = true;
        SetLastErrorFromErrno(stream->faultErrno);
        return got;
    }
    if (got < allowed && ::ferror(stream->file))
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
    return stream->faulted || ::ferror(stream->file) != 0 ? TRUE : FALSE;
}

void ZQStreamClose(ZQStream* stream) {
    if (stream == nullptr)
        return;
    ::fclose(stream->file);
    delete stream;
}

void ZQStreamInjectReadFault(int64_t offset, int errnoValue) {
    t_faultOffset = offset < 0 ? -1 : offset;
    t_faultErrno = errnoValue;
}

uint64_t ZQGetPeakResidentBytes() {
    FILE* status = ::fopen("/proc/self/status", "re");
    if (status == nullptr)
        return 0;
    char line[256];
    uint64_t kibibytes = 0;
    while (::fgets(line, sizeof line, status) != nullptr) {
        if (std::strncmp(line, "VmHWM:", 6) == 0) {
            kibibytes = std::strtoull(line + 6, nullptr, 10);
            break;
        }
    }
    ::fclose(status);
    return kibibytes * 1024;
}

}  // extern "C"
