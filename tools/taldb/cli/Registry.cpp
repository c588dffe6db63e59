// The one table of the tool's commands, in the order the help lists them.
// Each command's entry (its usage, help text and the options it takes) is in
// the file that runs it.
#include "cli/Registry.h"

namespace taldb_cli {

namespace {

const Command* const kCommands[] = {
    &kCreateCommand,  &kTablesCommand,   &kSchemaCommand,    &kListCommand,   &kGetCommand,
    &kCountCommand,   &kAddCommand,      &kPutCommand,       &kUpdateCommand, &kDeleteCommand,
    &kSeedCommand,    &kAddTableCommand, &kDropTableCommand, &kClearCommand,  &kDropCommand,
    &kRecoverCommand, &kCheckCommand,    &kRepairCommand,    &kImportCommand, &kDumpCommand,
    &kBackupCommand,  &kRestoreCommand,  &kDemoCommand,
};

}  // namespace

const Command* const* commandsBegin() { return kCommands; }
const Command* const* commandsEnd() { return kCommands + sizeof kCommands / sizeof kCommands[0]; }

const Command* findCommand(const std::string& name) {
  for (const Command* command : kCommands)
    if (name == command->name) return command;
  return nullptr;
}

}  // namespace taldb_cli
