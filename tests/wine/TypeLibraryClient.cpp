// zqsubtitle-typelib-client: a Windows client built the way Windows clients
// are, from the SDK's headers and the header that the IDL compiler makes of
// interfaces/ZQSubtitle.idl, with nothing of the project's own.
//
//   zqsubtitle-typelib-client MODULE.dll SAMPLE.srt
//
// It checks, printing each disagreement: that the registration leads
// Windows' loader to the module's TYPELIB resource; that this library agrees
// member by member with the type information the module serves itself
// (names, identifiers, flags, dispatch ids, kinds, vtable offsets, parameters
// and their types, help texts), which Windows reads through its own ITypeLib
// and ITypeInfo; and that calls through the IDL's vtables reach the methods
// they name. Exit status 0 when all agree, 1 otherwise.
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "ZQSubtitle_h.h"

namespace {

int g_disagreements = 0;

std::string Narrow(const wchar_t* text) {
    std::string narrow;
    for (; text != nullptr && *text != 0; ++text)
        narrow += *text < 0x80 ? static_cast<char>(*text) : '?';
    return narrow;
}

bool Agrees(bool agrees, const std::string& what) {
    if (!agrees) {
        ++g_disagreements;
        std::printf("disagrees: %s\n", what.c_str());
    }
    return agrees;
}

bool Succeeded(HRESULT hr, const std::string& what) {
    char status[16];
    std::snprintf(status, sizeof status, "0x%08lX", static_cast<unsigned long>(hr));
    return Agrees(SUCCEEDED(hr), what + " failed with " + status);
}

void Same(const std::string& where, const std::string& library, const std::string& module) {
    Agrees(library == module, where + ": the library says \"" + library + "\", the module \"" + module + "\"");
}

/// Releases an interface pointer at the end of a scope.
template <class T>
struct Held {
    T* p = nullptr;
    ~Held() {
        if (p != nullptr)
            p->Release();
    }
    T* operator->() const { return p; }
    T** operator&() { return &p; }
};

std::string Documentation(ITypeInfo* info, MEMBERID memid, bool name) {
    BSTR text = nullptr;
    info->GetDocumentation(memid, name ? &text : nullptr, name ? nullptr : &text, nullptr, nullptr);
    std::string narrow = Narrow(text);
    SysFreeString(text);
    return narrow;
}

/// A type as a declaration writes it. The module's type information gives
/// enumerations as the long they travel as, so the library's are written so.
std::string TypeText(ITypeInfo* info, const TYPEDESC& type) {
    if (type.vt == VT_PTR)
        return TypeText(info, *type.lptdesc) + "*";
    if (type.vt == VT_USERDEFINED) {
        Held<ITypeInfo> named;
        TYPEATTR* attr = nullptr;
        if (FAILED(info->GetRefTypeInfo(type.hreftype, &named)) || FAILED(named->GetTypeAttr(&attr)))
            return "(unresolved)";
        const bool isEnum = attr->typekind == TKIND_ENUM;
        named->ReleaseTypeAttr(attr);
        return isEnum ? "long" : Documentation(named.p, MEMBERID_NIL, true);
    }
    switch (type.vt) {
    case VT_I4: return "long";
    case VT_R8: return "double";
    case VT_BSTR: return "BSTR";
    case VT_BOOL: return "VARIANT_BOOL";
    case VT_HRESULT: return "HRESULT";
    default: return "vt " + std::to_string(type.vt);
    }
}

/// A member in vtable form. The module names parameters as a dispatch form
/// does: neither a retval nor the value of a property put has a name there,
/// though the IDL has to give them one.
std::string MemberText(ITypeInfo* info, const FUNCDESC& func) {
    BSTR names[16] = {};
    UINT count = 0;
    info->GetNames(func.memid, names, 16, &count);
    std::string text = "id " + std::to_string(func.memid) + " kind " + std::to_string(func.invkind) + " offset " +
                       std::to_string(func.oVft) + " " + TypeText(info, func.elemdescFunc.tdesc) + " " +
                       Narrow(names[0]) + "(";
    for (SHORT i = 0; i < func.cParams; ++i) {
        const USHORT flags = func.lprgelemdescParam[i].paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT | PARAMFLAG_FRETVAL);
        const bool unnamed = (flags & PARAMFLAG_FRETVAL) || func.invkind == INVOKE_PROPERTYPUT ||
                             func.invkind == INVOKE_PROPERTYPUTREF || static_cast<UINT>(i) + 1 >= count;
        text += (i > 0 ? ", [" : "[") + std::to_string(flags) + "] " +
                TypeText(info, func.lprgelemdescParam[i].tdesc) + (unnamed ? "" : " " + Narrow(names[i + 1]));
    }
    for (UINT i = 0; i < count; ++i)
        SysFreeString(names[i]);
    return text + ") \"" + Documentation(info, func.memid, false) + "\"";
}

/// The library's vtable form of the interface `iid` (for a dual one, the
/// interface behind its dispatch form), with the kind of its first form.
HRESULT LibraryForm(ITypeLib* library, REFGUID iid, ITypeInfo** form, TYPEKIND& kind) {
    Held<ITypeInfo> info;
    TYPEATTR* attr = nullptr;
    HRESULT hr = library->GetTypeInfoOfGuid(iid, &info);
    if (SUCCEEDED(hr))
        hr = info->GetTypeAttr(&attr);
    if (FAILED(hr))
        return hr;
    kind = attr->typekind;
    info->ReleaseTypeAttr(attr);
    HREFTYPE reference = 0;
    if (kind != TKIND_DISPATCH) {
        info->AddRef();
        *form = info.p;
        return S_OK;
    }
    hr = info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference);
    return SUCCEEDED(hr) ? info->GetRefTypeInfo(reference, form) : hr;
}

