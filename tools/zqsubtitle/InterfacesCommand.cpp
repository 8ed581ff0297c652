#include "tools/zqsubtitle/InterfacesCommand.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "hosts/common/ModuleObjects.h"
#include "tools/zqsubtitle/CommandText.h"
#include "zqplatform/bstr.h"
#include "zqplatform/comptr.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/utf.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace {

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle interfaces [--json]\n\n"
                 "Lists each automation interface of the module's type library in its order,\n"
                 "with its IID, help text and members (dispatch id, kind, name, parameters,\n"
                 "help text), as the module describes them.\n"
                 "  --json   print one JSON document instead of text\n");
}

const char* KindName(INVOKEKIND kind) {
    switch (kind) {
    case INVOKE_FUNC:
        return "method";
    case INVOKE_PROPERTYGET:
        return "propget";
    case INVOKE_PROPERTYPUT:
        return "propput";
    case INVOKE_PROPERTYPUTREF:
        return "propputref";
    }
    return "unknown";
}

std::string Attributes(WORD flags) {
    std::string text;
    auto add = [&](WORD flag, const char* name) {
        if (!(flags & flag))
            return;
        if (!text.empty())
            text += ", ";
        text += name;
    };
    add(TYPEFLAG_FDUAL, "dual");
    add(TYPEFLAG_FOLEAUTOMATION, "oleautomation");
    add(TYPEFLAG_FNONEXTENSIBLE, "nonextensible");
    return text;
}

std::string Direction(USHORT flags) {
    std::string text = (flags & PARAMFLAG_FIN) ? "in" : "out";
    if (flags & PARAMFLAG_FRETVAL)
        text += ", retval";
    return text;
}

/// The name the type information gives itself, or `fallback`.
std::string TypeName(ITypeInfo* info, const char* fallback) {
    CComBSTR name;
    if (info == nullptr || FAILED(info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr)))
        return fallback;
    return ZQUtf8FromUtf16(name.View());
}

/// A parameter's type as a declaration writes it: "long", "BSTR*",
/// "IZQSubtitleTrack**".
std::string DeclaredType(ITypeInfo* owner, const TYPEDESC& type) {
    if (type.vt == VT_PTR)
        return DeclaredType(owner, *type.lptdesc) + "*";
    switch (type.vt) {
    case VT_I4:
        return "long";
    case VT_I8:
        return "LONGLONG";
    case VT_R8:
        return "double";
    case VT_BSTR:
        return "BSTR";
    case VT_BOOL:
        return "VARIANT_BOOL";
    case VT_UNKNOWN:
        return "IUnknown*";
    case VT_DISPATCH:
        return "IDispatch*";
    case VT_USERDEFINED: {
        CComPtr<ITypeInfo> named;
        owner->GetRefTypeInfo(type.hreftype, &named);
        return TypeName(named.Get(), "?");
    }
    default:
        return "VARTYPE " + std::to_string(type.vt);
    }
}

struct Param {
    std::string name;  // empty for a parameter the library leaves unnamed
    std::string type;
    VARTYPE vt;
    std::string direction;
};

struct Member {
    DISPID dispid;
    INVOKEKIND kind;
    std::string name;
    std::string help;
    std::vector<Param> params;
};

struct Interface {
    std::string name;
    GUID iid;
    std::string help;
    std::string attributes;
    std::vector<Member> members;
};

/// The automation type of a value as the module's dispatch takes it: what an
/// out parameter points to, an interface of the library as VT_DISPATCH or
/// VT_UNKNOWN as its attributes say.
VARTYPE ValueType(ITypeInfo* owner, const ELEMDESC& element) {
    const TYPEDESC* type = &element.tdesc;
    if ((element.paramdesc.wParamFlags & PARAMFLAG_FOUT) && type->vt == VT_PTR)
        type = type->lptdesc;
    if (type->vt != VT_PTR || type->lptdesc->vt != VT_USERDEFINED)
        return type->vt;
    CComPtr<ITypeInfo> named;
    TYPEATTR* attr = nullptr;
    if (FAILED(owner->GetRefTypeInfo(type->lptdesc->hreftype, &named)) || FAILED(named->GetTypeAttr(&attr)))
        return VT_UNKNOWN;
    const VARTYPE vt = (attr->wTypeFlags & TYPEFLAG_FDUAL) ? VT_DISPATCH : VT_UNKNOWN;
    named->ReleaseTypeAttr(attr);
    return vt;
}

Member ReadMember(ITypeInfo* info, UINT index) {
    Member member{};
    FUNCDESC* func = nullptr;
    if (FAILED(info->GetFuncDesc(index, &func)))
        return member;
    member.dispid = func->memid;
    member.kind = func->invkind;
    // The member's name, then the names of the parameters a caller passes.
    CComBSTR names[16];
    BSTR received[16] = {};
    UINT count = 0;
    info->GetNames(func->memid, received, 16, &count);
    for (UINT i = 0; i < count; ++i)
        names[i].Attach(received[i]);
    member.name = count > 0 ? ZQUtf8FromUtf16(names[0].View()) : "";
    CComBSTR help;
    if (SUCCEEDED(info->GetDocumentation(func->memid, nullptr, &help, nullptr, nullptr)))
        member.help = ZQUtf8FromUtf16(help.View());
    for (SHORT i = 0; i < func->cParams; ++i) {
        const ELEMDESC& element = func->lprgelemdescParam[i];
        const USHORT flags = element.paramdesc.wParamFlags;
        const bool named = !(flags & PARAMFLAG_FRETVAL) && member.kind != INVOKE_PROPERTYPUTREF &&
                           static_cast<UINT>(i) + 1 < count;
        member.params.push_back({named ? ZQUtf8FromUtf16(names[i + 1].View()) : "", DeclaredType(info, element.tdesc),
                                 ValueType(info, element), Direction(flags)});
    }
    info->ReleaseFuncDesc(func);
    return member;
}

