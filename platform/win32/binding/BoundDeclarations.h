// Every declaration of the platform headers that Windows itself serves: the
// functions, the records laid out as Windows lays them out, and the
// interfaces whose methods Windows calls or implements. Both sides of the
// check expand these lists, each with its own headers.
//
// A function declared by the platform headers is either listed here or made
// by the backend (the ZQ functions); platform/tests/check_win32_binding.py
// keeps the two sets complete.
#pragma once

// ZQ_FOR_EACH(MACRO, FIRST, a, b, c) expands to MACRO(FIRST, a) MACRO(FIRST, b) MACRO(FIRST, c).
#define ZQ_PARENS ()
#define ZQ_EXPAND(...) ZQ_EXPAND3(ZQ_EXPAND3(ZQ_EXPAND3(ZQ_EXPAND3(__VA_ARGS__))))
#define ZQ_EXPAND3(...) ZQ_EXPAND2(ZQ_EXPAND2(ZQ_EXPAND2(ZQ_EXPAND2(__VA_ARGS__))))
#define ZQ_EXPAND2(...) ZQ_EXPAND1(ZQ_EXPAND1(ZQ_EXPAND1(ZQ_EXPAND1(__VA_ARGS__))))
#define ZQ_EXPAND1(...) __VA_ARGS__
#define ZQ_FOR_EACH(macro, first, ...) __VA_OPT__(ZQ_EXPAND(ZQ_FOR_EACH_STEP(macro, first, __VA_ARGS__)))
#define ZQ_FOR_EACH_STEP(macro, first, a, ...) \
    macro(first, a) __VA_OPT__(ZQ_FOR_EACH_AGAIN ZQ_PARENS(macro, first, __VA_ARGS__))
#define ZQ_FOR_EACH_AGAIN() ZQ_FOR_EACH_STEP

#define ZQ_BOUND_FUNCTIONS(X)                                                                                          \
    /* activation and task memory: ole32 */                                                                            \
    X(CoInitializeEx) X(CoUninitialize) X(CoGetClassObject) X(CoCreateInstance) X(CoFreeUnusedLibraries)               \
    X(CLSIDFromProgID) X(CLSIDFromString) X(StringFromGUID2) X(CoTaskMemAlloc) X(CoTaskMemRealloc) X(CoTaskMemFree)    \
    /* strings and variants: oleaut32 */                                                                               \
    X(SysAllocString) X(SysAllocStringLen) X(SysAllocStringByteLen) X(SysReAllocStringLen) X(SysFreeString)            \
    X(SysStringLen) X(SysStringByteLen) X(VariantInit) X(VariantClear) X(VariantCopy) X(VariantCopyInd)                \
    X(VariantChangeType)                                                                                               \
    /* errors, threads, synchronisation, time: kernel32 */                                                             \
    X(GetLastError) X(SetLastError) X(InitializeCriticalSection) X(InitializeCriticalSectionEx)                        \
    X(EnterCriticalSection) X(TryEnterCriticalSection) X(LeaveCriticalSection) X(DeleteCriticalSection)                \
    X(CreateEventW) X(SetEvent) X(ResetEvent) X(CreateThread) X(GetCurrentThreadId) X(GetCurrentProcessId)             \
    X(GetExitCodeThread) X(WaitForSingleObject) X(CloseHandle) X(Sleep) X(GetTickCount64)                              \
    X(QueryPerformanceCounter) X(QueryPerformanceFrequency) X(GetLocalTime) X(OutputDebugStringA)                      \
    X(GetCurrentProcess) X(GetProcessHandleCount) X(CreateTimerQueue) X(CreateTimerQueueTimer)                         \
    X(DeleteTimerQueueTimer) X(DeleteTimerQueueEx)                                                                     \
    /* memory and named mappings: kernel32 */                                                                          \
    X(GetProcessHeap) X(HeapAlloc) X(HeapReAlloc) X(HeapFree) X(CreateFileMappingA) X(MapViewOfFile)                   \
    X(UnmapViewOfFile)                                                                                                 \
    /* files and modules: kernel32, shell32 */                                                                         \
    X(CreateFileW) X(ReadFile) X(WriteFile) X(GetFileSizeEx) X(SetFilePointerEx) X(FlushFileBuffers)                   \
    X(CreateDirectoryW) X(GetFileAttributesW) X(GetTempPathW) X(DeleteFileW) X(MoveFileExW) X(LoadLibraryW)            \
    X(GetProcAddress) X(FreeLibrary)                                                                                   \
    X(GetModuleFileNameW) X(GetModuleHandleExW) X(GetModuleHandleW) X(SHGetFolderPathW)                                \
    /* text: kernel32 */                                                                                               \
    X(MultiByteToWideChar) X(WideCharToMultiByte) X(GetACP) X(IsValidCodePage) X(lstrcmpiW)                            \
    /* registry: advapi32 */                                                                                           \
    X(RegCreateKeyExW) X(RegOpenKeyExW) X(RegCloseKey) X(RegSetValueExW) X(RegQueryValueExW) X(RegDeleteValueW)        \
    X(RegDeleteKeyW) X(RegDeleteTreeW) X(RegEnumKeyExW)                                                                \
    /* windows and messages: user32 */                                                                                 \
    X(RegisterClassW) X(GetClassInfoW) X(UnregisterClassW) X(CreateWindowExW) X(DestroyWindow) X(IsWindow)             \
    X(GetWindowThreadProcessId) X(GetWindowLongPtrW) X(SetWindowLongPtrW) X(DefWindowProcW) X(SendMessageW)            \
    X(PostMessageW) X(PostThreadMessageW) X(PostQuitMessage) X(PeekMessageW) X(GetMessageW) X(DispatchMessageW)

