#include "interfaces/ZQInterfaceDescription.h"

#include "interfaces/ZQDispatchThunk.h"

namespace {

using zqdispatch::Member;

constexpr ZQParamDescription In(const char* name, VARTYPE vt, const char* typeName, const IID* iid = nullptr) {
    return {name, vt, ZQParam_In, iid, typeName};
}

constexpr ZQParamDescription Retval(const char* name, VARTYPE vt, const char* typeName, const IID* iid = nullptr) {
    return {name, vt, ZQParam_Out | ZQParam_Retval, iid, typeName};
}

constexpr uint16_t kDualFlags = ZQInterface_Dual | ZQInterface_OleAutomation | ZQInterface_NonExtensible;

// Parameter lists shared by several members.
constexpr ZQParamDescription kTrackListRetval[] = {
    Retval("pVal", VT_DISPATCH, "IZQSubtitleTrackList**", &IID_IZQSubtitleTrackList)};
constexpr ZQParamDescription kLongRetval[] = {Retval("pVal", VT_I4, "long*")};
constexpr ZQParamDescription kBstrRetval[] = {Retval("pVal", VT_BSTR, "BSTR*")};
constexpr ZQParamDescription kDoubleRetval[] = {Retval("pVal", VT_R8, "double*")};
constexpr ZQParamDescription kTrackIdIn[] = {In("trackid", VT_I4, "long")};

// IZQMuxSubtitle
constexpr ZQParamDescription kAddTextTrackFromFileParams[] = {
    In("path", VT_BSTR, "BSTR"),
    In("Label", VT_BSTR, "BSTR"),
    In("Language", VT_BSTR, "BSTR"),
    Retval("trackid", VT_I4, "long*"),
};
constexpr ZQParamDescription kLeaveEditParams[] = {In("discard", VT_BOOL, "VARIANT_BOOL")};

constinit const ZQMemberDescription kMuxSubtitleMembers[] = {
    Member<&IZQMuxSubtitle::get_Tracks>("Tracks", 1, INVOKE_PROPERTYGET, kTrackListRetval, "property Tracks"),
    Member<&IZQMuxSubtitle::get_TextTracks>("TextTracks", 2, INVOKE_PROPERTYGET, kTrackListRetval,
                                            "property TextTracks"),
    Member<&IZQMuxSubtitle::AddTextTrackFromFile>("AddTextTrackFromFile", 3, INVOKE_FUNC,
                                                  kAddTextTrackFromFileParams, "method AddTextTrackFromFile"),
    Member<&IZQMuxSubtitle::RemoveTrack>("RemoveTrack", 4, INVOKE_FUNC, kTrackIdIn, "method RemoveTrack"),
    Member<&IZQMuxSubtitle::EnterEdit>("EnterEdit", 5, INVOKE_FUNC, "method EnterEdit"),
    Member<&IZQMuxSubtitle::LeaveEdit>("LeaveEdit", 6, INVOKE_FUNC, kLeaveEditParams, "method LeaveEdit"),
};

// IZQSubtitleTrackList
constexpr ZQParamDescription kGetTrackParams[] = {
    In("index", VT_I4, "long"),
    Retval("track", VT_DISPATCH, "IZQSubtitleTrack**", &IID_IZQSubtitleTrack),
};
constexpr ZQParamDescription kGetTrackByIdParams[] = {
    In("trackid", VT_I4, "long"),
    Retval("track", VT_DISPATCH, "IZQSubtitleTrack**", &IID_IZQSubtitleTrack),
};
constexpr ZQParamDescription kGetTrackIndexByIdParams[] = {
    In("trackid", VT_I4, "long"),
    Retval("index", VT_I4, "long*"),
};

constinit const ZQMemberDescription kTrackListMembers[] = {
    Member<&IZQSubtitleTrackList::get_Count>("Count", 1, INVOKE_PROPERTYGET, kLongRetval, "property Count"),
    Member<&IZQSubtitleTrackList::GetTrack>("GetTrack", 2, INVOKE_FUNC, kGetTrackParams, "method GetTrack"),
    Member<&IZQSubtitleTrackList::GetTrackByID>("GetTrackByID", 3, INVOKE_FUNC, kGetTrackByIdParams,
                                                "method GetTrackByID"),
    Member<&IZQSubtitleTrackList::GetTrackIndexByID>("GetTrackIndexByID", 4, INVOKE_FUNC, kGetTrackIndexByIdParams,
                                                     "method GetTrackIndexByID"),
};

// IZQSubtitleTrack
constexpr ZQParamDescription kKindRetval[] = {Retval("pVal", VT_I4, "ZQSubtitle_Track_Kind*")};
constexpr ZQParamDescription kBoolRetval[] = {Retval("pVal", VT_BOOL, "VARIANT_BOOL*")};

constinit const ZQMemberDescription kTrackMembers[] = {
    Member<&IZQSubtitleTrack::get_Label>("Label", 1, INVOKE_PROPERTYGET, kBstrRetval, "property Label"),
    Member<&IZQSubtitleTrack::get_Language>("Language", 2, INVOKE_PROPERTYGET, kBstrRetval, "property Language"),
    Member<&IZQSubtitleTrack::get_ID>("ID", 3, INVOKE_PROPERTYGET, kLongRetval, "property ID"),
    Member<&IZQSubtitleTrack::get_Kind>("Kind", 4, INVOKE_PROPERTYGET, kKindRetval, "property Kind"),
    Member<&IZQSubtitleTrack::get_Selected>("Selected", 5, INVOKE_PROPERTYGET, kBoolRetval, "property Selected"),
    Member<&IZQSubtitleTrack::get_LanguageName>("LanguageName", 6, INVOKE_PROPERTYGET, kBstrRetval,
                                                "property LanguageName"),
};

// IZQDmxSubtitle
constexpr ZQParamDescription kSelectTrackParams[] = {
    In("trackid", VT_I4, "long"),
    In("Selected", VT_BOOL, "VARIANT_BOOL"),
};
constexpr ZQParamDescription kCallbackRetval[] = {
    Retval("pVal", VT_UNKNOWN, "IZQDmxSubtitleCallback**", &IID_IZQDmxSubtitleCallback)};
// The type library leaves the value of the putref unnamed.
constexpr ZQParamDescription kCallbackIn[] = {
    In(nullptr, VT_UNKNOWN, "IZQDmxSubtitleCallback*", &IID_IZQDmxSubtitleCallback)};

constinit const ZQMemberDescription kDmxSubtitleMembers[] = {
    Member<&IZQDmxSubtitle::get_Tracks>("Tracks", 1, INVOKE_PROPERTYGET, kTrackListRetval, "property Tracks"),
    Member<&IZQDmxSubtitle::get_TextTracks>("TextTracks", 2, INVOKE_PROPERTYGET, kTrackListRetval,
                                            "property TextTracks"),
    Member<&IZQDmxSubtitle::get_SelectedTracks>("SelectedTracks", 3, INVOKE_PROPERTYGET, kTrackListRetval,
                                                "property SelectedTracks"),
    Member<&IZQDmxSubtitle::SelectTrack>("SelectTrack", 4, INVOKE_FUNC, kSelectTrackParams, "method SelectTrack"),
    Member<&IZQDmxSubtitle::get_Callback>("Callback", 5, INVOKE_PROPERTYGET, kCallbackRetval, "property Callback"),
    Member<&IZQDmxSubtitle::putref_Callback>("Callback", 5, INVOKE_PROPERTYPUTREF, kCallbackIn,
                                             "property Callback"),
};

// IZQDmxSubtitleCallback
constexpr ZQParamDescription kCueParams[] = {
    In("cueevent", VT_I4, "ZQSubtitle_Cue_Event"),
    In("currenttime", VT_R8, "double"),
    In("Cue", VT_DISPATCH, "IZQSubtitleCue*", &IID_IZQSubtitleCue),
};

constinit const ZQMemberDescription kDmxSubtitleCallbackMembers[] = {
    Member<&IZQDmxSubtitleCallback::Cue>("Cue", kZQFirstCustomMemberId, INVOKE_FUNC, kCueParams, "method Cue"),
};

// IZQSubtitleCue
constinit const ZQMemberDescription kCueMembers[] = {
    Member<&IZQSubtitleCue::get_Start>("Start", 1, INVOKE_PROPERTYGET, kDoubleRetval, "property Start"),
    Member<&IZQSubtitleCue::get_Stop>("Stop", 2, INVOKE_PROPERTYGET, kDoubleRetval, "property Stop"),
    Member<&IZQSubtitleCue::get_Text>("Text", 3, INVOKE_PROPERTYGET, kBstrRetval, "property Text"),
    Member<&IZQSubtitleCue::get_trackid>("trackid", 4, INVOKE_PROPERTYGET, kLongRetval, "property TrackID"),
};

template <std::size_t N>
constexpr UINT CountOf(const ZQMemberDescription (&)[N]) {
    return static_cast<UINT>(N);
}

constinit const ZQInterfaceDescription kMuxSubtitle = {
    "IZQMuxSubtitle",   IID_IZQMuxSubtitle,  "IZQMuxSubtitle Interface",       kDualFlags,
    &IID_IDispatch,     kMuxSubtitleMembers, CountOf(kMuxSubtitleMembers)};
constinit const ZQInterfaceDescription kTrackList = {
    "IZQSubtitleTrackList", IID_IZQSubtitleTrackList, "IZQSubtitleTrackList Interface", kDualFlags,
    &IID_IDispatch,         kTrackListMembers,        CountOf(kTrackListMembers)};
constinit const ZQInterfaceDescription kTrack = {
    "IZQSubtitleTrack", IID_IZQSubtitleTrack, "IZQSubtitleTrack Interface", kDualFlags,
    &IID_IDispatch,     kTrackMembers,        CountOf(kTrackMembers)};
constinit const ZQInterfaceDescription kDmxSubtitle = {
    "IZQDmxSubtitle", IID_IZQDmxSubtitle,  "IZQDmxSubtitle Interface",  kDualFlags,
    &IID_IDispatch,   kDmxSubtitleMembers, CountOf(kDmxSubtitleMembers)};
constinit const ZQInterfaceDescription kDmxSubtitleCallback = {
    "IZQDmxSubtitleCallback",
    IID_IZQDmxSubtitleCallback,
    "IZQDmxSubtitleCallback Interface",
    ZQInterface_OleAutomation | ZQInterface_NonExtensible,
    &IID_IUnknown,
    kDmxSubtitleCallbackMembers,
    CountOf(kDmxSubtitleCallbackMembers)};
constinit const ZQInterfaceDescription kCue = {
    "IZQSubtitleCue", IID_IZQSubtitleCue, "IZQSubtitleCue Interface", kDualFlags,
    &IID_IDispatch,   kCueMembers,        CountOf(kCueMembers)};

constinit const ZQInterfaceDescription* const kInterfaces[] = {
    &kMuxSubtitle, &kTrackList, &kTrack, &kDmxSubtitle, &kDmxSubtitleCallback, &kCue,
};

constexpr ZQEnumValueDescription kTrackKindValues[] = {
    {"ZQSubtitle_Track_Kind_Unknown", ZQSubtitle_Track_Kind_Unknown},
    {"ZQSubtitle_Track_Kind_Text", ZQSubtitle_Track_Kind_Text},
};
constexpr ZQEnumValueDescription kCueEventValues[] = {
    {"ZQSubtitle_Cue_Event_Active", ZQSubtitle_Cue_Event_Active},
    {"ZQSubtitle_Cue_Event_Inactive", ZQSubtitle_Cue_Event_Inactive},
    {"ZQSubtitle_Cue_Event_Clear", ZQSubtitle_Cue_Event_Clear},
};

constexpr ZQTypeLibraryEntry Class(const char* name, const CLSID* clsid, const char* helpText,
                                   const ZQInterfaceDescription* defaultInterface) {
    return {ZQTypeLibraryEntryKind::Class, name, clsid, helpText, defaultInterface, nullptr, 0};
}

constexpr ZQTypeLibraryEntry Interface(const ZQInterfaceDescription& description) {
    return {ZQTypeLibraryEntryKind::Interface,
            description.m_name,
            &description.m_iid,
            description.m_helpText,
            &description,
            nullptr,
            0};
}

template <std::size_t N>
constexpr ZQTypeLibraryEntry Enumeration(const char* name, const ZQEnumValueDescription (&values)[N]) {
    return {ZQTypeLibraryEntryKind::Enumeration, name, nullptr, nullptr, nullptr, values, static_cast<UINT>(N)};
}

const ZQTypeLibraryEntry kEntries[] = {
    Class("ZQMuxSubtitle", &CLSID_ZQMuxSubtitle, "ZQMuxSubtitle Class", &kMuxSubtitle),
    Interface(kMuxSubtitle),
    Interface(kTrackList),
    Interface(kTrack),
    Enumeration("ZQSubtitle_Track_Kind", kTrackKindValues),
    Class("ZQDmxSubtitle", &CLSID_ZQDmxSubtitle, "ZQDmxSubtitle Class", &kDmxSubtitle),
    Interface(kDmxSubtitle),
    Interface(kDmxSubtitleCallback),
    Enumeration("ZQSubtitle_Cue_Event", kCueEventValues),
    Interface(kCue),
    Class("ZQMuxSubtitlePropPage", &CLSID_ZQMuxSubtitlePropPage, "ZQMuxSubtitlePropPage Class", nullptr),
};

constinit const ZQTypeLibraryDescription kTypeLibrary = {
    "ZQSubtitleLib", LIBID_ZQSubtitleLib, 1, 0, LOCALE_NEUTRAL, "Kestrix Subtitle Library",
    kEntries,        static_cast<UINT>(std::size(kEntries))};

}  // namespace

