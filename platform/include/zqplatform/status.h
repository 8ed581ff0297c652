// Statuses (HRESULT) and the conversion of the platform's error numbers.
#pragma once

#include "zqplatform/types.h"

inline constexpr bool SUCCEEDED(HRESULT hr) noexcept { return hr >= 0; }
inline constexpr bool FAILED(HRESULT hr) noexcept { return hr < 0; }

inline constexpr HRESULT MAKE_HRESULT(uint32_t severity, uint32_t facility, uint32_t code) noexcept {
    return static_cast<HRESULT>((severity << 31) | (facility << 16) | code);
}

inline constexpr uint32_t FACILITY_WIN32 = 7;

/// The platform's error number as a status: 0x8007xxxx with the number's low
/// 16 bits; 0 and values that already look like statuses pass unchanged.
inline constexpr HRESULT HRESULT_FROM_WIN32(uint32_t error) noexcept {
    return static_cast<HRESULT>(error) <= 0
        ? static_cast<HRESULT>(error)
        : static_cast<HRESULT>((error & 0x0000FFFFu) | (FACILITY_WIN32 << 16) | 0x80000000u);
}

inline constexpr HRESULT HResult(uint32_t value) noexcept { return static_cast<HRESULT>(value); }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = HResult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = HResult(0x80004002);
inline constexpr HRESULT E_POINTER = HResult(0x80004003);
inline constexpr HRESULT E_ABORT = HResult(0x80004004);
inline constexpr HRESULT E_FAIL = HResult(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = HResult(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = HResult(0x80070005);
inline constexpr HRESULT E_HANDLE = HResult(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = HResult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = HResult(0x80070057);

inline constexpr HRESULT DISP_E_UNKNOWNINTERFACE = HResult(0x80020001);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = HResult(0x80020003);
inline constexpr HRESULT DISP_E_PARAMNOTFOUND = HResult(0x80020004);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = HResult(0x80020005);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = HResult(0x80020006);
inline constexpr HRESULT DISP_E_NONAMEDARGS = HResult(0x80020007);
inline constexpr HRESULT DISP_E_BADVARTYPE = HResult(0x80020008);
inline constexpr HRESULT DISP_E_EXCEPTION = HResult(0x80020009);
inline constexpr HRESULT DISP_E_OVERFLOW = HResult(0x8002000A);
inline constexpr HRESULT DISP_E_BADINDEX = HResult(0x8002000B);
inline constexpr HRESULT DISP_E_UNKNOWNLCID = HResult(0x8002000C);
inline constexpr HRESULT DISP_E_ARRAYISLOCKED = HResult(0x8002000D);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = HResult(0x8002000E);
inline constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = HResult(0x8002000F);
inline constexpr HRESULT DISP_E_BADCALLEE = HResult(0x80020010);
inline constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = HResult(0x8002802B);
inline constexpr HRESULT TYPE_E_LIBNOTREGISTERED = HResult(0x8002801D);

inline constexpr HRESULT CLASS_E_NOAGGREGATION = HResult(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = HResult(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = HResult(0x80040154);
inline constexpr HRESULT REGDB_E_READREGDB = HResult(0x80040150);
inline constexpr HRESULT REGDB_E_WRITEREGDB = HResult(0x80040151);
inline constexpr HRESULT REGDB_E_KEYMISSING = HResult(0x80040152);
inline constexpr HRESULT CO_E_NOTINITIALIZED = HResult(0x800401F0);
inline constexpr HRESULT CO_E_CLASSSTRING = HResult(0x800401F3);
inline constexpr HRESULT CO_E_DLLNOTFOUND = HResult(0x8004018F);
inline constexpr HRESULT CO_E_ERRORINDLL = HResult(0x800401F9);
inline constexpr HRESULT RPC_E_CHANGED_MODE = HResult(0x80010106);

inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = HResult(0x80040200);
inline constexpr HRESULT VFW_E_NO_CLOCK = HResult(0x80040213);
inline constexpr HRESULT VFW_E_WRONG_STATE = HResult(0x80040227);
inline constexpr HRESULT VFW_E_INVALID_FILE_FORMAT = HResult(0x8004022F);

// Win32 error numbers that the runtime maps errno onto.
inline constexpr uint32_t ERROR_SUCCESS = 0;
inline constexpr uint32_t ERROR_INVALID_FUNCTION = 1;
inline constexpr uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr uint32_t ERROR_OUTOFMEMORY = 14;
inline constexpr uint32_t ERROR_WRITE_PROTECT = 19;
inline constexpr uint32_t ERROR_READ_FAULT = 30;
inline constexpr uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr uint32_t ERROR_HANDLE_EOF = 38;
inline constexpr uint32_t ERROR_NOT_SUPPORTED = 50;
inline constexpr uint32_t ERROR_FILE_EXISTS = 80;
inline constexpr uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr uint32_t ERROR_BROKEN_PIPE = 109;
inline constexpr uint32_t ERROR_DISK_FULL = 112;
inline constexpr uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr uint32_t ERROR_INVALID_NAME = 123;
inline constexpr uint32_t ERROR_MOD_NOT_FOUND = 126;
inline constexpr uint32_t ERROR_PROC_NOT_FOUND = 127;
inline constexpr uint32_t ERROR_DIR_NOT_EMPTY = 145;
inline constexpr uint32_t ERROR_BUSY = 170;
inline constexpr uint32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr uint32_t ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr uint32_t ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr uint32_t ERROR_CLASS_ALREADY_EXISTS = 1410;
inline constexpr uint32_t ERROR_CLASS_DOES_NOT_EXIST = 1411;
inline constexpr uint32_t ERROR_CLASS_HAS_WINDOWS = 1412;
inline constexpr uint32_t ERROR_INVALID_INDEX = 1413;
inline constexpr uint32_t ERROR_INVALID_THREAD_ID = 1444;
inline constexpr uint32_t ERROR_TIMEOUT = 1460;
inline constexpr uint32_t ERROR_DIRECTORY = 267;
inline constexpr uint32_t ERROR_IO_DEVICE = 1117;
inline constexpr uint32_t ERROR_NOT_READY = 21;

extern "C" {
/// The calling thread's last error, a Win32 error number.
ZQPLATFORM_API DWORD GetLastError();
ZQPLATFORM_API void SetLastError(DWORD error);
#if !defined(_WIN32)
/// Maps an errno value to the Win32 error number that stands for it
/// (ENOENT 2, EACCES 5, ENOMEM 8, ...); unknown values give ERROR_INVALID_FUNCTION's
/// neighbour ERROR_IO_DEVICE so that no failure reads as success.
ZQPLATFORM_API DWORD ZQWin32ErrorFromErrno(int errnoValue);
/// Sets the last error from the current errno and returns it as a status.
ZQPLATFORM_API HRESULT ZQHResultFromErrno(int errnoValue);
#endif  // on Windows the system itself sets the last error

/// A text for a status, in English (on Windows the system's own text, in the
/// user's language, where it has one), without a trailing line end. Copies at
/// most `capacity` - 1 code units and a NUL into `buffer`; returns the length
/// of the full text in code units (0 only for a null buffer with capacity 0
/// and no text). Unknown statuses get a generic text that shows the number.
ZQPLATFORM_API DWORD ZQGetStatusText(HRESULT hr, WCHAR* buffer, DWORD capacity);
/// The symbolic name of a status ("E_POINTER"), or null when it has none.
ZQPLATFORM_API const char* ZQGetStatusName(HRESULT hr);
}
