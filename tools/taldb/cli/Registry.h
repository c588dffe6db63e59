// The registry of commands: every command the tool runs, found by name.
#ifndef TALDB_TOOL_CLI_REGISTRY_H
#define TALDB_TOOL_CLI_REGISTRY_H

#include <string>

#include "commands/Command.h"

namespace taldb_cli {

// The demo, the one command that runs the tool itself, step by step.
extern const Command kDemoCommand;

// The commands in the order the help lists them.
const Command* const* commandsBegin();
const Command* const* commandsEnd();
// The command of that name, or null.
const Command* findCommand(const std::string& name);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_CLI_REGISTRY_H
