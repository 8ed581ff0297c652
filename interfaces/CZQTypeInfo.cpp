#include "interfaces/CZQTypeInfo.h"

#include <array>
#include <cassert>
#include <string_view>

#include "interfaces/CZQTypeLib.h"
#include "interfaces/ZQTypeDescriptions.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"

namespace {

constexpr MEMBERID kMemberIdNil = -1;

// No member of the module's interfaces takes more; the description's source
// would have to grow past this first.
constexpr UINT kMaxParams = 8;

// More than the type library's interfaces.
constexpr size_t kMaxInterfaces = 16;

// Text of an exception's source: the component as a script author knows it.
constexpr const char* kExceptionSource = "ZQSubtitle";

/// The interfaces' own type information, one slot per description in the
/// library's order. Each slot holds one reference from its first use until
/// the module's static data go away at unload.
class TypeInfoSlots {
public:
    constexpr TypeInfoSlots() = default;
    TypeInfoSlots(const TypeInfoSlots&) = delete;
    TypeInfoSlots& operator=(const TypeInfoSlots&) = delete;

    ~TypeInfoSlots() {
        for (std::atomic<CZQTypeInfo*>& slot : m_slots) {
            if (CZQTypeInfo* typeInfo = slot.exchange(nullptr))
                typeInfo->Release();
        }
    }

    std::atomic<CZQTypeInfo*>& operator[](size_t index) noexcept { return m_slots[index]; }

private:
    // Written once under the module's first-use lock, read without it.
    std::array<std::atomic<CZQTypeInfo*>, kMaxInterfaces> m_slots{};
};

constinit TypeInfoSlots g_typeInfoSlots;

bool EqualsIgnoringCase(const OLECHAR* wide, const char* ascii) noexcept {
    if (!wide || !ascii)
        return false;
    auto fold = [](char32_t c) { return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c; };
    for (; *wide && *ascii; ++wide, ++ascii) {
        if (fold(*wide) != fold(static_cast<unsigned char>(*ascii)))
            return false;
    }
    return *wide == 0 && *ascii == 0;
}

bool IsPut(const ZQMemberDescription& member) noexcept {
    return member.m_kind == INVOKE_PROPERTYPUT || member.m_kind == INVOKE_PROPERTYPUTREF;
}

/// The arguments of one call after conversion, cleared however the call ends.
class ConvertedArgs {
public:
    ConvertedArgs() noexcept {
        for (VARIANT& arg : m_args)
            VariantInit(&arg);
    }
    ConvertedArgs(const ConvertedArgs&) = delete;
    ConvertedArgs& operator=(const ConvertedArgs&) = delete;
    ~ConvertedArgs() {
        for (VARIANT& arg : m_args)
            VariantClear(&arg);
    }

    VARIANT* Data() noexcept { return m_args.data(); }
    VARIANT& operator[](UINT index) noexcept { return m_args[index]; }

private:
    std::array<VARIANT, kMaxParams> m_args;
};

/// The value of an interface-typed argument, queried for the parameter's
/// interface. A null pointer passes as null, which is how a script clears a
/// reference property.
HRESULT ConvertInterface(const VARIANT& value, const ZQParamDescription& param, VARIANT* converted) noexcept {
    IUnknown* unknown = nullptr;
    if (value.vt == VT_UNKNOWN)
        unknown = value.punkVal;
    else if (value.vt == VT_DISPATCH)
        unknown = value.pdispVal;
    else
        return DISP_E_TYPEMISMATCH;

    converted->vt = VT_UNKNOWN;
    converted->punkVal = nullptr;
    if (!unknown)
        return S_OK;
    void* queried = nullptr;
    if (FAILED(unknown->QueryInterface(*param.m_iid, &queried)) || !queried)
        return DISP_E_TYPEMISMATCH;
    // Every interface here derives from IUnknown alone, so the queried
    // pointer is also its IUnknown; the thunk casts it back.
    converted->punkVal = static_cast<IUnknown*>(queried);
    return S_OK;
}

/// Converts one argument to its parameter's type. DISP_E_OVERFLOW for a value
/// that doesn't fit, DISP_E_TYPEMISMATCH for any other failure.
HRESULT ConvertArgument(const VARIANT& source, const ZQParamDescription& param, VARIANT* converted) noexcept {
    VARIANT value;
    VariantInit(&value);
    // A by-reference argument (from a script's variable) is read through.
    if (FAILED(VariantCopyInd(&value, &source)))
        return DISP_E_TYPEMISMATCH;

    HRESULT hr;
    if (param.m_iid)
        hr = ConvertInterface(value, param, converted);
    else
        hr = VariantChangeType(converted, &value, 0, param.m_vt);
    VariantClear(&value);
    if (SUCCEEDED(hr))
        return S_OK;
    return hr == DISP_E_OVERFLOW ? DISP_E_OVERFLOW : DISP_E_TYPEMISMATCH;
}

}  // namespace

