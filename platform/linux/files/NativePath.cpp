#include "files/NativePath.h"

#include "text/Utf8.h"
#include "zqplatform/status.h"

namespace zqplatform {

std::string NativePath(const WCHAR* path) {
    if (path == nullptr)
        return {};
    size_t count = std::char_traits<char16_t>::length(path);
    // A UTF-16 unit never takes more than three bytes of UTF-8.
    std::string out(count * 3, '\0');
    OutputBuffer<char> sink(out.data(), out.size());
    EncodeUtf8(path, count, sink);
    out.resize(sink.Count());
    return out;
}

std::u16string WidePath(const std::string& path) {
    // A byte of UTF-8 never gives more than one UTF-16 unit.
    std::u16string out(path.size(), u'\0');
    OutputBuffer<char16_t> sink(out.data(), out.size());
    DecodeUtf8(path.data(), path.size(), sink);
    out.resize(sink.Count());
    return out;
}

DWORD CopyWideOut(const std::u16string& text, WCHAR* buffer, DWORD size) {
    if (buffer == nullptr || size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    if (text.size() >= size) {
        text.copy(buffer, size - 1);
        buffer[size - 1] = 0;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    text.copy(buffer, text.size());
    buffer[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

}  // namespace zqplatform
