// zqsubtitle-typelib-client: a Windows client built the way Windows clients
// are, from the SDK's headers and the header that the IDL compiler makes of
// interfaces/ZQSubtitle.idl, with nothing of the project's own.
//
//   zqsubtitle-typelib-client MODULE.dll SAMPLE.srt
//
// It checks three things and prints each disagreement:
// - the registration leads Windows' loader to the module's TYPELIB resource;
// - that library agrees, interface by interface and member by member, with
//   the type information the module serves itself (names, identifiers,
//   flags, dispatch ids, kinds, vtable offsets, parameters and their types,
//   help texts), which Windows reads through its own ITypeLib and ITypeInfo;
// - calls through the vtables that the IDL declares reach the right methods.
//
// Exit status 0 when all agree, 1 otherwise, 2 for a usage error.
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "ZQSubtitle_h.h"

namespace {

int g_disagreements = 0;

std::string Narrow(const wchar_t* text) {
    if (text == nullptr)
        return {};
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(bytes > 0 ? bytes - 1 : 0, '\0');
    if (bytes > 1)
        WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

void Expect(bool agrees, const std::string& what) {
    if (agrees)
        return;
    ++g_disagreements;
    std::printf("disagrees: %s\n", what.c_str());
}

void ExpectSame(const std::string& where, const std::string& resource, const std::string& module) {
    Expect(resource == module, where + ": the library says \"" + resource + "\", the module \"" + module + "\"");
}

bool Succeeded(HRESULT hr, const std::string& what) {
    char status[16];
    std::snprintf(status, sizeof status, "0x%08lX", static_cast<unsigned long>(hr));
    Expect(SUCCEEDED(hr), what + " failed with " + status);
    return SUCCEEDED(hr);
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
    if (FAILED(info->GetDocumentation(memid, name ? &text : nullptr, name ? nullptr : &text, nullptr, nullptr)))
        return "(none)";
    std::string narrow = Narrow(text);
    SysFreeString(text);
    return narrow;
}

/// A type as a declaration writes it. The module's own type information
/// gives enumerations as the long they travel as, so the library's are
/// written that way too.
std::string TypeText(ITypeInfo* info, const TYPEDESC& type) {
    switch (type.vt) {
    case VT_PTR:
        return TypeText(info, *type.lptdesc) + "*";
    case VT_USERDEFINED: {
        Held<ITypeInfo> named;
        if (FAILED(info->GetRefTypeInfo(type.hreftype, &named)))
            return "(unresolved)";
        TYPEATTR* attr = nullptr;
        const bool isEnum = SUCCEEDED(named->GetTypeAttr(&attr)) && attr->typekind == TKIND_ENUM;
        if (attr != nullptr)
            named->ReleaseTypeAttr(attr);
        return isEnum ? "long" : Documentation(named.p, MEMBERID_NIL, true);
    }
    case VT_I4:
        return "long";
    case VT_R8:
        return "double";
    case VT_BSTR:
        return "BSTR";
    case VT_BOOL:
        return "VARIANT_BOOL";
    case VT_HRESULT:
        return "HRESULT";
    case VT_UNKNOWN:
        return "IUnknown*";
    case VT_DISPATCH:
        return "IDispatch*";
    default:
        return "vt " + std::to_string(type.vt);
    }
}

/// One member in vtable form: names, kind, offset, parameters, help text.
std::string MemberText(ITypeInfo* info, const FUNCDESC& func) {
    BSTR names[16] = {};
    UINT count = 0;
    info->GetNames(func.memid, names, 16, &count);
    std::string text = "id " + std::to_string(func.memid) + " kind " + std::to_string(func.invkind) + " offset " +
                       std::to_string(func.oVft) + " " + TypeText(info, func.elemdescFunc.tdesc) + " " +
                       Narrow(names[0]) + "(";
    for (SHORT i = 0; i < func.cParams; ++i) {
        const ELEMDESC& param = func.lprgelemdescParam[i];
        const USHORT flags = param.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT | PARAMFLAG_FRETVAL);
        // The module's type information names parameters as a dispatch form
        // does: neither a retval nor the value of a property put, which the
        // IDL has to name, has a name there.
        const bool unnamed = (flags & PARAMFLAG_FRETVAL) != 0 || func.invkind == INVOKE_PROPERTYPUT ||
                             func.invkind == INVOKE_PROPERTYPUTREF;
        const std::string name = !unnamed && static_cast<UINT>(i) + 1 < count ? Narrow(names[i + 1]) : "";
        text += (i > 0 ? ", " : "") + std::string("[") + std::to_string(flags) + "] " +
                TypeText(info, param.tdesc) + " " + name;
    }
    for (UINT i = 0; i < count; ++i)
        SysFreeString(names[i]);
    return text + ") \"" + Documentation(info, func.memid, false) + "\"";
}

/// The vtable form of an interface: for a dual one, the interface behind
/// its dispatch form.
HRESULT VtableForm(ITypeInfo* info, ITypeInfo** form) {
    TYPEATTR* attr = nullptr;
    HRESULT hr = info->GetTypeAttr(&attr);
    if (FAILED(hr))
        return hr;
    const bool dispatchForm = attr->typekind == TKIND_DISPATCH;
    info->ReleaseTypeAttr(attr);
    if (!dispatchForm) {
        info->AddRef();
        *form = info;
        return S_OK;
    }
    HREFTYPE reference = 0;
    hr = info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference);
    return SUCCEEDED(hr) ? info->GetRefTypeInfo(reference, form) : hr;
}

