// Byte code pages through glibc's iconv, with the platform's rule for bytes
// and characters that don't convert: replace and go on.
#include "text/CodePage.h"

#include <iconv.h>

#include <bit>
#include <cerrno>
#include <memory>
#include <mutex>
#include <vector>

#include "text/Utf8.h"

namespace zqplatform {

namespace {

constexpr const char* kUtf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
constexpr size_t kFailed = static_cast<size_t>(-1);

/// Serialises opening and closing descriptors. glibc loads and unloads its
/// converter modules there under a loader lock that race detectors can't
/// see; our own lock makes that ordering visible. Opening is rare, so the
/// lock costs nothing in conversions.
std::mutex& IconvOpenCloseLock() {
    static std::mutex s_lock;
    return s_lock;
}

/// An iconv descriptor; move-only, closed by the destructor.
class IconvDescriptor {
public:
    IconvDescriptor() noexcept = default;
    IconvDescriptor(const char* to, const char* from) noexcept {
        std::lock_guard lock(IconvOpenCloseLock());
        m_cd = iconv_open(to, from);
    }
    ~IconvDescriptor() {
        if (!Valid())
            return;
        std::lock_guard lock(IconvOpenCloseLock());
        iconv_close(m_cd);
    }
    IconvDescriptor(IconvDescriptor&& other) noexcept : m_cd(other.m_cd) { other.m_cd = kInvalid(); }
    IconvDescriptor& operator=(IconvDescriptor&& other) noexcept {
        std::swap(m_cd, other.m_cd);
        return *this;
    }
    IconvDescriptor(const IconvDescriptor&) = delete;
    IconvDescriptor& operator=(const IconvDescriptor&) = delete;

    bool Valid() const noexcept { return m_cd != kInvalid(); }

    /// Back to the initial shift state, so that a call never inherits the last one's.
    void Reset() const noexcept { iconv(m_cd, nullptr, nullptr, nullptr, nullptr); }

    /// One iconv step; answers 0 or the errno of the stop.
    int Convert(char*& in, size_t& inLeft, char*& out, size_t& outLeft) const noexcept {
        if (iconv(m_cd, &in, &inLeft, &out, &outLeft) != kFailed)
            return 0;
        return errno;
    }

    /// Writes what ends the shift state (stateful encodings).
    void Flush(char*& out, size_t& outLeft) const noexcept { iconv(m_cd, nullptr, nullptr, &out, &outLeft); }

private:
    static iconv_t kInvalid() noexcept { return reinterpret_cast<iconv_t>(-1); }

