// zqsubtitle: the command line of the subtitle library. Each subcommand lives
// in its own <Name>Command.cpp/.h pair; adding one is one include and one row
// of kCommands.

#include <cstdio>
#include <cstring>
#include <span>

#include "hosts/common/ModuleObjects.h"
#include "tools/zqsubtitle/DumpCommand.h"
#include "tools/zqsubtitle/EditCommand.h"
#include "tools/zqsubtitle/InterfacesCommand.h"
#include "tools/zqsubtitle/MuxCommand.h"
#include "tools/zqsubtitle/PlayCommand.h"
#include "tools/zqsubtitle/ProbeCommand.h"
#include "zqsubtitle/ZQSubtitleVersion.h"

namespace {

constexpr const char* kProgramName = "zqsubtitle";
constexpr int kUsageExit = 2;

/// One subcommand: its word on the command line, a line for the usage text,
/// and its entry, called with argv[0] being the subcommand's word.
struct Command {
    const char* name;
    const char* summary;
    int (*run)(int argc, char** argv);
};

constexpr Command kCommands[] = {
    {"mux", "write SubRip files as subtitle tracks into a container, beside copied media", RunMuxCommand},
    {"play", "play the subtitle tracks of containers or SubRip files, printing cue events", RunPlayCommand},
    {"probe", "list the subtitle streams of a container as the hosts see them", RunProbeCommand},
    {"interfaces", "list the automation interfaces, their ids and members", RunInterfacesCommand},
    {"dump", "run SubRip files as multiplexer tracks and print what the host receives", RunDumpCommand},
    {"edit", "edit a multiplexer's tracks in its property page, in a window with OK, Cancel and Apply",
     RunEditCommand},
};

void PrintUsage(FILE* out) {
    std::fprintf(out, "usage: %s <command> [options]\n       %s --help | --version\n\ncommands:\n", kProgramName,
                 kProgramName);
    for (const Command& command : kCommands)
        std::fprintf(out, "  %-12s %s\n", command.name, command.summary);
    std::fprintf(out, "\nRun '%s <command> --help' for the options of a command.\n", kProgramName);
}

void PrintVersion() {
    std::printf("%s %s\n", kProgramName, ZQSUBTITLE_VERSION_TEXT);
    std::printf("module: %s\n", DescribeModuleSource().c_str());
}

const Command* FindCommand(const char* name) {
    for (const Command& command : kCommands) {
        if (std::strcmp(command.name, name) == 0)
            return &command;
    }
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintUsage(stderr);
        return kUsageExit;
    }
    const char* word = argv[1];
    if (std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0 || std::strcmp(word, "help") == 0) {
        PrintUsage(stdout);
        return 0;
    }
    if (std::strcmp(word, "--version") == 0) {
        PrintVersion();
        return 0;
    }
    const Command* command = FindCommand(word);
    if (!command) {
        std::fprintf(stderr, "%s: unknown command '%s'\n\n", kProgramName, word);
        PrintUsage(stderr);
        return kUsageExit;
    }
    return command->run(argc - 1, argv + 1);
}
