// The module's type library: its interfaces' type information by index or
// identifier, for tools and scripting hosts that browse what the module offers.
#pragma once

#include <atomic>

#include "zqplatform/oaidl.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// ITypeLib over the module's static description: ZQSubtitleLib with its
/// automation interfaces, in the library's order (the classes and the
/// enumerations are not served as entries). The module keeps one instance
/// from its first use to its unload; a client's reference keeps the module
/// loaded, as the type information's does. Immutable but for the count, so
/// any thread may call it.
class CZQTypeLib final : public ITypeLib {
public:
    /// The module's type library, with a reference for the caller.
    /// E_POINTER for a null `typeLib`, E_OUTOFMEMORY.
    static HRESULT GetShared(ITypeLib** typeLib) noexcept;

    // IUnknown
    HRESULT QueryInterface(REFIID riid, void** ppvObject) noexcept override;
    ULONG AddRef() noexcept override;
    ULONG Release() noexcept override;

    // ITypeLib
    UINT GetTypeInfoCount() noexcept override;
    /// TYPE_E_ELEMENTNOTFOUND past the last entry, E_INVALIDARG for a null
    /// out pointer.
    HRESULT GetTypeInfo(UINT index, ITypeInfo** ppTInfo) noexcept override;
    HRESULT GetTypeInfoType(UINT index, TYPEKIND* pTKind) noexcept override;
    HRESULT GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** ppTinfo) noexcept override;
    /// The library's identifier, version 1.0 and SYS_WIN64; freed with
    /// ReleaseTLibAttr.
    HRESULT GetLibAttr(TLIBATTR** ppTLibAttr) noexcept override;
    HRESULT GetTypeComp(ITypeComp** ppTComp) noexcept override;
    /// Index -1 is the library itself. Any out pointer may be null; there is
    /// no help file or context.
    HRESULT GetDocumentation(INT index, BSTR* pBstrName, BSTR* pBstrDocString, DWORD* pdwHelpContext,
                             BSTR* pBstrHelpFile) noexcept override;
    HRESULT IsName(LPOLESTR szNameBuf, ULONG lHashVal, BOOL* pfName) noexcept override;
    HRESULT FindName(LPOLESTR szNameBuf, ULONG lHashVal, ITypeInfo** ppTInfo, MEMBERID* rgMemId,
                     USHORT* pcFound) noexcept override;
    void ReleaseTLibAttr(TLIBATTR* pTLibAttr) noexcept override;

private:
    CZQTypeLib() noexcept = default;
    ~CZQTypeLib() = default;

    std::atomic<ULONG> m_refCount{0};
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
