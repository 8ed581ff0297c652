// zqsubtitle interfaces: prints the module's automation interfaces from its
// type description, in the type library's order.
#pragma once

/// `argv[0]` is "interfaces"; options: --json, --help. Answers 0, or 2 for a
/// bad option (with the usage on stderr).
int RunInterfacesCommand(int argc, char** argv);
