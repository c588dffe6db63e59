// A command of the tool: its name, its usage and help text, how many
// arguments it takes and which options, and the function that runs it. Each
// command's file defines its own entry; the dispatcher's registry lists them.
#ifndef TALDB_TOOL_COMMANDS_COMMAND_H
#define TALDB_TOOL_COMMANDS_COMMAND_H

#include <stddef.h>

#include "session/Context.h"

namespace taldb_cli {

struct Command {
  const char* name;
  const char* usage;  // the arguments after the command name
  const char* summary;
  const char* details;
  size_t minArgs;
  size_t maxArgs;
  unsigned options;  // OptionBits
  // Takes its arguments from the context, prints its result on the context's
  // output stream and returns the exit status; refused input and failures are
  // thrown as UsageError and Failure.
  int (*run)(Context&);
};

// Any number of arguments.
constexpr size_t kMany = static_cast<size_t>(-1);

extern const Command kCreateCommand;
extern const Command kTablesCommand;
extern const Command kSchemaCommand;
extern const Command kListCommand;
extern const Command kGetCommand;
extern const Command kCountCommand;
extern const Command kAddCommand;
extern const Command kPutCommand;
extern const Command kUpdateCommand;
extern const Command kDeleteCommand;
extern const Command kSeedCommand;
extern const Command kAddTableCommand;
extern const Command kDropTableCommand;
extern const Command kClearCommand;
extern const Command kDropCommand;
extern const Command kRecoverCommand;
extern const Command kCheckCommand;
extern const Command kRepairCommand;
extern const Command kImportCommand;
extern const Command kDumpCommand;
extern const Command kBackupCommand;
extern const Command kRestoreCommand;

}  // namespace taldb_cli

#endif  // TALDB_TOOL_COMMANDS_COMMAND_H