// Records whose layout both sides must share, with the fields the platform
// headers name; CRITICAL_SECTION is opaque on the platform side, so only its
// size and alignment count.
#define ZQ_BOUND_RECORDS(R)                                                                                            \
    R(GUID, Data1, Data2, Data3, Data4)                                                                                \
    R(RECT, left, top, right, bottom)                                                                                  \
    R(POINT, x, y)                                                                                                     \
    R(SIZE, cx, cy)                                                                                                    \
    R(LARGE_INTEGER, QuadPart)                                                                                         \
    R(SYSTEMTIME, wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds)                             \
    R(CRITICAL_SECTION)                                                                                                \
    R(MSG, hwnd, message, wParam, lParam, time, pt)                                                                    \
    R(WNDCLASSW, style, lpfnWndProc, cbClsExtra, cbWndExtra, hInstance, hIcon, hCursor, hbrBackground, lpszMenuName,  \
      lpszClassName)                                                                                                   \
    R(CREATESTRUCTW, lpCreateParams, hInstance, hMenu, hwndParent, cy, cx, y, x, style, lpszName, lpszClass,          \
      dwExStyle)                                                                                                       \
    R(CY, int64)                                                                                                       \
    R(VARIANT, vt, wReserved1, wReserved2, wReserved3, llVal, lVal, dblVal, boolVal, bstrVal, punkVal, pdispVal,      \
      byref, pvarVal)                                                                                                  \
    R(DISPPARAMS, rgvarg, rgdispidNamedArgs, cArgs, cNamedArgs)                                                        \
    R(EXCEPINFO, wCode, wReserved, bstrSource, bstrDescription, bstrHelpFile, dwHelpContext, pvReserved,              \
      pfnDeferredFillIn, scode)                                                                                        \
    R(TYPEDESC, lptdesc, lpadesc, hreftype, vt)                                                                        \
    R(IDLDESC, dwReserved, wIDLFlags)                                                                                  \
    R(PARAMDESC, pparamdescex, wParamFlags)                                                                            \
    R(ELEMDESC, tdesc, idldesc, paramdesc)                                                                             \
    R(FUNCDESC, memid, lprgscode, lprgelemdescParam, funckind, invkind, callconv, cParams, cParamsOpt, oVft, cScodes, \
      elemdescFunc, wFuncFlags)                                                                                        \
    R(TYPEATTR, guid, lcid, dwReserved, memidConstructor, memidDestructor, lpstrSchema, cbSizeInstance, typekind,     \
      cFuncs, cVars, cImplTypes, cbSizeVft, cbAlignment, wTypeFlags, wMajorVerNum, wMinorVerNum, tdescAlias,          \
      idldescType)                                                                                                     \
    R(TLIBATTR, guid, lcid, syskind, wMajorVerNum, wMinorVerNum, wLibFlags)                                            \
    R(AM_MEDIA_TYPE, majortype, subtype, bFixedSizeSamples, bTemporalCompression, lSampleSize, formattype, pUnk,      \
      cbFormat, pbFormat)

// Interfaces and their methods in their usual order. Windows' IUnknown adds a
// template overload of QueryInterface, so that method's shape can't be named
// there; every test that creates an object through Windows calls it.
// IFilterGraph is only a name to the platform side.
#define ZQ_BOUND_INTERFACES(I)                                                                                         \
    I(IUnknown, AddRef, Release)                                                                                       \
    I(IClassFactory, CreateInstance, LockServer)                                                                       \
    I(IDispatch, GetTypeInfoCount, GetTypeInfo, GetIDsOfNames, Invoke)                                                 \
    I(ITypeInfo, GetTypeAttr, GetTypeComp, GetFuncDesc, GetVarDesc, GetNames, GetRefTypeOfImplType, GetImplTypeFlags, \
      GetIDsOfNames, Invoke, GetDocumentation, GetDllEntry, GetRefTypeInfo, AddressOfMember, CreateInstance, GetMops,  \
      GetContainingTypeLib, ReleaseTypeAttr, ReleaseFuncDesc, ReleaseVarDesc)                                          \
    I(ITypeLib, GetTypeInfoCount, GetTypeInfo, GetTypeInfoType, GetTypeInfoOfGuid, GetLibAttr, GetTypeComp,           \
      GetDocumentation, IsName, FindName, ReleaseTLibAttr)                                                             \
    I(IReferenceClock, GetTime, AdviseTime, AdvisePeriodic, Unadvise)                                                  \
    I(IFilterGraph)

namespace zqbinding::tags {

#define ZQ_TAG(name, ...) struct name;
ZQ_BOUND_FUNCTIONS(ZQ_TAG)
ZQ_BOUND_RECORDS(ZQ_TAG)
ZQ_BOUND_INTERFACES(ZQ_TAG)
#undef ZQ_TAG

#define ZQ_METHOD_TAG(interface, method) struct interface##_##method;
#define ZQ_METHOD_TAGS(interface, ...) ZQ_FOR_EACH(ZQ_METHOD_TAG, interface, __VA_ARGS__)
ZQ_BOUND_INTERFACES(ZQ_METHOD_TAGS)

}  // namespace zqbinding::tags
