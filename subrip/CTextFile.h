// Line reader over a text file whose encoding it works out itself.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "subrip/CAtlStdioFile.h"

/// Reads a text file line by line as UTF-16, whatever the file's encoding: a
/// byte-order mark decides, else one scan of the file tells 7-bit text from
/// UTF-8 from the caller's code page. Not shared and not counted: the owner's
/// scope ends it, and only the owning thread calls it.
///
/// Seek, GetPosition and GetLength work on text offsets: offset 0 is the first
/// byte behind the byte-order mark. The file is read through a read-ahead block
/// of its own; the positions it reports are those of the lines handed out, not
/// of the block.
class CTextFile : public CAtlStdioFile {
public:
    enum Encoding : int32_t {
        Encoding_Auto = 0,       ///< not decided; only as a default, Open replaces it
        Encoding_Ascii = 1,      ///< 7-bit bytes, converted with CP_THREAD_ACP
        Encoding_CodePage = 2,   ///< bytes, converted with the code page given at construction
        Encoding_Utf8 = 3,       ///< UTF-8, decoded by the reader itself
        Encoding_Utf16LE = 4,
        Encoding_Utf16BE = 5,
    };

    static constexpr size_t kDefaultBlockSize = 256 * 1024;

    /// `defaultEncoding` is copied to the encoding in force at every Open;
    /// `codePage` serves Encoding_CodePage (0 is CP_ACP). `blockSize` is the
    /// size of each read from the stream, at least 1; it changes no result.
    CTextFile(Encoding defaultEncoding, UINT codePage, size_t blockSize = kDefaultBlockSize);
    ~CTextFile() override = default;

    /// Opens `path` (NUL-terminated) for reading, others may go on reading and
    /// writing it, and decides the encoding. On success the position is at the
    /// first byte of text. Failures leave the file closed: the last error as a
    /// status when the open fails (0x80070002 for a missing file, 0x80070005
    /// for a directory or without permission), E_FAIL when the stream can't be
    /// made, the length is unknown or a seek fails, the status of a read that
    /// fails. E_POINTER for a null path, E_UNEXPECTED when already open.
    HRESULT Open(const WCHAR* path);
    /// The same over bytes from anywhere (memory, a test's failing source):
    /// takes `source` over, and lets it go on failure.
    HRESULT Open(std::unique_ptr<CByteSource> source);

    /// Reads the next line into `line`, without its line end: LF ends a line,
    /// CR is dropped wherever it stands. S_OK for a line (an empty one too
    /// before the end of the file), S_FALSE at the end of the file with `line`
    /// empty, or a failure of the stream (then `line` must not be used).
    /// E_UNEXPECTED when the file isn't open.
    HRESULT ReadLine(std::u16string& line);

    /// Reads exactly `count` bytes. S_OK when all came; 0x80070026
    /// (ERROR_HANDLE_EOF) at the end of the file, also when only some were
    /// left (they are consumed); the last error as a status after a stream error.
    HRESULT ReadBytes(void* buffer, size_t count);

    /// Text offsets: origin 0 counts from the first byte of text.
    HRESULT Seek(LONGLONG offset, int origin) override;
    HRESULT GetPosition(LONGLONG& position) override;
    HRESULT GetLength(LONGLONG& length) override;

    Encoding GetEncoding() const noexcept { return m_encoding; }
    UINT GetCodePage() const noexcept { return m_codePage; }
    LONGLONG GetTextStart() const noexcept { return m_textStart; }

private:
    HRESULT OpenStream();
    HRESULT ReadByteOrderMark(LONGLONG length);
    HRESULT DetectEncoding();
    HRESULT SeekRaw(LONGLONG offset);

    HRESULT ReadLineUtf8(std::u16string& line);
    HRESULT ReadLineUtf16(std::u16string& line, bool bigEndian);
    HRESULT ReadLineNarrow(std::u16string& line);
    void ConvertNarrowLine(std::u16string& line);

    void DiscardBlock() noexcept;
    HRESULT Refill();
    HRESULT EnsureBuffered(size_t count);
    size_t Buffered() const noexcept { return m_end - m_pos; }

    Encoding m_defaultEncoding;
    Encoding m_encoding;
    UINT m_codePage;
    LONGLONG m_textStart = 0;

    // The read-ahead block: bytes [m_pos, m_end) of m_block are read from the
    // stream and not yet handed out. A few bytes of headroom let a character
    // that straddles two reads be completed in place.
    size_t m_blockSize;
    std::unique_ptr<unsigned char[]> m_block;
    size_t m_pos = 0;
    size_t m_end = 0;
    bool m_streamEnded = false;      // the stream has reported its end
    HRESULT m_streamStatus = S_OK;   // the stream's failure, once it has failed

    bool m_asciiIsIdentity = false;  // 7-bit bytes convert to themselves
    std::string m_narrow;            // a narrow line before its conversion
};
