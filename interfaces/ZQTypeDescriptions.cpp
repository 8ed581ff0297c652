#include "interfaces/ZQTypeDescriptions.h"

#include <cstring>
#include <string_view>

#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"

namespace {

// Slots of IUnknown and of IDispatch in front of an interface's own members.
constexpr UINT kUnknownSlots = 3;
constexpr UINT kDispatchSlots = 7;
constexpr SHORT kPointerBytes = sizeof(void*);

UINT BaseSlots(const ZQInterfaceDescription& description) noexcept {
    return *description.m_baseIid == IID_IDispatch ? kDispatchSlots : kUnknownSlots;
}

/// The library's index of the interface `iid`, as an HREFTYPE; false for an
/// interface that the library doesn't carry.
bool FindReference(const IID* iid, HREFTYPE& reference) noexcept {
    if (iid == nullptr)
        return false;
    const auto descriptions = ZQGetInterfaceDescriptions();
    for (size_t i = 0; i < descriptions.size(); ++i) {
        if (descriptions[i]->m_iid == *iid) {
            reference = static_cast<HREFTYPE>(i);
            return true;
        }
    }
    return false;
}

/// Fills `element` for `param`, taking the pointed-to types from `spare`
/// (room for two), and answers how many of them it used.
size_t DescribeParam(const ZQParamDescription& param, ELEMDESC& element, TYPEDESC* spare) noexcept {
    size_t used = 0;
    TYPEDESC value{};
    value.vt = param.m_vt;
    HREFTYPE reference = 0;
    if (FindReference(param.m_iid, reference)) {
        // An interface of the library is named by its type information, and
        // taken through a pointer, as its declaration writes it.
        TYPEDESC& named = spare[used++];
        named.vt = VT_USERDEFINED;
        named.hreftype = reference;
        value.vt = VT_PTR;
        value.lptdesc = &named;
    }
    if (param.m_flags & ZQParam_Out) {
        TYPEDESC& pointee = spare[used++];
        pointee = value;
        value = TYPEDESC{};
        value.vt = VT_PTR;
        value.lptdesc = &pointee;
    }
    element.tdesc = value;
    element.paramdesc.pparamdescex = nullptr;
    element.paramdesc.wParamFlags = static_cast<USHORT>(
        ((param.m_flags & ZQParam_In) ? PARAMFLAG_FIN : 0) | ((param.m_flags & ZQParam_Out) ? PARAMFLAG_FOUT : 0) |
        ((param.m_flags & ZQParam_Retval) ? PARAMFLAG_FRETVAL : 0));
    return used;
}

}  // namespace

TYPEATTR* ZQNewTypeAttr(const ZQInterfaceDescription& description) noexcept {
    auto* attr = static_cast<TYPEATTR*>(CoTaskMemAlloc(sizeof(TYPEATTR)));
    if (attr == nullptr)
        return nullptr;
    std::memset(attr, 0, sizeof *attr);
    const ZQTypeLibraryDescription& library = ZQGetTypeLibraryDescription();
    attr->guid = description.m_iid;
    attr->lcid = library.m_lcid;
    attr->memidConstructor = MEMBERID_NIL;
    attr->memidDestructor = MEMBERID_NIL;
    attr->cbSizeInstance = kPointerBytes;
    const bool dual = (description.m_flags & ZQInterface_Dual) != 0;
    attr->typekind = dual ? TKIND_DISPATCH : TKIND_INTERFACE;
    attr->cFuncs = static_cast<WORD>(description.m_memberCount);
    attr->cImplTypes = 1;
    attr->cbSizeVft = static_cast<WORD>((BaseSlots(description) + description.m_memberCount) * kPointerBytes);
    attr->cbAlignment = kPointerBytes;
    attr->wTypeFlags = static_cast<WORD>((dual ? TYPEFLAG_FDUAL : 0) |
                                         ((description.m_flags & ZQInterface_OleAutomation) ? TYPEFLAG_FOLEAUTOMATION : 0) |
                                         ((description.m_flags & ZQInterface_NonExtensible) ? TYPEFLAG_FNONEXTENSIBLE : 0));
    attr->wMajorVerNum = library.m_majorVersion;
    attr->wMinorVerNum = library.m_minorVersion;
    return attr;
}

FUNCDESC* ZQNewFuncDesc(const ZQInterfaceDescription& description, UINT index) noexcept {
    if (index >= description.m_memberCount)
        return nullptr;
    const ZQMemberDescription& member = description.m_members[index];
    // One block: the description, its parameters and the types they point to.
    const size_t count = member.m_paramCount;
    const size_t bytes = sizeof(FUNCDESC) + count * sizeof(ELEMDESC) + 2 * count * sizeof(TYPEDESC);
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(bytes));
    if (block == nullptr)
        return nullptr;
    std::memset(block, 0, bytes);
    auto* func = reinterpret_cast<FUNCDESC*>(block);
    auto* params = reinterpret_cast<ELEMDESC*>(block + sizeof(FUNCDESC));
    auto* spare = reinterpret_cast<TYPEDESC*>(block + sizeof(FUNCDESC) + count * sizeof(ELEMDESC));
    for (size_t i = 0; i < count; ++i)
        spare += DescribeParam(member.m_params[i], params[i], spare);
    func->memid = member.m_dispid;
    func->lprgelemdescParam = count > 0 ? params : nullptr;
    func->funckind = FUNC_PUREVIRTUAL;
    func->invkind = member.m_kind;
    func->callconv = CC_STDCALL;
    func->cParams = static_cast<SHORT>(count);
    func->oVft = static_cast<SHORT>((BaseSlots(description) + index) * kPointerBytes);
    func->elemdescFunc.tdesc.vt = VT_HRESULT;
    return func;
}

void ZQFreeTypeDescription(void* description) noexcept {
    CoTaskMemFree(description);
}

BSTR ZQAllocAsciiString(const char* text) noexcept {
    const std::string_view view(text);
    BSTR result = SysAllocStringLen(nullptr, static_cast<UINT>(view.size()));
    if (!result)
        return nullptr;
    for (size_t i = 0; i < view.size(); ++i)
        result[i] = static_cast<OLECHAR>(static_cast<unsigned char>(view[i]));
    return result;
}