    iconv_t m_cd = kInvalid();
};

/// The names under which glibc's iconv may know a Windows code page.
std::vector<std::string> IconvNames(UINT number) {
    if (number >= 28591 && number <= 28599)
        return {"ISO-8859-" + std::to_string(number - 28590)};
    switch (number) {
    case 20866: return {"KOI8-R"};
    case 21866: return {"KOI8-U"};
    case 28603: return {"ISO-8859-13"};
    case 28605: return {"ISO-8859-15"};
    case 28606: return {"ISO-8859-16"};
    case 54936: return {"GB18030"};
    case 20932:
    case 51932: return {"EUC-JP"};
    case 51936: return {"EUC-CN"};
    case 51949: return {"EUC-KR"};
    case 50220:
    case 50221:
    case 50222: return {"ISO-2022-JP"};
    case 50225: return {"ISO-2022-KR"};
    case 1361: return {"JOHAB"};
    case 10000: return {"MACINTOSH"};
    case 20127: return {"ASCII"};
    case 65000: return {"UTF-7"};
    default: break;
    }
    std::string digits = std::to_string(number);
    return {"WINDOWS-" + digits, "CP" + digits};
}

bool IsExcluded(UINT number) {
    // UTF-16 and UTF-32 are not byte code pages; UTF-8 has its own codec.
    return number == 1200 || number == 1201 || number == 12000 || number == 12001 || number == 65001;
}

/// The calling thread's descriptors per code page: iconv descriptors carry a
/// shift state, so a thread can't share one with another.
struct ThreadDescriptors {
    std::unordered_map<UINT, IconvDescriptor> decoders;
    std::unordered_map<UINT, IconvDescriptor> encoders;
};

const IconvDescriptor& ThreadDescriptor(std::unordered_map<UINT, IconvDescriptor>& cache, UINT number,
                                        const char* to, const char* from) {
    auto found = cache.find(number);
    if (found == cache.end())
        found = cache.emplace(number, IconvDescriptor(to, from)).first;
    if (!found->second.Valid())  // out of descriptors last time: try again
        found->second = IconvDescriptor(to, from);
    found->second.Reset();
    return found->second;
}

ThreadDescriptors& Descriptors() {
    thread_local ThreadDescriptors t_descriptors;
    return t_descriptors;
}

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

/// The units of one character at `units`: 2 for a surrogate pair, else 1.
size_t CharacterLength(const char16_t* units, size_t left) {
    return left >= 2 && IsHighSurrogate(units[0]) && IsLowSurrogate(units[1]) ? 2 : 1;
}

}  // namespace

const CodePage* CodePage::Find(UINT number) {
    // Repeated conversions use the same page: skip the lock for them.
    thread_local UINT t_lastNumber = 0;
    thread_local const CodePage* t_lastPage = nullptr;
    if (t_lastPage != nullptr && t_lastNumber == number)
        return t_lastPage;

    static std::mutex s_mutex;  // guards s_pages
    // Never destroyed: threads may still convert while the process exits.
    static auto* s_pages = new std::unordered_map<UINT, std::unique_ptr<CodePage>>();
    std::lock_guard lock(s_mutex);
    auto found = s_pages->find(number);
    if (found == s_pages->end())
        found = s_pages->emplace(number, std::unique_ptr<CodePage>(Create(number))).first;
    const CodePage* page = found->second.get();  // null: iconv can't serve it, remembered as such
    if (page != nullptr) {
        t_lastNumber = number;
        t_lastPage = page;
    }
    return page;
}

CodePage* CodePage::Create(UINT number) {
    if (IsExcluded(number))
        return nullptr;
    for (const std::string& name : IconvNames(number)) {
        IconvDescriptor probe(kUtf16, name.c_str());
        if (!probe.Valid())
            continue;
        auto page = std::unique_ptr<CodePage>(new CodePage(number, name));
        page->m_singleByte = page->BuildTable();
        return page.release();
    }
    return nullptr;
}

bool CodePage::BuildTable() {
    // Convert each byte alone: a byte that asks for more input (a lead byte
    // or a shift sequence) or yields nothing marks a page that can't be a table.
    IconvDescriptor decoder(kUtf16, m_iconvName.c_str());
    for (unsigned value = 0; value < 256; ++value) {
        char byte = static_cast<char>(value);
        char16_t units[8];
        char* in = &byte;
        size_t inLeft = 1;
        char* out = reinterpret_cast<char*>(units);
        size_t outLeft = sizeof units;
        decoder.Reset();
        int error = decoder.Convert(in, inLeft, out, outLeft);
        if (error == EINVAL)
            return false;
        decoder.Flush(out, outLeft);
        size_t produced = (sizeof units - outLeft) / sizeof(char16_t);
        if (error == 0 && produced == 0)
            return false;
        m_table[value] = error == 0 && produced == 1 ? units[0] : kReplacementCharacter;
    }
    m_asciiIdentity = true;
    for (unsigned value = 0; value < 0x80; ++value)
        m_asciiIdentity = m_asciiIdentity && m_table[value] == value;
    // Where two bytes decode to one character, the lower byte encodes it.
    for (unsigned value = 256; value-- > 0;)
        if (m_table[value] != kReplacementCharacter)
            m_reverse[m_table[value]] = static_cast<unsigned char>(value);
    return true;
}

void CodePage::Decode(const char* bytes, size_t count, OutputBuffer<char16_t>& out) const {
    if (!m_singleByte) {
        DecodeThroughIconv(bytes, count, out);
        return;
    }
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < count; ++i)
        out.Put(m_table[s[i]]);
}