/// One interface of the module against the library's of the same IID.
void CompareInterface(ITypeLib* library, ITypeInfo* module) {
    TYPEATTR* mine = nullptr;
    TYPEATTR* theirs = nullptr;
    Held<ITypeInfo> form;
    TYPEKIND kind = TKIND_MAX;
    const std::string name = Documentation(module, MEMBERID_NIL, true);
    if (!Succeeded(module->GetTypeAttr(&mine), name + " attributes"))
        return;
    if (Succeeded(LibraryForm(library, mine->guid, &form, kind), name + " in the library") &&
        Succeeded(form->GetTypeAttr(&theirs), name + " vtable form")) {
        constexpr WORD kFlags = TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FNONEXTENSIBLE;
        Same(name + " help text", Documentation(form.p, MEMBERID_NIL, false), Documentation(module, MEMBERID_NIL, false));
        Same(name + " kind, flags, size, members",
             std::to_string(kind) + " " + std::to_string(theirs->wTypeFlags & kFlags) + " " +
                 std::to_string(theirs->cbSizeVft) + " " + std::to_string(theirs->cFuncs),
             std::to_string(mine->typekind) + " " + std::to_string(mine->wTypeFlags & kFlags) + " " +
                 std::to_string(mine->cbSizeVft) + " " + std::to_string(mine->cFuncs));
        for (UINT i = 0; i < mine->cFuncs && i < theirs->cFuncs; ++i) {
            FUNCDESC* ours = nullptr;
            FUNCDESC* its = nullptr;
            if (SUCCEEDED(module->GetFuncDesc(i, &ours)) && SUCCEEDED(form->GetFuncDesc(i, &its)))
                Same(name + " member " + std::to_string(i), MemberText(form.p, *its), MemberText(module, *ours));
            if (its != nullptr)
                form->ReleaseFuncDesc(its);
            if (ours != nullptr)
                module->ReleaseFuncDesc(ours);
        }
        form->ReleaseTypeAttr(theirs);
    }
    module->ReleaseTypeAttr(mine);
}

/// The registration leads to this module's file, whose library agrees with
/// the module's own type information, reached through a ZQMuxSubtitle.
void CompareLibraries(const wchar_t* modulePath) {
    Held<ITypeLib> registered;
    Held<IDispatch> mux;
    Held<ITypeInfo> first;
    Held<ITypeLib> module;
    BSTR path = nullptr;
    if (!Succeeded(LoadRegTypeLib(LIBID_ZQSubtitleLib, 1, 0, LOCALE_NEUTRAL, &registered), "LoadRegTypeLib") ||
        !Succeeded(QueryPathOfRegTypeLib(LIBID_ZQSubtitleLib, 1, 0, LOCALE_NEUTRAL, &path), "QueryPathOfRegTypeLib") ||
        !Agrees(lstrcmpiW(path, modulePath) == 0, "the registered library's file is " + Narrow(path)) ||
        !Succeeded(CoCreateInstance(CLSID_ZQMuxSubtitle, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                    reinterpret_cast<void**>(&mux)),
                   "CoCreateInstance(ZQMuxSubtitle)") ||
        !Succeeded(mux->GetTypeInfo(0, LOCALE_NEUTRAL, &first), "GetTypeInfo") ||
        !Succeeded(first->GetContainingTypeLib(&module, nullptr), "GetContainingTypeLib")) {
        SysFreeString(path);
        return;
    }
    SysFreeString(path);
    const UINT count = module->GetTypeInfoCount();
    for (UINT i = 0; i < count; ++i) {
        Held<ITypeInfo> info;
        if (Succeeded(module->GetTypeInfo(i, &info), "the module's GetTypeInfo"))
            CompareInterface(registered.p, info.p);
    }
    std::printf("%u interfaces of the module compared with the registered library\n", count);
}

/// A few calls through the IDL's declarations: each lands in the method of
/// its name, or its answer shows otherwise.
void CallThroughTheIdl(const wchar_t* sample) {
    Held<IZQMuxSubtitle> mux;
    Held<IZQSubtitleTrackList> tracks;
    Held<IZQSubtitleTrack> track;
    BSTR path = SysAllocString(sample);
    BSTR language = SysAllocString(L"de");
    BSTR name = nullptr;
    LONG trackid = 0;
    LONG count = 0;
    if (Succeeded(CoCreateInstance(CLSID_ZQMuxSubtitle, nullptr, CLSCTX_INPROC_SERVER, IID_IZQMuxSubtitle,
                                   reinterpret_cast<void**>(&mux)),
                  "CoCreateInstance(ZQMuxSubtitle) as IZQMuxSubtitle") &&
        Succeeded(mux->AddTextTrackFromFile(path, language, language, &trackid), "AddTextTrackFromFile") &&
        Succeeded(mux->get_TextTracks(&tracks), "get_TextTracks") && Succeeded(tracks->get_Count(&count), "get_Count") &&
        Succeeded(tracks->GetTrackByID(trackid, &track), "GetTrackByID") &&
        Succeeded(track->get_LanguageName(&name), "get_LanguageName"))
        Same("one track named in German, through the IDL", "1 German", std::to_string(count) + " " + Narrow(name));
    SysFreeString(name);
    SysFreeString(path);
    SysFreeString(language);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 3 || FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        std::fprintf(stderr, "usage: zqsubtitle-typelib-client MODULE.dll SAMPLE.srt\n");
        return 2;
    }
    CompareLibraries(argv[1]);
    CallThroughTheIdl(argv[2]);
    CoUninitialize();
    std::printf("%d disagreements\n", g_disagreements);
    return g_disagreements == 0 ? 0 : 1;
}