HRESULT CZQTypeInfo::Create(const ZQInterfaceDescription& description, ITypeInfo** typeInfo) noexcept {
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    auto* created = new (std::nothrow) CZQTypeInfo(description);
    if (!created)
        return E_OUTOFMEMORY;
    created->AddRef();
    *typeInfo = created;
    return S_OK;
}

HRESULT CZQTypeInfo::GetShared(REFIID iid, CZQTypeInfo** typeInfo) noexcept {
    if (!typeInfo)
        return E_POINTER;
    *typeInfo = nullptr;
    auto descriptions = ZQGetInterfaceDescriptions();
    size_t index = 0;
    while (index < descriptions.size() && descriptions[index]->m_iid != iid)
        ++index;
    if (index == descriptions.size())
        return TYPE_E_ELEMENTNOTFOUND;
    assert(index < kMaxInterfaces && "more descriptions than type information slots");

    std::atomic<CZQTypeInfo*>& slot = g_typeInfoSlots[index];
    if (CZQTypeInfo* shared = slot.load(std::memory_order_acquire)) {
        *typeInfo = shared;
        return S_OK;
    }
    // On the original platform this is where the registered type library is
    // loaded; here the description is compiled in, so registration isn't
    // needed before dispatch works. The lock keeps it to one object per
    // interface for the life of the module.
    CZQSubtitleModule::FirstUseLock lock(ZQModule());
    CZQTypeInfo* shared = slot.load(std::memory_order_acquire);
    if (!shared) {
        ITypeInfo* created = nullptr;
        HRESULT hr = Create(*descriptions[index], &created);
        if (FAILED(hr))
            return hr;
        shared = static_cast<CZQTypeInfo*>(created);
        slot.store(shared, std::memory_order_release);
    }
    *typeInfo = shared;
    return S_OK;
}

HRESULT CZQTypeInfo::QueryInterface(REFIID riid, void** ppvObject) noexcept {
    if (!ppvObject)
        return E_POINTER;
    *ppvObject = nullptr;
    if (riid != IID_IUnknown && riid != IID_ITypeInfo)
        return E_NOINTERFACE;
    *ppvObject = static_cast<ITypeInfo*>(this);
    AddRef();
    return S_OK;
}

// The module's own slot holds the first reference and doesn't keep the module
// loaded; every reference beyond it is a client's, whose calls run this code,
// so the step from one to two takes a module lock and the step back gives it
// up. Otherwise CoFreeUnusedLibraries could unload the module under a client
// that only kept a type information.
ULONG CZQTypeInfo::AddRef() noexcept {
    ULONG count = m_refCount.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count == 2)
        ZQModule().Lock();
    return count;
}

ULONG CZQTypeInfo::Release() noexcept {
    ULONG count = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count == 0)
        delete this;
    else if (count == 1)
        ZQModule().Unlock();
    return count;
}

