// The minimal type information of one automation interface, served from the
// module's static description.
#pragma once

#include <atomic>

#include "interfaces/ZQInterfaceDescription.h"
#include "zqplatform/oaidl.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// ITypeInfo over one ZQInterfaceDescription: names to dispatch ids, Invoke
/// through the interface's vtable with converted arguments, names and help
/// texts, the interface's and its members' descriptions (GetTypeAttr,
/// GetFuncDesc, GetRefTypeInfo) and the containing library (CZQTypeLib).
/// Everything else answers E_NOTIMPL. Counted like any object; the
/// module keeps one shared instance per interface (GetShared) for its whole
/// life and hands out references to it. Immutable but for the count, so any
/// thread may call it.
class CZQTypeInfo final : public ITypeInfo {
public:
    /// Makes a new type information object over `description` (which must
    /// outlive it; the module's descriptions are static). `*typeInfo` carries
    /// the first reference. E_POINTER for a null `typeInfo`, E_OUTOFMEMORY.
    static HRESULT Create(const ZQInterfaceDescription& description, ITypeInfo** typeInfo) noexcept;

    /// The module's shared type information of the interface `iid`, made at
    /// first need under the module's first-use lock and kept until the module
    /// goes. `*typeInfo` is borrowed: valid for the life of the module, no
    /// reference is added. TYPE_E_ELEMENTNOTFOUND for an interface the type
    /// library doesn't carry (its Control interfaces, IUnknown), E_OUTOFMEMORY.
    static HRESULT GetShared(REFIID iid, CZQTypeInfo** typeInfo) noexcept;

    const ZQInterfaceDescription& Description() const noexcept { return m_description; }

    // IUnknown
    HRESULT QueryInterface(REFIID riid, void** ppvObject) noexcept override;
    ULONG AddRef() noexcept override;
    ULONG Release() noexcept override;

    // ITypeInfo
    HRESULT GetTypeAttr(TYPEATTR** ppTypeAttr) noexcept override;
    HRESULT GetTypeComp(ITypeComp** ppTComp) noexcept override;
    HRESULT GetFuncDesc(UINT index, FUNCDESC** ppFuncDesc) noexcept override;
    HRESULT GetVarDesc(UINT index, VARDESC** ppVarDesc) noexcept override;
    /// The member's name, then the names of the parameters a caller passes
    /// (a retval and the unnamed value of a putref have none). At most
    /// `cMaxNames`; the caller frees them. TYPE_E_ELEMENTNOTFOUND for an
    /// unknown id, E_INVALIDARG for null pointers.
    HRESULT GetNames(MEMBERID memid, BSTR* rgBstrNames, UINT cMaxNames, UINT* pcNames) noexcept override;
    HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE* pRefType) noexcept override;
    HRESULT GetImplTypeFlags(UINT index, INT* pImplTypeFlags) noexcept override;
    /// The first name is a member's, compared without regard to case; the
    /// others name its parameters and resolve to their positions (0 for the
    /// first). Every name that resolves to nothing gets DISPID_UNKNOWN and the
    /// answer is DISP_E_UNKNOWNNAME.
    HRESULT GetIDsOfNames(LPOLESTR* rgszNames, UINT cNames, MEMBERID* pMemId) noexcept override;
    /// Calls the member `memid` of the interface `pvInstance` as IDispatch
    /// does: arguments in reverse order, named ones (parameter positions, and
    /// DISPID_PROPERTYPUT for the value of a put or putref) first; each is
    /// converted to its parameter's type. DISP_E_MEMBERNOTFOUND for an
    /// unknown id or one that can't serve `wFlags`, DISP_E_BADPARAMCOUNT,
    /// DISP_E_PARAMNOTOPTIONAL for a put without DISPID_PROPERTYPUT,
    /// DISP_E_PARAMNOTFOUND for a bad named argument and DISP_E_TYPEMISMATCH
    /// or DISP_E_OVERFLOW for an argument that doesn't convert, with the
    /// argument's index in `rgvarg` in `*puArgErr`. A failure of the method
    /// itself is DISP_E_EXCEPTION with its status and text in `*pExcepInfo`,
    /// or the method's status when `pExcepInfo` is null. A retval goes into
    /// `*pVarResult` (which is initialised first) and is dropped when it is
    /// null.
    HRESULT Invoke(PVOID pvInstance, MEMBERID memid, WORD wFlags, DISPPARAMS* pDispParams, VARIANT* pVarResult,
                   EXCEPINFO* pExcepInfo, UINT* puArgErr) noexcept override;
    /// The name and help text of the interface (MEMBERID_NIL, -1) or of a
    /// member; any out pointer may be null. No help file or context.
    HRESULT GetDocumentation(MEMBERID memid, BSTR* pBstrName, BSTR* pBstrDocString, DWORD* pdwHelpContext,
                             BSTR* pBstrHelpFile) noexcept override;
    HRESULT GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR* pBstrDllName, BSTR* pBstrName,
                        WORD* pwOrdinal) noexcept override;
    HRESULT GetRefTypeInfo(HREFTYPE hRefType, ITypeInfo** ppTInfo) noexcept override;
    HRESULT AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID* ppv) noexcept override;
    HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, PVOID* ppvObj) noexcept override;
    HRESULT GetMops(MEMBERID memid, BSTR* pBstrMops) noexcept override;
    HRESULT GetContainingTypeLib(ITypeLib** ppTLib, UINT* pIndex) noexcept override;
    void ReleaseTypeAttr(TYPEATTR* pTypeAttr) noexcept override;
    void ReleaseFuncDesc(FUNCDESC* pFuncDesc) noexcept override;
    void ReleaseVarDesc(VARDESC* pVarDesc) noexcept override;

private:
    explicit CZQTypeInfo(const ZQInterfaceDescription& description) noexcept : m_description(description) {}
    ~CZQTypeInfo() = default;

    HRESULT InvokeInternal(PVOID instance, MEMBERID memid, WORD flags, const DISPPARAMS& params, VARIANT* result,
                           EXCEPINFO* excepInfo, UINT* argErr) const;
    const ZQMemberDescription* SelectMember(MEMBERID memid, WORD flags) const noexcept;
    const ZQMemberDescription* FindMemberByName(const OLECHAR* name) const noexcept;
    void FillException(HRESULT status, EXCEPINFO* excepInfo) const noexcept;

    std::atomic<ULONG> m_refCount{0};
    const ZQInterfaceDescription& m_description;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
