// The commands. Each takes its arguments from the context, prints its
// result on the context's output stream and returns the exit status; refused
// input and failures are thrown as UsageError and Failure.
#ifndef TALDB_TOOL_COMMANDS_COMMANDS_H
#define TALDB_TOOL_COMMANDS_COMMANDS_H

#include "session/Context.h"

namespace taldb_cli {

int cmdCreate(Context& ctx);
int cmdTables(Context& ctx);
int cmdSchema(Context& ctx);
int cmdList(Context& ctx);
int cmdGet(Context& ctx);
int cmdCount(Context& ctx);
int cmdAdd(Context& ctx);
int cmdPut(Context& ctx);
int cmdUpdate(Context& ctx);
int cmdDelete(Context& ctx);
int cmdSeed(Context& ctx);
int cmdAddTable(Context& ctx);
int cmdDropTable(Context& ctx);
int cmdClear(Context& ctx);
int cmdDrop(Context& ctx);
int cmdRecover(Context& ctx);
int cmdDump(Context& ctx);
// dump in every format: ini and sql here, the others through cmdDump.
int cmdExport(Context& ctx);
int cmdImport(Context& ctx);
int cmdBackup(Context& ctx);
int cmdRestore(Context& ctx);
int cmdCheck(Context& ctx);
int cmdRepair(Context& ctx);
int cmdDemo(Context& ctx);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_COMMANDS_COMMANDS_H
