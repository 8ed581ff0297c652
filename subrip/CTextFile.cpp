#include "subrip/CTextFile.h"

#include <algorithm>
#include <cstring>

#include "subrip/ByteRuns.h"
#include "subrip/CStreamByteSource.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/sync.h"
#include "zqplatform/text.h"

namespace {

constexpr HRESULT kEndOfFile = HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
constexpr size_t kHeadroom = 8;      // room for the tail of a straddling character
constexpr size_t kChunkUnits = 512;  // decoded units gathered before they join the line

constexpr bool IsContinuation(unsigned char b) noexcept {
    return b >= 0x80 && b <= 0xBF;
}

// Code pages whose bytes 00..7F are the characters U+0000..U+007F: the ANSI
// code pages of the language table and UTF-8. Lines of 7-bit bytes in them
// need no trip through the converter.
constexpr bool IsAsciiCompatible(UINT codePage) noexcept {
    switch (codePage) {
    case 874:
    case 932:
    case 936:
    case 949:
    case 950:
    case 1250:
    case 1251:
    case 1252:
    case 1253:
    case 1254:
    case 1255:
    case 1256:
    case 1257:
    case 1258:
    case CP_UTF8:
        return true;
    default:
        return false;
    }
}

// Gathers decoded units in a small buffer and hands them to the line in
// batches, so that a long line grows by memcpy and not unit by unit.
class CUnitSink {
public:
    explicit CUnitSink(std::u16string& line) noexcept : m_line(line) {}
    ~CUnitSink() = default;
    CUnitSink(const CUnitSink&) = delete;
    CUnitSink& operator=(const CUnitSink&) = delete;

    void Put(char16_t unit) {
        if (m_count == kChunkUnits)
            Flush();
        m_units[m_count++] = unit;
    }
    /// Room for `count` units without a flush in between.
    char16_t* Reserve(size_t count) {
        if (kChunkUnits - m_count < count)
            Flush();
        return m_units + m_count;
    }
    void Commit(size_t count) noexcept { m_count += count; }
    void Flush() {
        m_line.append(m_units, m_count);
        m_count = 0;
    }

private:
    std::u16string& m_line;
    size_t m_count = 0;
    char16_t m_units[kChunkUnits];
};

}  // namespace

CTextFile::CTextFile(Encoding defaultEncoding, UINT codePage, size_t blockSize)
    : m_defaultEncoding(defaultEncoding),
      m_encoding(defaultEncoding),
      m_codePage(codePage),
      m_blockSize(std::max<size_t>(blockSize, 1)) {}

HRESULT CTextFile::Open(const WCHAR* path) {
    if (path == nullptr)
        return E_POINTER;
    if (m_source != nullptr)
        return E_UNEXPECTED;
    CByteSource* source = nullptr;
    const HRESULT hr = CStreamByteSource::Open(path, &source);
    if (FAILED(hr))
        return hr;
    return Open(std::unique_ptr<CByteSource>(source));
}

HRESULT CTextFile::Open(std::unique_ptr<CByteSource> source) {
    if (source == nullptr)
        return E_POINTER;
    if (m_source != nullptr)
        return E_UNEXPECTED;
    m_source = std::move(source);
    const HRESULT hr = OpenStream();
    if (FAILED(hr))
        Close();
    return hr;
}

HRESULT CTextFile::OpenStream() {
    if (!m_block)
        m_block = std::make_unique<unsigned char[]>(m_blockSize + kHeadroom);
    DiscardBlock();
    m_encoding = m_defaultEncoding;
    m_textStart = 0;

    LONGLONG length = -1;
    if (FAILED(CAtlStdioFile::GetLength(length)))
        return E_FAIL;
    HRESULT hr = ReadByteOrderMark(length);
    if (FAILED(hr))
        return hr;
    if (m_encoding == Encoding_Auto) {
        hr = DetectEncoding();
        if (FAILED(hr))
            return hr;
    }
    UINT codePage = m_encoding == Encoding_Ascii ? CP_THREAD_ACP : m_codePage;
    m_asciiIsIdentity = codePage == CP_ACP || codePage == CP_THREAD_ACP ||
                        (IsAsciiCompatible(codePage) && IsValidCodePage(codePage));
    return SUCCEEDED(SeekRaw(m_textStart)) ? S_OK : E_FAIL;
}