/// The library's member with the module's member's id and kind, as text.
std::string FindMember(ITypeInfo* form, const FUNCDESC& wanted) {
    TYPEATTR* attr = nullptr;
    if (FAILED(form->GetTypeAttr(&attr)))
        return "(no attributes)";
    std::string found = "(missing)";
    for (UINT i = 0; i < attr->cFuncs; ++i) {
        FUNCDESC* func = nullptr;
        if (FAILED(form->GetFuncDesc(i, &func)))
            continue;
        if (func->memid == wanted.memid && func->invkind == wanted.invkind)
            found = MemberText(form, *func);
        form->ReleaseFuncDesc(func);
    }
    form->ReleaseTypeAttr(attr);
    return found;
}

/// Compares one interface of the module with the library's of the same IID.
void CompareInterface(ITypeLib* library, ITypeInfo* module) {
    TYPEATTR* moduleAttr = nullptr;
    if (!Succeeded(module->GetTypeAttr(&moduleAttr), "the module's GetTypeAttr"))
        return;
    const std::string name = Documentation(module, MEMBERID_NIL, true);
    Held<ITypeInfo> resource;
    Held<ITypeInfo> form;
    if (Succeeded(library->GetTypeInfoOfGuid(moduleAttr->guid, &resource), name + " in the library") &&
        Succeeded(VtableForm(resource.p, &form), name + "'s vtable form")) {
        ExpectSame(name + " name", Documentation(resource.p, MEMBERID_NIL, true), name);
        ExpectSame(name + " help text", Documentation(resource.p, MEMBERID_NIL, false),
                   Documentation(module, MEMBERID_NIL, false));
        // The library's dispatch form has the module's kind; its vtable form
        // the flags and members, which the dispatch form of a dual interface
        // gives otherwise (no oleautomation flag, results for retvals).
        TYPEATTR* resourceAttr = nullptr;
        if (Succeeded(resource->GetTypeAttr(&resourceAttr), name + "'s attributes")) {
            Expect(resourceAttr->typekind == moduleAttr->typekind, name + " kind");
            resource->ReleaseTypeAttr(resourceAttr);
        }
        for (UINT i = 0; i < moduleAttr->cFuncs; ++i) {
            FUNCDESC* func = nullptr;
            if (!Succeeded(module->GetFuncDesc(i, &func), name + " member " + std::to_string(i)))
                continue;
            ExpectSame(name + " member " + std::to_string(i), FindMember(form.p, *func), MemberText(module, *func));
            module->ReleaseFuncDesc(func);
        }
        TYPEATTR* formAttr = nullptr;
        if (Succeeded(form->GetTypeAttr(&formAttr), name + "'s vtable attributes")) {
            constexpr WORD kFlags = TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FNONEXTENSIBLE;
            Expect((formAttr->wTypeFlags & kFlags) == (moduleAttr->wTypeFlags & kFlags),
                   name + " flags: the library's " + std::to_string(formAttr->wTypeFlags) + ", the module's " +
                       std::to_string(moduleAttr->wTypeFlags));
            Expect(formAttr->cbSizeVft == moduleAttr->cbSizeVft, name + " vtable size");
            Expect(formAttr->cFuncs == moduleAttr->cFuncs, name + " member count: the library's " +
                                                               std::to_string(formAttr->cFuncs));
            form->ReleaseTypeAttr(formAttr);
        }
    }
    module->ReleaseTypeAttr(moduleAttr);
}

