// The commands of the taldb tool. Each takes its arguments from the context,
// prints its result on standard output and returns the exit status; refused
// input and failures are thrown as UsageError and Failure.
#ifndef TALDB_TOOL_COMMANDS_H
#define TALDB_TOOL_COMMANDS_H

#include <string>
#include <vector>

#include "Cli.h"

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
int cmdCheck(Context& ctx);
int cmdRepair(Context& ctx);
int cmdDemo(Context& ctx);

// dir + "/" + name, formatted and cut as the store formats its paths.
std::string joinPath(const std::string& dir, const std::string& name);
// Whether anything, even a dangling link, is at path.
bool pathExists(const std::string& path);
// "1 record", "2 records".
std::string plural(size_t count, const char* one, const char* many);
// The marked names in a directory, sorted; none when it cannot be read.
std::vector<std::string> markedNames(const std::string& directory);
// The registered tables, sorted by name.
std::vector<TalDB::CTable*> sortedTables(TalDB::CTalDatabase& db);
// The records of a table that match a condition (null for all), sorted by
// record name, with the column names as header.
Rows recordRows(Context& ctx, TalDB::CTable& table, const char* condition);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_COMMANDS_H
