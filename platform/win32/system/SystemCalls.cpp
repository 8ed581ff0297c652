// Status texts and locale code pages from Windows itself.
#include "system/SystemCalls.h"

#include <windows.h>

namespace zqplatform::win32 {

namespace {

using AMGetErrorTextWFunction = DWORD(WINAPI*)(HRESULT, WCHAR*, DWORD);

// The longest text that AMGetErrorTextW hands out, by its documentation.
constexpr DWORD kMediaTextCapacity = 160;

/// The media framework's text function, from quartz.dll loaded at the first
/// need and kept; null where the framework isn't installed.
AMGetErrorTextWFunction MediaErrorText() noexcept {
    static const AMGetErrorTextWFunction s_function = []() -> AMGetErrorTextWFunction {
        HMODULE quartz = LoadLibraryW(L"quartz.dll");
        if (quartz == nullptr)
            return nullptr;
        return reinterpret_cast<AMGetErrorTextWFunction>(
            reinterpret_cast<void*>(GetProcAddress(quartz, "AMGetErrorTextW")));
    }();
    return s_function;
}

/// Whether a status is one of the media framework's (VFW_E_..., VFW_S_...),
/// whose numbers the system's own tables may give another meaning.
bool IsMediaFrameworkStatus(int32_t status) noexcept {
    const uint32_t value = static_cast<uint32_t>(status);
    const uint32_t code = value & 0xFFFFu;
    return HRESULT_FACILITY(value) == FACILITY_ITF && code >= 0x0200 && code <= 0x03FF;
}

/// Copies `text` without the line end and spaces the system leaves at its
/// end; answers the length so trimmed.
uint32_t CopyOut(const WCHAR* text, size_t length, char16_t* buffer, uint32_t capacity) noexcept {
    while (length > 0 && (text[length - 1] == L'\r' || text[length - 1] == L'\n' || text[length - 1] == L' '))
        --length;
    if (buffer != nullptr && capacity != 0) {
        const size_t copied = length < capacity - 1 ? length : capacity - 1;
        for (size_t i = 0; i < copied; ++i)
            buffer[i] = static_cast<char16_t>(text[i]);
        buffer[copied] = 0;
    }
    return static_cast<uint32_t>(length);
}

uint32_t MediaStatusText(int32_t status, char16_t* buffer, uint32_t capacity) noexcept {
    AMGetErrorTextWFunction mediaText = MediaErrorText();
    if (mediaText == nullptr)
        return 0;
    WCHAR text[kMediaTextCapacity] = {};
    if (mediaText(status, text, kMediaTextCapacity) == 0)
        return 0;
    // A framework without texts of its own (Wine's) answers with the number
    // alone, which is no text: the runtime's own serves better.
    WCHAR lower[16];
    WCHAR upper[16];
    wsprintfW(lower, L"%x", static_cast<unsigned>(status));
    wsprintfW(upper, L"%X", static_cast<unsigned>(status));
    if (wcsstr(text, lower) != nullptr || wcsstr(text, upper) != nullptr)
        return 0;
    return CopyOut(text, wcsnlen(text, kMediaTextCapacity), buffer, capacity);
}

uint32_t MessageTableText(int32_t status, char16_t* buffer, uint32_t capacity) noexcept {
    WCHAR* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_ALLOCATE_BUFFER,
                       nullptr, static_cast<DWORD>(status), 0, reinterpret_cast<WCHAR*>(&text), 0, nullptr);
    if (text == nullptr)
        return 0;
    const uint32_t copied = length != 0 ? CopyOut(text, length, buffer, capacity) : 0;
    LocalFree(text);
    return copied;
}

}  // namespace

uint32_t SystemStatusText(int32_t status, char16_t* buffer, uint32_t capacity) noexcept {
    return IsMediaFrameworkStatus(status) ? MediaStatusText(status, buffer, capacity)
                                          : MessageTableText(status, buffer, capacity);
}

uint32_t SystemLocaleCodePage(const char16_t* localeName) noexcept {
    if (localeName == nullptr)
        return 0;
    const LCID locale = LocaleNameToLCID(reinterpret_cast<const WCHAR*>(localeName), 0);
    // A name the system doesn't know may still get a made-up locale, which
    // has no code page of its own.
    if (locale == 0 || locale == LOCALE_CUSTOM_UNSPECIFIED)
        return 0;
    DWORD codePage = 0;
    if (GetLocaleInfoW(locale, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER, reinterpret_cast<WCHAR*>(&codePage),
                       sizeof(codePage) / sizeof(WCHAR)) == 0)
        return 0;
    return codePage;
}

bool SystemIsConsole(uint32_t stdHandle) noexcept {
    HANDLE handle = GetStdHandle(stdHandle);
    DWORD mode = 0;
    // Only a console answers GetConsoleMode; files, pipes and devices don't.
    return handle != nullptr && handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode) != FALSE;
}

}  // namespace zqplatform::win32
