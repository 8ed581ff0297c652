#include "tools/zqsubtitle/InterfacesCommand.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "interfaces/ZQInterfaceDescription.h"
#include "tools/zqsubtitle/CommandText.h"

namespace {

constexpr int kUsageExit = 2;

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: zqsubtitle interfaces [--json]\n\n"
                 "Lists each automation interface of the type library in its order, with its\n"
                 "IID, help text and members (dispatch id, kind, name, parameters, help text).\n"
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

std::string Attributes(uint16_t flags) {
    std::string text;
    auto add = [&](uint16_t flag, const char* name) {
        if (!(flags & flag))
            return;
        if (!text.empty())
            text += ", ";
        text += name;
    };
    add(ZQInterface_Dual, "dual");
    add(ZQInterface_OleAutomation, "oleautomation");
    add(ZQInterface_NonExtensible, "nonextensible");
    return text;
}

std::string Direction(uint16_t flags) {
    std::string text = (flags & ZQParam_In) ? "in" : "out";
    if (flags & ZQParam_Retval)
        text += ", retval";
    return text;
}

std::string FormatParam(const ZQParamDescription& param) {
    std::string text = "[" + Direction(param.m_flags) + "] " + param.m_typeName;
    if (param.m_name)
        text += std::string(" ") + param.m_name;
    return text;
}

void PrintText(const ZQInterfaceDescription& description) {
    std::printf("%s %s [%s]\n  \"%s\"\n", description.m_name, FormatGuid(description.m_iid).c_str(),
                Attributes(description.m_flags).c_str(), description.m_helpText);
    for (const ZQMemberDescription& member : description.Members()) {
        std::string params;
        for (const ZQParamDescription& param : member.Params()) {
            if (!params.empty())
                params += ", ";
            params += FormatParam(param);
        }
        std::printf("  0x%08X %-10s %s(%s)  \"%s\"\n", static_cast<unsigned>(member.m_dispid), KindName(member.m_kind),
                    member.m_name, params.c_str(), member.m_helpText);
    }
}

/// The descriptions hold ASCII names and help texts only, but quoting stays
/// correct should one ever carry a quote or a backslash.
void PrintJson() {
    std::printf("[\n");
    bool firstInterface = true;
    for (const ZQInterfaceDescription* description : ZQGetInterfaceDescriptions()) {
        std::printf("%s  {\"name\": %s, \"iid\": \"%s\", \"help\": %s, \"attributes\": \"%s\", \"members\": [",
                    firstInterface ? "" : ",\n", JsonString(description->m_name).c_str(),
                    FormatGuid(description->m_iid).c_str(), JsonString(description->m_helpText).c_str(),
                    Attributes(description->m_flags).c_str());
        firstInterface = false;
        bool firstMember = true;
        for (const ZQMemberDescription& member : description->Members()) {
            std::printf("%s\n    {\"dispid\": %d, \"kind\": \"%s\", \"name\": %s, \"help\": %s, \"params\": [",
                        firstMember ? "" : ",", member.m_dispid, KindName(member.m_kind),
                        JsonString(member.m_name).c_str(), JsonString(member.m_helpText).c_str());
            firstMember = false;
            bool firstParam = true;
            for (const ZQParamDescription& param : member.Params()) {
                std::printf("%s{\"name\": %s, \"type\": %s, \"vt\": %u, \"direction\": \"%s\"}",
                            firstParam ? "" : ", ", param.m_name ? JsonString(param.m_name).c_str() : "null",
                            JsonString(param.m_typeName).c_str(), static_cast<unsigned>(param.m_vt),
                            Direction(param.m_flags).c_str());
                firstParam = false;
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
    if (json) {
        PrintJson();
        return 0;
    }
    for (const ZQInterfaceDescription* description : ZQGetInterfaceDescriptions()) {
        PrintText(*description);
        std::printf("\n");
    }
    return 0;
}
