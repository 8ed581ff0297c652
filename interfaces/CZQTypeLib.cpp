#include "interfaces/CZQTypeLib.h"

#include <new>

#include "interfaces/CZQTypeInfo.h"
#include "interfaces/ZQInterfaceDescription.h"
#include "interfaces/ZQTypeDescriptions.h"
#include "support/CZQSubtitleModule.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"

namespace {

/// The module's one instance, holding one reference from its first use
/// until the module's static data go away at unload.
class TypeLibSlot {
public:
    constexpr TypeLibSlot() = default;
    TypeLibSlot(const TypeLibSlot&) = delete;
    TypeLibSlot& operator=(const TypeLibSlot&) = delete;
    ~TypeLibSlot() {
        if (ITypeLib* library = m_library.exchange(nullptr))
            library->Release();
    }

    // Written once under the module's first-use lock, read without it.
    std::atomic<ITypeLib*> m_library{nullptr};
};

constinit TypeLibSlot g_typeLibSlot;

}  // namespace

HRESULT CZQTypeLib::GetShared(ITypeLib** typeLib) noexcept {
    if (!typeLib)
        return E_POINTER;
    *typeLib = g_typeLibSlot.m_library.load(std::memory_order_acquire);
    if (*typeLib == nullptr) {
        CZQSubtitleModule::FirstUseLock lock(ZQModule());
        ITypeLib* library = g_typeLibSlot.m_library.load(std::memory_order_acquire);
        if (library == nullptr) {
            library = new (std::nothrow) CZQTypeLib;
            if (library == nullptr)
                return E_OUTOFMEMORY;
            library->AddRef();  // the slot's
            g_typeLibSlot.m_library.store(library, std::memory_order_release);
        }
        *typeLib = library;
    }
    (*typeLib)->AddRef();
    return S_OK;
}

HRESULT CZQTypeLib::QueryInterface(REFIID riid, void** ppvObject) noexcept {
    if (!ppvObject)
        return E_POINTER;
    *ppvObject = nullptr;
    if (riid != IID_IUnknown && riid != IID_ITypeLib)
        return E_NOINTERFACE;
    *ppvObject = static_cast<ITypeLib*>(this);
    AddRef();
    return S_OK;
}

// As with the type information: the slot's reference doesn't hold the module,
// every client's reference does.
ULONG CZQTypeLib::AddRef() noexcept {
    const ULONG count = m_refCount.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count == 2)
        ZQModule().Lock();
    return count;
}

ULONG CZQTypeLib::Release() noexcept {
    const ULONG count = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count == 0)
        delete this;
    else if (count == 1)
        ZQModule().Unlock();
    return count;
}

UINT CZQTypeLib::GetTypeInfoCount() noexcept {
    return static_cast<UINT>(ZQGetInterfaceDescriptions().size());
}

HRESULT CZQTypeLib::GetTypeInfo(UINT index, ITypeInfo** ppTInfo) noexcept {
    if (!ppTInfo)
        return E_INVALIDARG;
    *ppTInfo = nullptr;
    const auto descriptions = ZQGetInterfaceDescriptions();
    if (index >= descriptions.size())
        return TYPE_E_ELEMENTNOTFOUND;
    CZQTypeInfo* shared = nullptr;
    const HRESULT hr = CZQTypeInfo::GetShared(descriptions[index]->m_iid, &shared);
    if (FAILED(hr))
        return hr;
    shared->AddRef();
    *ppTInfo = shared;
    return S_OK;
}

HRESULT CZQTypeLib::GetTypeInfoType(UINT index, TYPEKIND* pTKind) noexcept {
    if (!pTKind)
        return E_INVALIDARG;
    const auto descriptions = ZQGetInterfaceDescriptions();
    if (index >= descriptions.size())
        return TYPE_E_ELEMENTNOTFOUND;
    *pTKind = (descriptions[index]->m_flags & ZQInterface_Dual) ? TKIND_DISPATCH : TKIND_INTERFACE;
    return S_OK;
}

HRESULT CZQTypeLib::GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** ppTinfo) noexcept {
    if (!ppTinfo)
        return E_INVALIDARG;
    *ppTinfo = nullptr;
    CZQTypeInfo* shared = nullptr;
    const HRESULT hr = CZQTypeInfo::GetShared(guid, &shared);
    if (FAILED(hr))
        return hr;
    shared->AddRef();
    *ppTinfo = shared;
    return S_OK;
}

HRESULT CZQTypeLib::GetLibAttr(TLIBATTR** ppTLibAttr) noexcept {
    if (!ppTLibAttr)
        return E_INVALIDARG;
    auto* attr = static_cast<TLIBATTR*>(CoTaskMemAlloc(sizeof(TLIBATTR)));
    *ppTLibAttr = attr;
    if (attr == nullptr)
        return E_OUTOFMEMORY;
    const ZQTypeLibraryDescription& library = ZQGetTypeLibraryDescription();
    *attr = TLIBATTR{library.m_libid, library.m_lcid, SYS_WIN64, library.m_majorVersion, library.m_minorVersion, 0};
    return S_OK;
}

HRESULT CZQTypeLib::GetTypeComp(ITypeComp** ppTComp) noexcept {
    if (ppTComp)
        *ppTComp = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeLib::GetDocumentation(INT index, BSTR* pBstrName, BSTR* pBstrDocString, DWORD* pdwHelpContext,
                                     BSTR* pBstrHelpFile) noexcept {
    if (index != -1) {
        ITypeInfo* typeInfo = nullptr;
        const HRESULT hr = index < 0 ? TYPE_E_ELEMENTNOTFOUND : GetTypeInfo(static_cast<UINT>(index), &typeInfo);
        if (FAILED(hr))
            return hr;
        const HRESULT documented =
            typeInfo->GetDocumentation(MEMBERID_NIL, pBstrName, pBstrDocString, pdwHelpContext, pBstrHelpFile);
        typeInfo->Release();
        return documented;
    }
    const ZQTypeLibraryDescription& library = ZQGetTypeLibraryDescription();
    BSTR name = nullptr;
    BSTR help = nullptr;
    if ((pBstrName && !(name = ZQAllocAsciiString(library.m_name))) ||
        (pBstrDocString && !(help = ZQAllocAsciiString(library.m_helpText)))) {
        SysFreeString(name);
        return E_OUTOFMEMORY;
    }
    if (pBstrName)
        *pBstrName = name;
    if (pBstrDocString)
        *pBstrDocString = help;
    if (pdwHelpContext)
        *pdwHelpContext = 0;
    if (pBstrHelpFile)
        *pBstrHelpFile = nullptr;
    return S_OK;
}

HRESULT CZQTypeLib::IsName(LPOLESTR, ULONG, BOOL* pfName) noexcept {
    if (pfName)
        *pfName = FALSE;
    return E_NOTIMPL;
}

HRESULT CZQTypeLib::FindName(LPOLESTR, ULONG, ITypeInfo** ppTInfo, MEMBERID*, USHORT* pcFound) noexcept {
    if (ppTInfo)
        *ppTInfo = nullptr;
    if (pcFound)
        *pcFound = 0;
    return E_NOTIMPL;
}

void CZQTypeLib::ReleaseTLibAttr(TLIBATTR* pTLibAttr) noexcept {
    CoTaskMemFree(pTLibAttr);
}