HRESULT CTextFile::ReadByteOrderMark(LONGLONG length) {
    if (length < 2)
        return S_OK;
    unsigned char mark[3] = {};
    HRESULT hr = ReadBytes(mark, 2);
    if (FAILED(hr))
        return hr;
    if (mark[0] == 0xFF && mark[1] == 0xFE) {
        m_encoding = Encoding_Utf16LE;
        m_textStart = 2;
        return S_OK;
    }
    if (mark[0] == 0xFE && mark[1] == 0xFF) {
        m_encoding = Encoding_Utf16BE;
        m_textStart = 2;
        return S_OK;
    }
    if (mark[0] != 0xEF || mark[1] != 0xBB || length < 3)
        return S_OK;
    hr = ReadBytes(mark + 2, 1);
    if (FAILED(hr))
        return hr;
    if (mark[2] == 0xBF) {
        m_encoding = Encoding_Utf8;
        m_textStart = 3;
    }
    return S_OK;
}

// One pass that stops at the first byte that settles the question. Multibyte
// sequences are checked only as far as UTF-8's two- and three-byte forms; a
// lead byte F0..FF ends the pass as if the file had ended there.
HRESULT CTextFile::DetectEncoding() {
    if (FAILED(SeekRaw(m_textStart)))
        return E_FAIL;
    bool sevenBit = true;
    bool utf8 = true;
    for (;;) {
        if (m_pos == m_end) {
            HRESULT hr = Refill();
            if (hr == S_FALSE)
                break;
            if (FAILED(hr))
                return hr;
        }
        const unsigned char* block = m_block.get();
        m_pos += ZQSevenBitRun(block + m_pos, m_end - m_pos, 0, 0, 0);
        if (m_pos == m_end)
            continue;
        unsigned char lead = block[m_pos++];
        if (lead >= 0x01 && lead <= 0x7F)
            continue;
        if (lead == 0x00 || lead <= 0xBF) {
            m_encoding = Encoding_CodePage;
            return S_OK;
        }
        if (lead >= 0xF0) {
            sevenBit = false;
            utf8 = false;
            break;
        }
        sevenBit = false;
        size_t trail = lead >= 0xE0 ? 2 : 1;
        HRESULT hr = EnsureBuffered(trail);
        if (hr == S_FALSE) {
            // A sequence cut off by the end of the file still counts as UTF-8.
            m_encoding = Encoding_Utf8;
            return S_OK;
        }
        if (FAILED(hr))
            return hr;
        block = m_block.get();
        bool valid = IsContinuation(block[m_pos]) && (trail == 1 || IsContinuation(block[m_pos + 1]));
        m_pos += trail;
        if (!valid) {
            m_encoding = Encoding_CodePage;
            return S_OK;
        }
    }
    if (sevenBit)
        m_encoding = Encoding_Ascii;
    else
        m_encoding = utf8 ? Encoding_Utf8 : Encoding_CodePage;
    return S_OK;
}

HRESULT CTextFile::ReadLine(std::u16string& line) {
    line.clear();
    if (m_source == nullptr)
        return E_UNEXPECTED;
    switch (m_encoding) {
    case Encoding_Utf8:
        return ReadLineUtf8(line);
    case Encoding_Utf16LE:
        return ReadLineUtf16(line, false);
    case Encoding_Utf16BE:
        return ReadLineUtf16(line, true);
    case Encoding_Ascii:
    case Encoding_CodePage:
        return ReadLineNarrow(line);
    case Encoding_Auto:
        break;
    }
    // Only a default of Encoding_Auto on a file with no reading of its own
    // could leave this; Open never does.
    return E_UNEXPECTED;
}