/// Every interface of the type library that serves the module's
/// multiplexer, read through the binding as any browsing tool would.
HRESULT ReadLibrary(std::vector<Interface>& interfaces) {
    CComPtr<IDispatch> object;
    HRESULT hr = CreateModuleObject(CLSID_ZQMuxSubtitle, IID_IDispatch, reinterpret_cast<void**>(&object));
    CComPtr<ITypeInfo> first;
    if (SUCCEEDED(hr))
        hr = object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &first);
    CComPtr<ITypeLib> library;
    if (SUCCEEDED(hr))
        hr = first->GetContainingTypeLib(&library, nullptr);
    if (FAILED(hr))
        return hr;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        CComPtr<ITypeInfo> info;
        TYPEATTR* attr = nullptr;
        hr = library->GetTypeInfo(i, &info);
        if (SUCCEEDED(hr))
            hr = info->GetTypeAttr(&attr);
        if (FAILED(hr))
            return hr;
        Interface entry{TypeName(info.Get(), "?"), attr->guid, "", Attributes(attr->wTypeFlags), {}};
        CComBSTR help;
        if (SUCCEEDED(info->GetDocumentation(MEMBERID_NIL, nullptr, &help, nullptr, nullptr)))
            entry.help = ZQUtf8FromUtf16(help.View());
        for (UINT f = 0; f < attr->cFuncs; ++f)
            entry.members.push_back(ReadMember(info.Get(), f));
        info->ReleaseTypeAttr(attr);
        interfaces.push_back(std::move(entry));
    }
    return S_OK;
}

std::string FormatParam(const Param& param) {
    std::string text = "[" + param.direction + "] " + param.type;
    if (!param.name.empty())
        text += " " + param.name;
    return text;
}

void PrintText(const Interface& entry) {
    std::printf("%s %s [%s]\n  \"%s\"\n", entry.name.c_str(), FormatGuid(entry.iid).c_str(), entry.attributes.c_str(),
                entry.help.c_str());
    for (const Member& member : entry.members) {
        std::string params;
        for (const Param& param : member.params)
            params += (params.empty() ? "" : ", ") + FormatParam(param);
        std::printf("  0x%08X %-10s %s(%s)  \"%s\"\n", static_cast<unsigned>(member.dispid), KindName(member.kind),
                    member.name.c_str(), params.c_str(), member.help.c_str());
    }
}

void PrintJson(const std::vector<Interface>& interfaces) {
    std::printf("[\n");
    const char* interfaceSeparator = "";
    for (const Interface& entry : interfaces) {
        std::printf("%s  {\"name\": %s, \"iid\": \"%s\", \"help\": %s, \"attributes\": \"%s\", \"members\": [",
                    interfaceSeparator, JsonString(entry.name).c_str(), FormatGuid(entry.iid).c_str(),
                    JsonString(entry.help).c_str(), entry.attributes.c_str());
        interfaceSeparator = ",\n";
        const char* memberSeparator = "";
        for (const Member& member : entry.members) {
            std::printf("%s\n    {\"dispid\": %d, \"kind\": \"%s\", \"name\": %s, \"help\": %s, \"params\": [",
                        memberSeparator, member.dispid, KindName(member.kind), JsonString(member.name).c_str(),
                        JsonString(member.help).c_str());
            memberSeparator = ",";
            const char* paramSeparator = "";
            for (const Param& param : member.params) {
                std::printf("%s{\"name\": %s, \"type\": %s, \"vt\": %u, \"direction\": \"%s\"}", paramSeparator,
                            param.name.empty() ? "null" : JsonString(param.name).c_str(),
                            JsonString(param.type).c_str(), static_cast<unsigned>(param.vt), param.direction.c_str());
                paramSeparator = ", ";
            }
            std::printf("]}");
        }
        std::printf("\n  ]}");
    }
    std::printf("\n]\n");
}

}  // namespace

int RunInterfacesCommand(int argc, char** argv) {
    bool json = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
            continue;
        }
        if (std::strcmp(argv[i], "--help") == 0) {
            PrintUsage(stdout);
            return 0;
        }
        std::fprintf(stderr, "zqsubtitle interfaces: unknown option '%s'\n\n", argv[i]);
        PrintUsage(stderr);
        return kUsageExit;
    }
    std::vector<Interface> interfaces;
    const HRESULT hr = ReadLibrary(interfaces);
    if (FAILED(hr)) {
        std::fprintf(stderr, "zqsubtitle interfaces: the module's type library: %s\n", DescribeStatus(hr).c_str());
        return kFailureExit;
    }
    if (json) {
        PrintJson(interfaces);
        return 0;
    }
    for (const Interface& entry : interfaces) {
        PrintText(entry);
        std::printf("\n");
    }
    return 0;
}
