// Files for reading: open(2) and a stdio stream over the descriptor. Every
// failure leaves its errno, mapped, in the calling thread's last error.
#include "zqplatform/fileio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

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

// File names on Linux are bytes; we hand the kernel UTF-8. A lone surrogate
// can't name an existing file in UTF-8, so it becomes U+FFFD.
std::string PathToUtf8(const WCHAR* path) {
    std::string out;
    for (const WCHAR* p = path; *p != 0; ++p) {
        uint32_t c = *p;
        if (c >= 0xD800 && c <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00);
            ++p;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// Descriptors travel as handles offset by one, so that descriptor 0 is not
// the null handle.
ZQHFILE HandleFromFd(int fd) {
    return reinterpret_cast<ZQHFILE>(static_cast<intptr_t>(fd) + 1);
}

int FdFromHandle(ZQHFILE file) {
    return static_cast<int>(reinterpret_cast<intptr_t>(file) - 1);
}

int CloseRetryingInterrupts(int fd) {
    // Linux frees the descriptor even when close reports EINTR; retrying
    // could close a descriptor another thread has just been given.
    int result = ::close(fd);
    if (result != 0 && errno == EINTR)
        return 0;
    return result;
}

}  // namespace

extern "C" {

ZQHFILE ZQOpenFileForRead(const WCHAR* path) {
    if (path == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return ZQ_INVALID_FILE;
    }
    std::string utf8 = PathToUtf8(path);
    int fd;
    do {
        fd = ::open(utf8.c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        SetLastErrorFromErrno(errno);
        return ZQ_INVALID_FILE;
    }
    struct stat info;
    if (::fstat(fd, &info) != 0) {
        int saved = errno;
        CloseRetryingInterrupts(fd);
        SetLastErrorFromErrno(saved);
        return ZQ_INVALID_FILE;
    }
    // A directory opens for reading here but is no file to read.
    if (S_ISDIR(info.st_mode)) {
        CloseRetryingInterrupts(fd);
        SetLastError(ERROR_ACCESS_DENIED);
        return ZQ_INVALID_FILE;
    }
    SetLastError(ERROR_SUCCESS);
    return HandleFromFd(fd);
}

BOOL ZQCloseFile(ZQHFILE file) {
    if (file == ZQ_INVALID_FILE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (CloseRetryingInterrupts(FdFromHandle(file)) != 0) {
        SetLastErrorFromErrno(errno);
        return FALSE;
    }
    return TRUE;
}

ZQStream* ZQStreamFromFile(ZQHFILE file, const char* mode) {
    if (file == ZQ_INVALID_FILE || mode == nullptr || std::strcmp(mode, "rb") != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* stream = new (std::nothrow) ZQStream;
    if (stream == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    stream->file = ::fdopen(FdFromHandle(file), mode);
    if (stream->file == nullptr) {
        SetLastErrorFromErrno(errno);
        delete stream;
        return nullptr;
    }
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
