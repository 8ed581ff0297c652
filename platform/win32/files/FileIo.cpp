// Read streams: a buffered reader over a file handle, by ReadFile. Windows'
// own calls set the last error of every failure.
#include <algorithm>
#include <cstring>
#include <new>

#include "zqplatform/fileapi.h"
#include "zqplatform/fileio.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

constexpr size_t kBufferSize = 64 * 1024;
// ReadFile counts in 32 bits; longer reads go in pieces of this size.
constexpr size_t kLargestRead = size_t{1} << 30;

}  // namespace

/// One stream, used by one thread at a time. The file's own position is
/// always m_bufferOffset + m_bufferUsed: the buffer holds the bytes just
/// before it, of which m_bufferPosition have been handed out.
struct ZQStream {
    explicit ZQStream(HANDLE file, int64_t position) noexcept : m_file(file), m_bufferOffset(position) {}
    ~ZQStream() { CloseHandle(m_file); }

    /// Hands out what the buffer holds, up to `count` bytes.
    size_t TakeBuffered(unsigned char* out, size_t count) noexcept {
        const size_t piece = std::min(count, m_bufferUsed - m_bufferPosition);
        std::memcpy(out, m_buffer + m_bufferPosition, piece);
        m_bufferPosition += piece;
        return piece;
    }

    /// Reads up to `count` bytes from the file's position into `got`; a
    /// failure marks the stream (the last error holds its reason) and keeps
    /// what was read before it.
    void ReadFromFile(void* buffer, size_t count, size_t& got) noexcept {
        got = 0;
        while (got < count) {
            const DWORD piece = static_cast<DWORD>(std::min(count - got, kLargestRead));
            DWORD read = 0;
            if (!ReadFile(m_file, static_cast<unsigned char*>(buffer) + got, piece, &read, nullptr)) {
                m_error = true;
                return;
            }
            if (read == 0)
                return;
            got += read;
        }
    }

    HANDLE m_file;
    int64_t m_bufferOffset;
    size_t m_bufferUsed = 0;
    size_t m_bufferPosition = 0;
    bool m_error = false;
    unsigned char m_buffer[kBufferSize];
};

extern "C" {

ZQStream* ZQStreamFromHandle(HANDLE handle, const char* mode) {
    if (mode == nullptr || std::strcmp(mode, "rb") != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    // Only a file has a position; anything else is refused before the stream
    // takes the handle over.
    LARGE_INTEGER position{};
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE ||
        !SetFilePointerEx(handle, LARGE_INTEGER{0}, &position, FILE_CURRENT)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    auto* stream = new (std::nothrow) ZQStream(handle, position.QuadPart);
    if (stream == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return stream;
}

size_t ZQStreamRead(ZQStream* stream, void* buffer, size_t count) {
    if (stream == nullptr || count == 0)
        return 0;
    auto* out = static_cast<unsigned char*>(buffer);
    const size_t given = stream->TakeBuffered(out, count);
    if (given == count)
        return given;
    // The buffer is spent: a large remainder goes straight into the caller's
    // memory, a small one through the buffer. A failure keeps what came.
    stream->m_bufferOffset += static_cast<int64_t>(stream->m_bufferUsed);
    stream->m_bufferUsed = stream->m_bufferPosition = 0;
    size_t got = 0;
    if (count - given >= kBufferSize) {
        stream->ReadFromFile(out + given, count - given, got);
        stream->m_bufferOffset += static_cast<int64_t>(got);
        return given + got;
    }
    stream->ReadFromFile(stream->m_buffer, kBufferSize, got);
    stream->m_bufferUsed = got;
    return given + stream->TakeBuffered(out + given, count - given);
}

int ZQStreamSeek(ZQStream* stream, int64_t offset, int origin) {
    if (stream == nullptr || origin < ZQ_SEEK_SET || origin > ZQ_SEEK_END) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    static constexpr DWORD kMoveMethod[] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
    // The file stands after the buffer; a move from the current position
    // counts from what has been handed out.
    if (origin == ZQ_SEEK_CUR)
        offset -= static_cast<int64_t>(stream->m_bufferUsed - stream->m_bufferPosition);
    LARGE_INTEGER position{};
    if (!SetFilePointerEx(stream->m_file, LARGE_INTEGER{offset}, &position, kMoveMethod[origin]))
        return -1;
    stream->m_bufferOffset = position.QuadPart;
    stream->m_bufferUsed = stream->m_bufferPosition = 0;
    return 0;
}

int64_t ZQStreamTell(ZQStream* stream) {
    if (stream == nullptr)
        return -1;
    return stream->m_bufferOffset + static_cast<int64_t>(stream->m_bufferPosition);
}

int64_t ZQStreamLength(ZQStream* stream) {
    if (stream == nullptr)
        return -1;
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(stream->m_file, &size))
        return -1;
    return size.QuadPart;
}

BOOL ZQStreamError(ZQStream* stream) {
    return stream != nullptr && stream->m_error ? TRUE : FALSE;
}

void ZQStreamClose(ZQStream* stream) {
    delete stream;
}

}  // extern "C"
