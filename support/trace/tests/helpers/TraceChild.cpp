// A process of its own for the trace log's tests: traces one line into the
// file FILE through this program's copy of the trace code and exits at once,
// so that only the end of the process can write it out.
// Usage: trace_child FILE.
#include <cstdio>
#include <filesystem>

#include "support/trace/Trace.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: trace_child FILE\n");
        return 2;
    }
    SetTracePath(std::filesystem::path(argv[1]).u16string().c_str());
    g_TraceFlags = kTraceToFile | kTraceActive;
    TraceLine("\nfrom the child");
    return 0;
}
