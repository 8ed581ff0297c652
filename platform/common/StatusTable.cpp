// The statuses that the runtime and the module return: each with its
// symbolic name and an English text. Both backends read it; on Windows the
// text serves where the system has none.
#include "common/StatusTable.h"

#include "zqplatform/errors.h"

namespace zqplatform {

namespace {

constexpr HRESULT Win32(uint32_t error) {
    return HRESULT_FROM_WIN32(error);
}

// Where a Win32 error and a named status share a value (E_ACCESSDENIED is
// HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)), the named status comes first and wins.
constexpr StatusEntry kStatuses[] = {
    {S_OK, "S_OK", u"The operation completed successfully."},
    {S_FALSE, "S_FALSE", u"The operation completed with a negative answer."},
    {E_NOTIMPL, "E_NOTIMPL", u"Not implemented."},
    {E_NOINTERFACE, "E_NOINTERFACE", u"No such interface supported."},
    {E_POINTER, "E_POINTER", u"Invalid pointer."},
    {E_ABORT, "E_ABORT", u"Operation aborted."},
    {E_FAIL, "E_FAIL", u"Unspecified error."},
    {E_UNEXPECTED, "E_UNEXPECTED", u"Unexpected failure."},
    {E_ACCESSDENIED, "E_ACCESSDENIED", u"Access is denied."},
    {E_HANDLE, "E_HANDLE", u"The handle is invalid."},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY", u"Not enough memory is available to complete this operation."},
    {E_INVALIDARG, "E_INVALIDARG", u"One or more arguments are invalid."},

    {DISP_E_UNKNOWNINTERFACE, "DISP_E_UNKNOWNINTERFACE", u"Unknown interface."},
    {DISP_E_MEMBERNOTFOUND, "DISP_E_MEMBERNOTFOUND", u"Member not found."},
    {DISP_E_PARAMNOTFOUND, "DISP_E_PARAMNOTFOUND", u"Parameter not found."},
    {DISP_E_TYPEMISMATCH, "DISP_E_TYPEMISMATCH", u"Type mismatch."},
    {DISP_E_UNKNOWNNAME, "DISP_E_UNKNOWNNAME", u"Unknown name."},
    {DISP_E_NONAMEDARGS, "DISP_E_NONAMEDARGS", u"No named arguments."},
    {DISP_E_BADVARTYPE, "DISP_E_BADVARTYPE", u"Bad variable type."},
    {DISP_E_EXCEPTION, "DISP_E_EXCEPTION", u"Exception occurred."},
    {DISP_E_OVERFLOW, "DISP_E_OVERFLOW", u"Out of present range."},
    {DISP_E_BADINDEX, "DISP_E_BADINDEX", u"Invalid index."},
    {DISP_E_UNKNOWNLCID, "DISP_E_UNKNOWNLCID", u"Unknown language."},
    {DISP_E_ARRAYISLOCKED, "DISP_E_ARRAYISLOCKED", u"Memory is locked."},
    {DISP_E_BADPARAMCOUNT, "DISP_E_BADPARAMCOUNT", u"Invalid number of parameters."},
    {DISP_E_PARAMNOTOPTIONAL, "DISP_E_PARAMNOTOPTIONAL", u"Parameter not optional."},
    {DISP_E_BADCALLEE, "DISP_E_BADCALLEE", u"Invalid callee."},
    {TYPE_E_ELEMENTNOTFOUND, "TYPE_E_ELEMENTNOTFOUND", u"Element not found."},
    {TYPE_E_LIBNOTREGISTERED, "TYPE_E_LIBNOTREGISTERED", u"Library not registered."},

    {CLASS_E_NOAGGREGATION, "CLASS_E_NOAGGREGATION", u"Class does not support aggregation."},
    {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE", u"The class object cannot supply the requested class."},
    {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG", u"Class not registered."},
    {REGDB_E_READREGDB, "REGDB_E_READREGDB", u"Could not read key from registry."},
    {REGDB_E_WRITEREGDB, "REGDB_E_WRITEREGDB", u"Could not write key to registry."},
    {REGDB_E_KEYMISSING, "REGDB_E_KEYMISSING", u"Could not find the key in the registry."},
    {CO_E_NOTINITIALIZED, "CO_E_NOTINITIALIZED", u"CoInitialize has not been called."},
    {CO_E_CLASSSTRING, "CO_E_CLASSSTRING", u"Invalid class string."},
    {CO_E_DLLNOTFOUND, "CO_E_DLLNOTFOUND", u"The module that serves the class was not found."},
    {CO_E_ERRORINDLL, "CO_E_ERRORINDLL", u"Error in the module that serves the class."},
    {RPC_E_CHANGED_MODE, "RPC_E_CHANGED_MODE", u"Cannot change thread mode after it is set."},

    {VFW_E_INVALIDMEDIATYPE, "VFW_E_INVALIDMEDIATYPE", u"The specified media type is invalid."},
    {VFW_E_NO_CLOCK, "VFW_E_NO_CLOCK", u"No reference clock has been set."},
    {VFW_E_WRONG_STATE, "VFW_E_WRONG_STATE", u"The operation could not be performed because the object is in the wrong state."},
    {VFW_E_INVALID_FILE_FORMAT, "VFW_E_INVALID_FILE_FORMAT", u"The file format is invalid."},

    {Win32(ERROR_INVALID_FUNCTION), "HRESULT_FROM_WIN32(ERROR_INVALID_FUNCTION)", u"Incorrect function."},
    {Win32(ERROR_FILE_NOT_FOUND), "HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)", u"The system cannot find the file specified."},
    {Win32(ERROR_PATH_NOT_FOUND), "HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)", u"The system cannot find the path specified."},
    {Win32(ERROR_TOO_MANY_OPEN_FILES), "HRESULT_FROM_WIN32(ERROR_TOO_MANY_OPEN_FILES)", u"The system cannot open the file: too many files are open."},
    {Win32(ERROR_NOT_ENOUGH_MEMORY), "HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_MEMORY)", u"Not enough memory resources are available to process this command."},
    {Win32(ERROR_NOT_READY), "HRESULT_FROM_WIN32(ERROR_NOT_READY)", u"The device is not ready."},
    {Win32(ERROR_WRITE_PROTECT), "HRESULT_FROM_WIN32(ERROR_WRITE_PROTECT)", u"The media is write protected."},
    {Win32(ERROR_READ_FAULT), "HRESULT_FROM_WIN32(ERROR_READ_FAULT)", u"The system cannot read from the specified device."},
    {Win32(ERROR_SHARING_VIOLATION), "HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION)", u"The process cannot access the file because it is being used by another process."},
    {Win32(ERROR_HANDLE_EOF), "HRESULT_FROM_WIN32(ERROR_HANDLE_EOF)", u"Reached the end of the file."},
    {Win32(ERROR_NOT_SUPPORTED), "HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED)", u"The request is not supported."},
    {Win32(ERROR_FILE_EXISTS), "HRESULT_FROM_WIN32(ERROR_FILE_EXISTS)", u"The file exists."},
    {Win32(ERROR_BROKEN_PIPE), "HRESULT_FROM_WIN32(ERROR_BROKEN_PIPE)", u"The pipe has been ended."},
    {Win32(ERROR_DISK_FULL), "HRESULT_FROM_WIN32(ERROR_DISK_FULL)", u"There is not enough space on the disk."},
    {Win32(ERROR_INSUFFICIENT_BUFFER), "HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)", u"The data area passed to a system call is too small."},
    {Win32(ERROR_INVALID_NAME), "HRESULT_FROM_WIN32(ERROR_INVALID_NAME)", u"The filename, directory name, or volume label syntax is incorrect."},
    {Win32(ERROR_MOD_NOT_FOUND), "HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)", u"The specified module could not be found."},
    {Win32(ERROR_PROC_NOT_FOUND), "HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND)", u"The specified procedure could not be found."},
    {Win32(ERROR_DIR_NOT_EMPTY), "HRESULT_FROM_WIN32(ERROR_DIR_NOT_EMPTY)", u"The directory is not empty."},
    {Win32(ERROR_BUSY), "HRESULT_FROM_WIN32(ERROR_BUSY)", u"The requested resource is in use."},
    {Win32(ERROR_ALREADY_EXISTS), "HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)", u"Cannot create a file when that file already exists."},
    {Win32(ERROR_FILENAME_EXCED_RANGE), "HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE)", u"The filename or extension is too long."},
    {Win32(ERROR_DIRECTORY), "HRESULT_FROM_WIN32(ERROR_DIRECTORY)", u"The directory name is invalid."},
    {Win32(ERROR_NO_UNICODE_TRANSLATION), "HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION)", u"No mapping for the Unicode character exists in the target code page."},
    {Win32(ERROR_IO_DEVICE), "HRESULT_FROM_WIN32(ERROR_IO_DEVICE)", u"The request could not be performed because of an I/O device error."},
    {Win32(ERROR_INVALID_WINDOW_HANDLE), "HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE)", u"Invalid window handle."},
    {Win32(ERROR_CLASS_ALREADY_EXISTS), "HRESULT_FROM_WIN32(ERROR_CLASS_ALREADY_EXISTS)", u"Class already exists."},
    {Win32(ERROR_CLASS_DOES_NOT_EXIST), "HRESULT_FROM_WIN32(ERROR_CLASS_DOES_NOT_EXIST)", u"Class does not exist."},
    {Win32(ERROR_CLASS_HAS_WINDOWS), "HRESULT_FROM_WIN32(ERROR_CLASS_HAS_WINDOWS)", u"Class still has open windows."},
    {Win32(ERROR_INVALID_INDEX), "HRESULT_FROM_WIN32(ERROR_INVALID_INDEX)", u"Invalid index."},
    {Win32(ERROR_INVALID_THREAD_ID), "HRESULT_FROM_WIN32(ERROR_INVALID_THREAD_ID)", u"Invalid thread identifier."},
    {Win32(ERROR_TIMEOUT), "HRESULT_FROM_WIN32(ERROR_TIMEOUT)", u"This operation returned because the timeout period expired."},
};

}  // namespace

const StatusEntry* FindStatusEntry(HRESULT hr) noexcept {
    for (const StatusEntry& entry : kStatuses)
        if (entry.m_status == hr)
            return &entry;
    return nullptr;
}

DWORD CopyStatusText(const char16_t* text, WCHAR* buffer, DWORD capacity) noexcept {
    size_t length = 0;
    while (text[length] != 0)
        ++length;
    if (buffer != nullptr && capacity != 0) {
        const size_t copied = length < capacity - 1 ? length : capacity - 1;
        for (size_t i = 0; i < copied; ++i)
            buffer[i] = text[i];
        buffer[copied] = 0;
    }
    return static_cast<DWORD>(length);
}

DWORD CopyGenericStatusText(HRESULT hr, WCHAR* buffer, DWORD capacity) noexcept {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    char16_t text[] = u"Unknown error 0x00000000.";
    constexpr size_t kFirstDigit = 16;
    const uint32_t value = static_cast<uint32_t>(hr);
    for (size_t i = 0; i < 8; ++i)
        text[kFirstDigit + i] = kDigits[(value >> (28 - 4 * i)) & 0xF];
    return CopyStatusText(text, buffer, capacity);
}

}  // namespace zqplatform

extern "C" {

// The media framework's form of the status text, which the Add Subtitle Track
// dialog shows: the backend's ZQGetStatusText (on Windows the media
// framework's own text first), cut to what the buffer holds.
DWORD AMGetErrorTextW(HRESULT hr, WCHAR* buffer, DWORD maxLength) {
    if (buffer == nullptr || maxLength == 0)
        return 0;
    const DWORD length = ZQGetStatusText(hr, buffer, maxLength);
    return length < maxLength ? length : maxLength - 1;
}

const char* ZQGetStatusName(HRESULT hr) {
    const zqplatform::StatusEntry* entry = zqplatform::FindStatusEntry(hr);
    return entry != nullptr ? entry->m_name : nullptr;
}

}  // extern "C"
