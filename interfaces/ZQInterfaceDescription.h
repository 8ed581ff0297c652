// The static description of the module's automation interfaces: what a type
// library would carry (names, dispatch ids, parameter types, help texts) plus
// a thunk per member that calls the real method through the vtable.
//
// On this platform there is no registry-loaded type library to serve
// IDispatch; CZQTypeInfo works from these tables instead, and registration
// and tools read them too. All of it is constant-initialised and immutable,
// so any thread may read it at any time.
#pragma once

#include <cstdint>
#include <span>

#include "zqsubtitle/ZQSubtitle.h"

/// Direction of a parameter, as a type library marks it.
enum ZQParamFlags : uint16_t {
    ZQParam_In = 0x1,
    ZQParam_Out = 0x2,
    ZQParam_Retval = 0x8,
};

/// Attributes of an interface in the type library.
enum ZQInterfaceFlags : uint16_t {
    ZQInterface_Dual = 0x1,
    ZQInterface_OleAutomation = 0x2,
    ZQInterface_NonExtensible = 0x4,
};

/// One parameter of a member. `vt` is the automation type of the value (for an
/// out parameter, of what it points to): VT_I4 for long and the enumerations,
/// VT_R8, VT_BSTR, VT_BOOL, VT_UNKNOWN or VT_DISPATCH for interfaces.
struct ZQParamDescription {
    /// Null for a parameter the type library leaves unnamed.
    const char* m_name;
    VARTYPE m_vt;
    uint16_t m_flags;  // ZQParamFlags
    /// The interface an interface-typed parameter carries, else null.
    const IID* m_iid;
    /// The type as the interface declares it ("long", "IZQSubtitleTrack**").
    const char* m_typeName;
};

/// Calls one member on `instance` (a pointer to the member's interface).
/// `args` are the in-parameters in declaration order, each already of its
/// described `vt` (interface parameters as VT_UNKNOWN holding a pointer of the
/// described interface, or null). On success a retval, if the member has one,
/// is moved into `result`, which the caller initialised; nothing else is
/// touched. Never throws.
using ZQInvokeThunk = HRESULT (*)(void* instance, VARIANT* args, VARIANT* result);

/// One member: a method or one accessor of a property.
struct ZQMemberDescription {
    /// As the type library spells it (`trackid`, not `TrackID`).
    const char* m_name;
    DISPID m_dispid;
    INVOKEKIND m_kind;
    const ZQParamDescription* m_params;
    UINT m_paramCount;
    const char* m_helpText;
    ZQInvokeThunk m_invoke;

    std::span<const ZQParamDescription> Params() const noexcept { return {m_params, m_paramCount}; }
    /// Parameters that a caller passes: all but a trailing retval.
    UINT InParamCount() const noexcept;
    /// The retval parameter, or null.
    const ZQParamDescription* Retval() const noexcept;
};

/// One interface of the type library.
struct ZQInterfaceDescription {
    const char* m_name;
    IID m_iid;
    const char* m_helpText;
    uint16_t m_flags;  // ZQInterfaceFlags
    /// IID_IDispatch for the dual interfaces, IID_IUnknown for the callback.
    const IID* m_baseIid;
    const ZQMemberDescription* m_members;
    UINT m_memberCount;

    std::span<const ZQMemberDescription> Members() const noexcept { return {m_members, m_memberCount}; }
    /// The first member with `dispid`, or null.
    const ZQMemberDescription* FindMember(DISPID dispid) const noexcept;
    /// The member with `dispid` that can serve `kind`, or null.
    const ZQMemberDescription* FindMember(DISPID dispid, INVOKEKIND kind) const noexcept;
};

/// What kind of thing an entry of the type library is.
enum class ZQTypeLibraryEntryKind { Class, Interface, Enumeration };

/// One value of an enumeration of the type library.
struct ZQEnumValueDescription {
    const char* m_name;
    int32_t m_value;
};

/// One entry of the type library, in its order. Only the fields of its kind
/// are set.
struct ZQTypeLibraryEntry {
    ZQTypeLibraryEntryKind m_kind;
    const char* m_name;
    /// CLSID of a class, IID of an interface, null for an enumeration.
    const GUID* m_guid;
    const char* m_helpText;
    /// Interface: its description. Class: the description of its default
    /// interface, or null where that is IUnknown.
    const ZQInterfaceDescription* m_interfaceDescription;
    const ZQEnumValueDescription* m_values;
    UINT m_valueCount;
};

/// The type library as a whole.
struct ZQTypeLibraryDescription {
    const char* m_name;
    GUID m_libid;
    WORD m_majorVersion;
    WORD m_minorVersion;
    LCID m_lcid;
    const char* m_helpText;
    const ZQTypeLibraryEntry* m_entries;
    UINT m_entryCount;

    std::span<const ZQTypeLibraryEntry> Entries() const noexcept { return {m_entries, m_entryCount}; }
};

/// The module's type library: `ZQSubtitleLib` 1.0, classes, interfaces and
/// enumerations in the library's order.
const ZQTypeLibraryDescription& ZQGetTypeLibraryDescription() noexcept;

/// The interfaces of the type library in its order: IZQMuxSubtitle,
/// IZQSubtitleTrackList, IZQSubtitleTrack, IZQDmxSubtitle,
/// IZQDmxSubtitleCallback, IZQSubtitleCue. The host-facing Control
/// interfaces are not among them.
std::span<const ZQInterfaceDescription* const> ZQGetInterfaceDescriptions() noexcept;

/// The description of the interface `iid`, or null for an interface the type
/// library doesn't carry (IUnknown, IDispatch, the Control interfaces).
const ZQInterfaceDescription* ZQFindInterfaceDescription(REFIID iid) noexcept;

/// The dispatch id the type library gives a member of an interface that
/// derives from IUnknown directly and has no id of its own: 0x60010000 and up.
inline constexpr DISPID kZQFirstCustomMemberId = 0x60010000;