HRESULT CTextFile::ReadLineUtf8(std::u16string& line) {
    CUnitSink sink(line);
    for (;;) {
        if (m_pos == m_end) {
            HRESULT hr = Refill();
            if (FAILED(hr))
                return hr;
            if (hr == S_FALSE)
                break;
        }
        const unsigned char* block = m_block.get();
        const unsigned char* p = block + m_pos;
        const unsigned char* end = block + m_end;
        while (p < end) {
            // Runs of 7-bit bytes without CR or LF, most of any line, are
            // found and widened a block at a time.
            for (size_t run = ZQSevenBitRun(p, end - p, '\n', '\r', '\r'); run > 0;) {
                const size_t count = std::min(run, kChunkUnits);
                ZQWidenSevenBit(p, count, sink.Reserve(count));
                sink.Commit(count);
                p += count;
                run -= count;
            }
            if (p == end)
                break;
            unsigned char lead = *p;
            char16_t unit;
            if (lead < 0x80) {
                unit = lead;
                ++p;
            } else if (lead >= 0xC0 && lead <= 0xEF) {
                // Trail bytes are taken as they come, unchecked, even a LF.
                size_t trail = lead >= 0xE0 ? 2 : 1;
                if (static_cast<size_t>(end - p) <= trail) {
                    m_pos = p - block;
                    HRESULT hr = EnsureBuffered(trail + 1);
                    if (FAILED(hr))
                        return hr;
                    if (hr == S_FALSE) {
                        // The file ends inside the character: it is dropped.
                        m_pos = m_end;
                        sink.Flush();
                        return line.empty() ? S_FALSE : S_OK;
                    }
                    block = m_block.get();
                    p = block + m_pos;
                    end = block + m_end;
                }
                if (trail == 1)
                    unit = static_cast<char16_t>(((lead & 0x1F) << 6) | (p[1] & 0x3F));
                else
                    unit = static_cast<char16_t>(((lead & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
                p += trail + 1;
            } else {
                unit = u'?';
                ++p;
            }
            if (unit == u'\n') {
                m_pos = p - block;
                sink.Flush();
                return S_OK;
            }
            if (unit != u'\r')
                sink.Put(unit);
        }
        m_pos = p - block;
    }
    sink.Flush();
    return line.empty() ? S_FALSE : S_OK;
}

HRESULT CTextFile::ReadLineUtf16(std::u16string& line, bool bigEndian) {
    CUnitSink sink(line);
    const int high = bigEndian ? 0 : 1;
    const int low = 1 - high;
    for (;;) {
        if (Buffered() < 2) {
            HRESULT hr = EnsureBuffered(2);
            if (FAILED(hr))
                return hr;
            if (hr == S_FALSE) {
                // A lone last byte is no character.
                m_pos = m_end;
                break;
            }
        }
        const unsigned char* block = m_block.get();
        const unsigned char* p = block + m_pos;
        const unsigned char* end = p + (Buffered() & ~size_t{1});
        for (; p < end; p += 2) {
            char16_t unit = static_cast<char16_t>((p[high] << 8) | p[low]);
            if (unit == u'\n') {
                m_pos = p + 2 - block;
                sink.Flush();
                return S_OK;
            }
            if (unit != u'\r')
                sink.Put(unit);
        }
        m_pos = p - block;
    }
    sink.Flush();
    return line.empty() ? S_FALSE : S_OK;
}

HRESULT CTextFile::ReadLineNarrow(std::u16string& line) {
    m_narrow.clear();
    bool ended = false;
    for (;;) {
        if (m_pos == m_end) {
            HRESULT hr = Refill();
            if (FAILED(hr))
                return hr;
            if (hr == S_FALSE) {
                ended = true;
                break;
            }
        }
        const char* block = reinterpret_cast<const char*>(m_block.get());
        const char* p = block + m_pos;
        const char* end = block + m_end;
        const char* lf = static_cast<const char*>(std::memchr(p, '\n', end - p));
        const char* stop = lf != nullptr ? lf : end;
        // CR is dropped as a byte, whatever the code page makes of it.
        while (p < stop) {
            const char* cr = static_cast<const char*>(std::memchr(p, '\r', stop - p));
            const char* run = cr != nullptr ? cr : stop;
            m_narrow.append(p, run);
            p = cr != nullptr ? cr + 1 : stop;
        }
        if (lf != nullptr) {
            m_pos = lf + 1 - block;
            break;
        }
        m_pos = m_end;
    }
    ConvertNarrowLine(line);
    if (ended && line.empty())
        return S_FALSE;
    return S_OK;
}

// The whole line is converted at once, so a multibyte character is never cut
// by the read-ahead. The conversion stops at a NUL byte; a conversion that
// fails, as with a code page the platform lacks, gives an empty line.
void CTextFile::ConvertNarrowLine(std::u16string& line) {
    size_t length = std::strlen(m_narrow.c_str());
    const auto* bytes = reinterpret_cast<const unsigned char*>(m_narrow.data());
    if (m_asciiIsIdentity && ZQSevenBitRun(bytes, length, 0, 0, 0) == length) {
        line.resize(length);
        ZQWidenSevenBit(bytes, length, line.data());
        return;
    }
    UINT codePage = m_encoding == Encoding_Ascii ? CP_THREAD_ACP : m_codePage;
    // No code page gives more UTF-16 units than it has bytes.
    line.resize(length + 1);
    INT units = MultiByteToWideChar(codePage, 0, m_narrow.c_str(), -1, line.data(), static_cast<INT>(length + 1));
    if (units <= 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        units = MultiByteToWideChar(codePage, 0, m_narrow.c_str(), -1, nullptr, 0);
        if (units > 0) {
            line.resize(static_cast<size_t>(units));
            units = MultiByteToWideChar(codePage, 0, m_narrow.c_str(), -1, line.data(), units);
        }
    }
    if (units <= 0) {
        line.clear();
        return;
    }
    line.resize(static_cast<size_t>(units) - 1);
}

HRESULT CTextFile::ReadBytes(void* buffer, size_t count) {
    auto* out = static_cast<unsigned char*>(buffer);
    while (count > 0) {
        if (m_pos == m_end) {
            HRESULT hr = Refill();
            if (hr == S_FALSE)
                return kEndOfFile;
            if (FAILED(hr))
                return hr;
        }
        size_t n = std::min(count, Buffered());
        std::memcpy(out, m_block.get() + m_pos, n);
        m_pos += n;
        out += n;
        count -= n;
    }
    return S_OK;
}

HRESULT CTextFile::Seek(LONGLONG offset, int origin) {
    if (m_source == nullptr)
        return E_FAIL;
    if (origin == ZQ_SEEK_SET)
        return SeekRaw(offset + m_textStart);
    if (origin == ZQ_SEEK_CUR) {
        // The stream stands behind the read-ahead; count from the reader.
        LONGLONG position = 0;
        if (FAILED(CAtlStdioFile::GetPosition(position)))
            return E_FAIL;
        return SeekRaw(position - static_cast<LONGLONG>(Buffered()) + offset);
    }
    DiscardBlock();
    return CAtlStdioFile::Seek(offset, origin);
}

HRESULT CTextFile::GetPosition(LONGLONG& position) {
    HRESULT hr = CAtlStdioFile::GetPosition(position);
    if (FAILED(hr))
        return hr;
    position -= static_cast<LONGLONG>(Buffered()) + m_textStart;
    return S_OK;
}

HRESULT CTextFile::GetLength(LONGLONG& length) {
    HRESULT hr = CAtlStdioFile::GetLength(length);
    if (FAILED(hr))
        return hr;
    length -= m_textStart;
    return S_OK;
}

HRESULT CTextFile::SeekRaw(LONGLONG offset) {
    DiscardBlock();
    return CAtlStdioFile::Seek(offset, ZQ_SEEK_SET);
}

void CTextFile::DiscardBlock() noexcept {
    m_pos = 0;
    m_end = 0;
    m_streamEnded = false;
    m_streamStatus = S_OK;
}

// Moves the unread bytes to the front and reads one block behind them. S_OK
// when bytes came, S_FALSE at the end of the file, else the stream's failure.
// A failure is kept and given again until the next seek, but only after the
// bytes read before it have been handed out.
HRESULT CTextFile::Refill() {
    if (FAILED(m_streamStatus))
        return m_streamStatus;
    if (m_streamEnded)
        return S_FALSE;
    size_t left = Buffered();
    unsigned char* block = m_block.get();
    if (left > 0 && m_pos > 0)
        std::memmove(block, block + m_pos, left);
    m_pos = 0;
    m_end = left;
    size_t room = std::min(m_blockSize, m_blockSize + kHeadroom - left);
    const size_t got = m_source->Read(block + left, room);
    m_end += got;
    if (got < room) {
        const HRESULT failure = m_source->Failure();
        const HRESULT hr = FAILED(failure) ? failure : S_FALSE;
        // A failure that reads as the end of the file is taken as the end.
        if (hr == S_FALSE || hr == kEndOfFile)
            m_streamEnded = true;
        else
            m_streamStatus = hr;
    }
    if (got > 0)
        return S_OK;
    return FAILED(m_streamStatus) ? m_streamStatus : S_FALSE;
}

HRESULT CTextFile::EnsureBuffered(size_t count) {
    while (Buffered() < count) {
        HRESULT hr = Refill();
        if (hr != S_OK)
            return hr;
    }
    return S_OK;
}