void CodePage::DecodeThroughIconv(const char* bytes, size_t count, OutputBuffer<char16_t>& out) const {
    const IconvDescriptor& decoder = ThreadDescriptor(Descriptors().decoders, m_number, kUtf16, m_iconvName.c_str());
    char* in = const_cast<char*>(bytes);  // iconv's signature; it doesn't write the input
    size_t inLeft = count;
    char16_t chunk[512];
    while (inLeft > 0) {
        char* out8 = reinterpret_cast<char*>(chunk);
        size_t outLeft = sizeof chunk;
        int error = decoder.Convert(in, inLeft, out8, outLeft);
        size_t produced = (sizeof chunk - outLeft) / sizeof(char16_t);
        out.Put(chunk, produced);
        if (error == 0)
            break;
        if (error == E2BIG && produced > 0)
            continue;
        // An invalid or incomplete sequence: replace its first byte only and
        // resume with the next, so one bad lead byte never swallows a good character.
        out.Put(kReplacementCharacter);
        ++in;
        --inLeft;
    }
    char* out8 = reinterpret_cast<char*>(chunk);
    size_t outLeft = sizeof chunk;
    decoder.Flush(out8, outLeft);
    out.Put(chunk, (sizeof chunk - outLeft) / sizeof(char16_t));
}

void CodePage::Encode(const char16_t* units, size_t count, const DefaultChar& replacement, OutputBuffer<char>& out,
                      bool& usedDefault) const {
    if (!m_singleByte) {
        EncodeThroughIconv(units, count, replacement, out, usedDefault);
        return;
    }
    for (size_t i = 0; i < count;) {
        char16_t c = units[i];
        if (c < 0x80 && m_asciiIdentity) {
            out.Put(static_cast<char>(c));
            ++i;
            continue;
        }
        auto found = m_reverse.find(c);
        if (found != m_reverse.end()) {
            out.Put(static_cast<char>(found->second));
            ++i;
            continue;
        }
        out.Put(replacement.bytes, replacement.length);
        usedDefault = true;
        i += CharacterLength(units + i, count - i);
    }
}

void CodePage::EncodeThroughIconv(const char16_t* units, size_t count, const DefaultChar& replacement,
                                  OutputBuffer<char>& out, bool& usedDefault) const {
    const IconvDescriptor& encoder = ThreadDescriptor(Descriptors().encoders, m_number, m_iconvName.c_str(), kUtf16);
    char* in = reinterpret_cast<char*>(const_cast<char16_t*>(units));
    size_t inLeft = count * sizeof(char16_t);
    char chunk[1024];
    while (inLeft > 0) {
        char* out8 = chunk;
        size_t outLeft = sizeof chunk;
        int error = encoder.Convert(in, inLeft, out8, outLeft);
        size_t produced = sizeof chunk - outLeft;
        out.Put(chunk, produced);
        if (error == 0)
            break;
        if (error == E2BIG && produced > 0)
            continue;
        // A character the page lacks, or a lone surrogate: one default
        // character for the whole character.
        out.Put(replacement.bytes, replacement.length);
        usedDefault = true;
        size_t skip = CharacterLength(reinterpret_cast<const char16_t*>(in), inLeft / sizeof(char16_t)) *
                      sizeof(char16_t);
        in += skip;
        inLeft -= skip;
    }
    char* out8 = chunk;
    size_t outLeft = sizeof chunk;
    encoder.Flush(out8, outLeft);
    out.Put(chunk, sizeof chunk - outLeft);
}

}  // namespace zqplatform