/// The registration leads to this module's file, and its library agrees
/// with the module's own type information.
void CompareLibraries(const wchar_t* modulePath) {
    Held<ITypeLib> registered;
    if (!Succeeded(LoadRegTypeLib(LIBID_ZQSubtitleLib, 1, 0, LOCALE_NEUTRAL, &registered),
                   "LoadRegTypeLib of the registered library"))
        return;
    BSTR path = nullptr;
    if (Succeeded(QueryPathOfRegTypeLib(LIBID_ZQSubtitleLib, 1, 0, LOCALE_NEUTRAL, &path), "QueryPathOfRegTypeLib"))
        Expect(lstrcmpiW(path, modulePath) == 0, "the registered library's file is " + Narrow(path));
    SysFreeString(path);

    Held<IDispatch> mux;
    Held<ITypeInfo> first;
    Held<ITypeLib> module;
    if (!Succeeded(CoCreateInstance(CLSID_ZQMuxSubtitle, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                    reinterpret_cast<void**>(&mux)),
                   "CoCreateInstance(ZQMuxSubtitle)") ||
        !Succeeded(mux->GetTypeInfo(0, LOCALE_NEUTRAL, &first), "IDispatch::GetTypeInfo") ||
        !Succeeded(first->GetContainingTypeLib(&module, nullptr), "GetContainingTypeLib"))
        return;
    BSTR resourceName = nullptr;
    BSTR moduleName = nullptr;
    registered->GetDocumentation(-1, &resourceName, nullptr, nullptr, nullptr);
    module->GetDocumentation(-1, &moduleName, nullptr, nullptr, nullptr);
    ExpectSame("library name", Narrow(resourceName), Narrow(moduleName));
    SysFreeString(resourceName);
    SysFreeString(moduleName);
    const UINT count = module->GetTypeInfoCount();
    for (UINT i = 0; i < count; ++i) {
        Held<ITypeInfo> info;
        if (Succeeded(module->GetTypeInfo(i, &info), "the module's GetTypeInfo"))
            CompareInterface(registered.p, info.p);
    }
    std::printf("%u interfaces of the module compared with the registered library\n", count);
}

/// A few calls through the IDL's own declarations: each lands in the method
/// of the same name, or its answer shows otherwise.
void CallThroughTheIdl(const wchar_t* sample) {
    Held<IZQMuxSubtitle> mux;
    if (!Succeeded(CoCreateInstance(CLSID_ZQMuxSubtitle, nullptr, CLSCTX_INPROC_SERVER, IID_IZQMuxSubtitle,
                                    reinterpret_cast<void**>(&mux)),
                   "CoCreateInstance(ZQMuxSubtitle) for IZQMuxSubtitle"))
        return;
    BSTR path = SysAllocString(sample);
    BSTR label = SysAllocString(L"idl");
    BSTR language = SysAllocString(L"de");
    LONG trackid = 0;
    Succeeded(mux->AddTextTrackFromFile(path, label, language, &trackid), "AddTextTrackFromFile");
    Held<IZQSubtitleTrackList> tracks;
    Held<IZQSubtitleTrack> track;
    LONG count = 0;
    BSTR name = nullptr;
    if (Succeeded(mux->get_TextTracks(&tracks), "get_TextTracks") && Succeeded(tracks->get_Count(&count), "get_Count") &&
        Succeeded(tracks->GetTrackByID(trackid, &track), "GetTrackByID") &&
        Succeeded(track->get_LanguageName(&name), "get_LanguageName")) {
        Expect(count == 1, "one text track after AddTextTrackFromFile");
        ExpectSame("LanguageName through the IDL", "German", Narrow(name));
    }
    SysFreeString(name);
    SysFreeString(path);
    SysFreeString(label);
    SysFreeString(language);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: zqsubtitle-typelib-client MODULE.dll SAMPLE.srt\n");
        return 2;
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 1;
    CompareLibraries(argv[1]);
    CallThroughTheIdl(argv[2]);
    CoUninitialize();
    std::printf("%d disagreements\n", g_disagreements);
    return g_disagreements == 0 ? 0 : 1;
}