HRESULT CZQTypeInfo::GetTypeAttr(TYPEATTR** ppTypeAttr) noexcept {
    if (!ppTypeAttr)
        return E_INVALIDARG;
    *ppTypeAttr = ZQNewTypeAttr(m_description);
    return *ppTypeAttr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZQTypeInfo::GetTypeComp(ITypeComp** ppTComp) noexcept {
    if (ppTComp)
        *ppTComp = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetFuncDesc(UINT index, FUNCDESC** ppFuncDesc) noexcept {
    if (!ppFuncDesc)
        return E_INVALIDARG;
    *ppFuncDesc = nullptr;
    if (index >= m_description.m_memberCount)
        return TYPE_E_ELEMENTNOTFOUND;
    *ppFuncDesc = ZQNewFuncDesc(m_description, index);
    return *ppFuncDesc ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZQTypeInfo::GetVarDesc(UINT, VARDESC** ppVarDesc) noexcept {
    if (ppVarDesc)
        *ppVarDesc = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetNames(MEMBERID memid, BSTR* rgBstrNames, UINT cMaxNames, UINT* pcNames) noexcept {
    if (!rgBstrNames || !pcNames)
        return E_INVALIDARG;
    *pcNames = 0;
    const ZQMemberDescription* member = m_description.FindMember(memid);
    if (!member)
        return TYPE_E_ELEMENTNOTFOUND;

    auto append = [&](const char* name) {
        if (*pcNames == cMaxNames)
            return true;
        BSTR copy = ZQAllocAsciiString(name);
        if (!copy)
            return false;
        rgBstrNames[(*pcNames)++] = copy;
        return true;
    };
    bool ok = append(member->m_name);
    for (UINT i = 0; ok && i < member->InParamCount(); ++i) {
        const char* name = member->m_params[i].m_name;
        if (name)
            ok = append(name);
    }
    if (ok)
        return S_OK;
    // Nothing half-made goes back to the caller.
    for (UINT i = 0; i < *pcNames; ++i) {
        SysFreeString(rgBstrNames[i]);
        rgBstrNames[i] = nullptr;
    }
    *pcNames = 0;
    return E_OUTOFMEMORY;
}

HRESULT CZQTypeInfo::GetRefTypeOfImplType(UINT, HREFTYPE* pRefType) noexcept {
    if (pRefType)
        *pRefType = 0;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetImplTypeFlags(UINT, INT* pImplTypeFlags) noexcept {
    if (pImplTypeFlags)
        *pImplTypeFlags = 0;
    return E_NOTIMPL;
}

const ZQMemberDescription* CZQTypeInfo::FindMemberByName(const OLECHAR* name) const noexcept {
    for (const ZQMemberDescription& member : m_description.Members()) {
        if (EqualsIgnoringCase(name, member.m_name))
            return &member;
    }
    return nullptr;
}

HRESULT CZQTypeInfo::GetIDsOfNames(LPOLESTR* rgszNames, UINT cNames, MEMBERID* pMemId) noexcept {
    if (!rgszNames || !pMemId || cNames == 0)
        return E_INVALIDARG;
    for (UINT i = 0; i < cNames; ++i)
        pMemId[i] = DISPID_UNKNOWN;

    const ZQMemberDescription* member = FindMemberByName(rgszNames[0]);
    if (!member)
        return DISP_E_UNKNOWNNAME;
    pMemId[0] = member->m_dispid;

    // A property's accessors share the id; a parameter of either one counts.
    HRESULT hr = S_OK;
    for (UINT n = 1; n < cNames; ++n) {
        for (const ZQMemberDescription& candidate : m_description.Members()) {
            if (candidate.m_dispid != member->m_dispid)
                continue;
            for (UINT p = 0; p < candidate.InParamCount(); ++p) {
                if (EqualsIgnoringCase(rgszNames[n], candidate.m_params[p].m_name))
                    pMemId[n] = static_cast<MEMBERID>(p);
            }
        }
        if (pMemId[n] == DISPID_UNKNOWN)
            hr = DISP_E_UNKNOWNNAME;
    }
    return hr;
}

const ZQMemberDescription* CZQTypeInfo::SelectMember(MEMBERID memid, WORD flags) const noexcept {
    // Callers that can't tell a method from a property getter ask for both;
    // the method wins, as it does for the platform's own dispatch.
    if (flags & DISPATCH_METHOD) {
        if (const ZQMemberDescription* member = m_description.FindMember(memid, INVOKE_FUNC))
            return member;
    }
    if (flags & DISPATCH_PROPERTYGET) {
        if (const ZQMemberDescription* member = m_description.FindMember(memid, INVOKE_PROPERTYGET))
            return member;
    }
    if (flags & DISPATCH_PROPERTYPUTREF) {
        if (const ZQMemberDescription* member = m_description.FindMember(memid, INVOKE_PROPERTYPUTREF))
            return member;
    }
    if (flags & DISPATCH_PROPERTYPUT) {
        if (const ZQMemberDescription* member = m_description.FindMember(memid, INVOKE_PROPERTYPUT))
            return member;
    }
    return nullptr;
}

void CZQTypeInfo::FillException(HRESULT status, EXCEPINFO* excepInfo) const noexcept {
    *excepInfo = EXCEPINFO{};
    excepInfo->scode = status;
    excepInfo->bstrSource = ZQAllocAsciiString(kExceptionSource);
    DWORD length = ZQGetStatusText(status, nullptr, 0);
    BSTR description = SysAllocStringLen(nullptr, length);
    if (description) {
        ZQGetStatusText(status, description, length + 1);
        excepInfo->bstrDescription = description;
    }
}

HRESULT CZQTypeInfo::Invoke(PVOID pvInstance, MEMBERID memid, WORD wFlags, DISPPARAMS* pDispParams,
                            VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) noexcept {
    if (!pvInstance || !pDispParams)
        return E_INVALIDARG;
    return ZQCallWithBarrier(
        [&] { return InvokeInternal(pvInstance, memid, wFlags, *pDispParams, pVarResult, pExcepInfo, puArgErr); });
}

HRESULT CZQTypeInfo::InvokeInternal(PVOID instance, MEMBERID memid, WORD flags, const DISPPARAMS& params,
                                    VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) const {
    if (params.cNamedArgs > params.cArgs || (params.cArgs && !params.rgvarg) ||
        (params.cNamedArgs && !params.rgdispidNamedArgs))
        return E_INVALIDARG;
    const ZQMemberDescription* member = SelectMember(memid, flags);
    if (!member)
        return DISP_E_MEMBERNOTFOUND;
    const UINT inCount = member->InParamCount();
    assert(inCount <= kMaxParams);
    auto failArg = [argErr](UINT index, HRESULT hr) {
        if (argErr)
            *argErr = index;
        return hr;
    };

    // The value of a put travels as the one argument named DISPID_PROPERTYPUT.
    const bool put = IsPut(*member);
    if (put && (params.cNamedArgs == 0 || params.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT))
        return DISP_E_PARAMNOTOPTIONAL;
    // None of these members has optional parameters.
    if (params.cArgs != inCount)
        return DISP_E_BADPARAMCOUNT;

    // Where each parameter's argument sits in rgvarg: named arguments first,
    // then the positional ones in reverse order.
    std::array<int, kMaxParams> source;
    source.fill(-1);
    for (UINT i = 0; i < params.cNamedArgs; ++i) {
        DISPID id = params.rgdispidNamedArgs[i];
        UINT param = inCount;
        if (id == DISPID_PROPERTYPUT && put)
            param = inCount - 1;
        else if (id >= 0 && static_cast<UINT>(id) < inCount)
            param = static_cast<UINT>(id);
        if (param == inCount || source[param] != -1)
            return failArg(i, DISP_E_PARAMNOTFOUND);
        source[param] = static_cast<int>(i);
    }
    const UINT positional = params.cArgs - params.cNamedArgs;
    for (UINT p = 0; p < positional; ++p) {
        UINT index = params.cArgs - 1 - p;
        if (source[p] != -1)
            return failArg(index, DISP_E_PARAMNOTFOUND);
        source[p] = static_cast<int>(index);
    }

    ConvertedArgs args;
    for (UINT p = 0; p < inCount; ++p) {
        UINT index = static_cast<UINT>(source[p]);
        HRESULT hr = ConvertArgument(params.rgvarg[index], member->m_params[p], &args[p]);
        if (FAILED(hr))
            return failArg(index, hr);
    }

    if (result)
        VariantInit(result);
    VARIANT retval;
    VariantInit(&retval);
    HRESULT hr = member->m_invoke(instance, args.Data(), &retval);
    if (FAILED(hr)) {
        if (!excepInfo)
            return hr;
        FillException(hr, excepInfo);
        return DISP_E_EXCEPTION;
    }
    if (result)
        *result = retval;
    else
        VariantClear(&retval);
    return S_OK;
}

HRESULT CZQTypeInfo::GetDocumentation(MEMBERID memid, BSTR* pBstrName, BSTR* pBstrDocString, DWORD* pdwHelpContext,
                                      BSTR* pBstrHelpFile) noexcept {
    const char* name = m_description.m_name;
    const char* helpText = m_description.m_helpText;
    if (memid != kMemberIdNil) {
        const ZQMemberDescription* member = m_description.FindMember(memid);
        if (!member)
            return TYPE_E_ELEMENTNOTFOUND;
        name = member->m_name;
        helpText = member->m_helpText;
    }

    BSTR nameCopy = nullptr;
    BSTR helpCopy = nullptr;
    if ((pBstrName && !(nameCopy = ZQAllocAsciiString(name))) || (pBstrDocString && !(helpCopy = ZQAllocAsciiString(helpText)))) {
        SysFreeString(nameCopy);
        return E_OUTOFMEMORY;
    }
    if (pBstrName)
        *pBstrName = nameCopy;
    if (pBstrDocString)
        *pBstrDocString = helpCopy;
    if (pdwHelpContext)
        *pdwHelpContext = 0;
    if (pBstrHelpFile)
        *pBstrHelpFile = nullptr;
    return S_OK;
}

HRESULT CZQTypeInfo::GetDllEntry(MEMBERID, INVOKEKIND, BSTR* pBstrDllName, BSTR* pBstrName, WORD* pwOrdinal) noexcept {
    if (pBstrDllName)
        *pBstrDllName = nullptr;
    if (pBstrName)
        *pBstrName = nullptr;
    if (pwOrdinal)
        *pwOrdinal = 0;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetRefTypeInfo(HREFTYPE hRefType, ITypeInfo** ppTInfo) noexcept {
    // The types this information refers to are the library's interfaces, by
    // their index (see ZQNewFuncDesc).
    CComPtr<ITypeLib> library;
    HRESULT hr = CZQTypeLib::GetShared(&library);
    if (FAILED(hr)) {
        if (ppTInfo)
            *ppTInfo = nullptr;
        return hr;
    }
    return library->GetTypeInfo(hRefType, ppTInfo);
}

HRESULT CZQTypeInfo::AddressOfMember(MEMBERID, INVOKEKIND, PVOID* ppv) noexcept {
    if (ppv)
        *ppv = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::CreateInstance(IUnknown*, REFIID, PVOID* ppvObj) noexcept {
    if (ppvObj)
        *ppvObj = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetMops(MEMBERID, BSTR* pBstrMops) noexcept {
    if (pBstrMops)
        *pBstrMops = nullptr;
    return E_NOTIMPL;
}

HRESULT CZQTypeInfo::GetContainingTypeLib(ITypeLib** ppTLib, UINT* pIndex) noexcept {
    if (!ppTLib)
        return E_INVALIDARG;
    const auto descriptions = ZQGetInterfaceDescriptions();
    UINT index = 0;
    while (index < descriptions.size() && descriptions[index] != &m_description)
        ++index;
    const HRESULT hr = CZQTypeLib::GetShared(ppTLib);
    if (SUCCEEDED(hr) && pIndex)
        *pIndex = index;
    return hr;
}

void CZQTypeInfo::ReleaseTypeAttr(TYPEATTR* pTypeAttr) noexcept {
    ZQFreeTypeDescription(pTypeAttr);
}

void CZQTypeInfo::ReleaseFuncDesc(FUNCDESC* pFuncDesc) noexcept {
    ZQFreeTypeDescription(pFuncDesc);
}

void CZQTypeInfo::ReleaseVarDesc(VARDESC*) noexcept {}
