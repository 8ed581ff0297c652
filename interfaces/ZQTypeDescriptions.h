// The type library's descriptions of an interface and of its members, built
// from the static description for ITypeInfo's GetTypeAttr and GetFuncDesc.
#pragma once

#include "interfaces/ZQInterfaceDescription.h"

/// A new TYPEATTR of `description`: its IID, TKIND_DISPATCH for a dual
/// interface (TKIND_INTERFACE otherwise), the count of its members, its flags
/// and the library's version. Null when memory runs out. Freed with
/// ZQFreeTypeDescription.
TYPEATTR* ZQNewTypeAttr(const ZQInterfaceDescription& description) noexcept;

/// A new FUNCDESC of the member at `index` as the interface's vtable has it:
/// every parameter, retval included, each with its type (VT_PTR for an out
/// parameter, VT_USERDEFINED naming the library's interface by its index as
/// the HREFTYPE) and flags, and an HRESULT result. Null when memory runs out.
/// Freed with ZQFreeTypeDescription.
FUNCDESC* ZQNewFuncDesc(const ZQInterfaceDescription& description, UINT index) noexcept;

/// Frees what the two functions above made; null is accepted.
void ZQFreeTypeDescription(void* description) noexcept;

/// A new BSTR of an ASCII text; null without memory.
BSTR ZQAllocAsciiString(const char* text) noexcept;