UINT ZQMemberDescription::InParamCount() const noexcept {
    return Retval() ? m_paramCount - 1 : m_paramCount;
}

const ZQParamDescription* ZQMemberDescription::Retval() const noexcept {
    if (m_paramCount == 0)
        return nullptr;
    const ZQParamDescription& last = m_params[m_paramCount - 1];
    return (last.m_flags & ZQParam_Retval) ? &last : nullptr;
}

const ZQMemberDescription* ZQInterfaceDescription::FindMember(DISPID dispid) const noexcept {
    for (const ZQMemberDescription& member : Members()) {
        if (member.m_dispid == dispid)
            return &member;
    }
    return nullptr;
}

const ZQMemberDescription* ZQInterfaceDescription::FindMember(DISPID dispid, INVOKEKIND kind) const noexcept {
    for (const ZQMemberDescription& member : Members()) {
        if (member.m_dispid == dispid && member.m_kind == kind)
            return &member;
    }
    return nullptr;
}

const ZQTypeLibraryDescription& ZQGetTypeLibraryDescription() noexcept {
    return kTypeLibrary;
}

std::span<const ZQInterfaceDescription* const> ZQGetInterfaceDescriptions() noexcept {
    return kInterfaces;
}

const ZQInterfaceDescription* ZQFindInterfaceDescription(REFIID iid) noexcept {
    for (const ZQInterfaceDescription* description : kInterfaces) {
        if (description->m_iid == iid)
            return description;
    }
    return nullptr;
}
