// zqregsvr: loads a module and calls its registration entry point, for this
// machine (DllRegisterServer, DllUnregisterServer) or for the current user
// (DllInstall with "user").
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "zqplatform/module.h"
#include "zqplatform/status.h"
#include "zqplatform/text.h"
#include "zqplatform/utf.h"

namespace {

constexpr const char* kProgramName = "zqregsvr";
constexpr int kFailureExit = 1;
constexpr int kUsageExit = 2;

using ServerFunction = HRESULT (*)();
using InstallFunction = HRESULT (*)(BOOL, const OLECHAR*);

struct Options {
    bool m_unregister = false;
    bool m_perUser = false;
    const char* m_module = nullptr;
};

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "usage: %s [-u] [--user] MODULE\n\n"
                 "Registers the classes of MODULE, a shared library with the five entry points,\n"
                 "for this machine, or unregisters them.\n\n"
                 "  -u, --unregister  unregister instead of register\n"
                 "  --user            for the current user only (DllInstall \"user\")\n"
                 "  -h, --help        this text\n\n"
                 "Exit status: 0 done, 1 the module failed or could not be loaded, 2 usage.\n",
                 kProgramName);
}

/// Parses the arguments; false for a usage error (reported already).
bool ParseOptions(int argc, char** argv, Options& options, bool& help) {
    help = false;
    for (int i = 1; i < argc; ++i) {
        const char* word = argv[i];
        if (std::strcmp(word, "-h") == 0 || std::strcmp(word, "--help") == 0) {
            help = true;
            return true;
        }
        if (std::strcmp(word, "-u") == 0 || std::strcmp(word, "--unregister") == 0) {
            options.m_unregister = true;
        } else if (std::strcmp(word, "--user") == 0) {
            options.m_perUser = true;
        } else if (word[0] == '-' && word[1] != 0) {
            std::fprintf(stderr, "%s: unknown option '%s'\n", kProgramName, word);
            return false;
        } else if (options.m_module != nullptr) {
            std::fprintf(stderr, "%s: more than one module given ('%s', '%s')\n", kProgramName, options.m_module,
                         word);
            return false;
        } else {
            options.m_module = word;
        }
    }
    if (options.m_module == nullptr) {
        std::fprintf(stderr, "%s: no module given\n", kProgramName);
        return false;
    }
    return true;
}

/// "0x80070005 Access is denied." for a status.
std::string DescribeStatus(HRESULT hr) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<uint32_t>(hr));
    WCHAR text[512];
    DWORD length = ZQGetStatusText(hr, text, 512);
    std::u16string wide(text, length < 512 ? length : 511);
    return std::string(number) + " " + ZQUtf8FromUtf16(wide);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    bool help = false;
    if (!ParseOptions(argc, argv, options, help)) {
        std::fprintf(stderr, "Run '%s --help' for the usage.\n", kProgramName);
        return kUsageExit;
    }
    if (help) {
        PrintUsage(stdout);
        return 0;
    }
    // The module records its own path in the registry, so it is loaded by an
    // absolute one that stays valid from any working directory.
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(options.m_module, error);
    if (error || !std::filesystem::is_regular_file(path, error)) {
        std::fprintf(stderr, "%s: %s: no such file\n", kProgramName, options.m_module);
        return kFailureExit;
    }
    std::string shown = path.string();
    HMODULE module = LoadLibraryW(ZQUtf16FromUtf8(shown).c_str());
    if (module == nullptr) {
        std::fprintf(stderr, "%s: cannot load %s: %s\n", kProgramName, shown.c_str(),
                     DescribeStatus(HRESULT_FROM_WIN32(GetLastError())).c_str());
        return kFailureExit;
    }
    const char* entry = options.m_perUser      ? "DllInstall"
                        : options.m_unregister ? "DllUnregisterServer"
                                               : "DllRegisterServer";
    void* address = GetProcAddress(module, entry);
    if (address == nullptr) {
        std::fprintf(stderr, "%s: %s has no entry point %s; it is not a module that registers itself\n",
                     kProgramName, shown.c_str(), entry);
        FreeLibrary(module);
        return kFailureExit;
    }
    HRESULT hr = options.m_perUser ? reinterpret_cast<InstallFunction>(address)(options.m_unregister ? FALSE : TRUE,
                                                                                u"user")
                                   : reinterpret_cast<ServerFunction>(address)();
    FreeLibrary(module);
    const char* action = options.m_unregister ? "unregister" : "register";
    const char* scope = options.m_perUser ? "for the current user" : "for this machine";
    if (FAILED(hr)) {
        std::fprintf(stderr, "%s: %s failed to %s %s: %s\n", kProgramName, shown.c_str(), action, scope,
                     DescribeStatus(hr).c_str());
        return kFailureExit;
    }
    std::printf("%s: %sed %s %s\n", kProgramName, action, shown.c_str(), scope);
    return 0;
}
