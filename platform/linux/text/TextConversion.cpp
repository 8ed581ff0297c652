// MultiByteToWideChar and WideCharToMultiByte over our UTF-8 codec and the
// iconv code pages.
#include <climits>
#include <cstring>

#include "text/CodePage.h"
#include "text/Utf8.h"
#include "zqplatform/status.h"
#include "zqplatform/text.h"

namespace {

using zqplatform::CodePage;
using zqplatform::DefaultChar;
using zqplatform::OutputBuffer;

constexpr UINT kAnsiCodePage = 1252;
constexpr UINT kOemCodePage = 437;

/// The concrete page behind the symbolic numbers.
UINT ResolveCodePage(UINT codePage) {
    switch (codePage) {
    case CP_ACP:
    case CP_THREAD_ACP:
        return kAnsiCodePage;
    case CP_OEMCP:
        return kOemCodePage;
    default:
        return codePage;
    }
}

INT Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

/// The answer of a conversion: the length (query or fit), or a failure when
/// the output didn't fit or the length doesn't fit an INT.
template <class Unit>
INT Finish(const OutputBuffer<Unit>& out, INT capacity) {
    if (out.Count() > static_cast<size_t>(INT_MAX))
        return Fail(ERROR_INVALID_PARAMETER);
    if (capacity != 0 && out.Overflowed())
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<INT>(out.Count());
}

size_t WideLength(const WCHAR* text) {
    size_t length = 0;
    while (text[length] != 0)
        ++length;
    return length;
}

DefaultChar ReplacementFor(const CodePage& page, const char* defaultChar) {
    DefaultChar replacement;
    if (defaultChar == nullptr || defaultChar[0] == 0)
        return replacement;
    replacement.bytes[0] = defaultChar[0];
    replacement.length = 1;
    // A double-byte page's default character may take two bytes.
    if (!page.IsSingleByte() && static_cast<unsigned char>(defaultChar[0]) >= 0x80 && defaultChar[1] != 0) {
        replacement.bytes[1] = defaultChar[1];
        replacement.length = 2;
    }
    return replacement;
}

}  // namespace

extern "C" {

INT MultiByteToWideChar(UINT codePage, DWORD flags, const char* lpMultiByteStr, INT cbMultiByte,
                        WCHAR* lpWideCharStr, INT cchWideChar) {
    if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
        (cchWideChar > 0 && lpWideCharStr == nullptr) || flags != 0)
        return Fail(ERROR_INVALID_PARAMETER);
    // -1: the text up to and including its NUL, which is converted too.
    size_t count = cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<size_t>(cbMultiByte);
    OutputBuffer<char16_t> out(lpWideCharStr, static_cast<size_t>(cchWideChar));
    UINT page = ResolveCodePage(codePage);
    if (page == CP_UTF8) {
        zqplatform::DecodeUtf8(lpMultiByteStr, count, out);
        return Finish(out, cchWideChar);
    }
    const CodePage* bytePage = CodePage::Find(page);
    if (bytePage == nullptr)
        return Fail(ERROR_INVALID_PARAMETER);
    bytePage->Decode(lpMultiByteStr, count, out);
    return Finish(out, cchWideChar);
}

INT WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* lpWideCharStr, INT cchWideChar, char* lpMultiByteStr,
                        INT cbMultiByte, const char* defaultChar, BOOL* usedDefaultChar) {
    if (lpWideCharStr == nullptr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
        (cbMultiByte > 0 && lpMultiByteStr == nullptr) || flags != 0)
        return Fail(ERROR_INVALID_PARAMETER);
    size_t count = cchWideChar == -1 ? WideLength(lpWideCharStr) + 1 : static_cast<size_t>(cchWideChar);
    OutputBuffer<char> out(lpMultiByteStr, static_cast<size_t>(cbMultiByte));
    UINT page = ResolveCodePage(codePage);
    if (page == CP_UTF8) {
        // UTF-8 can encode everything, so a default character means nothing for it.
        if (defaultChar != nullptr || usedDefaultChar != nullptr)
            return Fail(ERROR_INVALID_PARAMETER);
        zqplatform::EncodeUtf8(lpWideCharStr, count, out);
        return Finish(out, cbMultiByte);
    }
    const CodePage* bytePage = CodePage::Find(page);
    if (bytePage == nullptr)
        return Fail(ERROR_INVALID_PARAMETER);
    bool usedDefault = false;
    bytePage->Encode(lpWideCharStr, count, ReplacementFor(*bytePage, defaultChar), out, usedDefault);
    if (usedDefaultChar != nullptr)
        *usedDefaultChar = usedDefault ? TRUE : FALSE;
    return Finish(out, cbMultiByte);
}

UINT GetACP() {
    return kAnsiCodePage;
}

BOOL IsValidCodePage(UINT codePage) {
    if (codePage == CP_UTF8)
        return TRUE;
    // The symbolic numbers name no page of their own.
    if (codePage == CP_ACP || codePage == CP_OEMCP || codePage == CP_THREAD_ACP)
        return FALSE;
    return CodePage::Find(codePage) != nullptr ? TRUE : FALSE;
}

}  // extern "C"
