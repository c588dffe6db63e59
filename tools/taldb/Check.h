// Read-only inspection of a database's directories and files, for the check
// command, the recover report and the demo.
#ifndef TALDB_TOOL_CHECK_H
#define TALDB_TOOL_CHECK_H

#include <string>
#include <vector>

#include "Cli.h"

namespace taldb_cli {

// dir + "/" + name, formatted and cut as the store formats its paths.
std::string joinPath(const std::string& dir, const std::string& name);
// The marked names in a directory, sorted; none when it cannot be read.
std::vector<std::string> markedNames(const std::string& directory);
// Everything wrong under the database root, one line each ("where: what"),
// with paths relative to the root. Changes nothing on disk.
std::vector<std::string> inspectDatabase(Context& ctx, const std::string& root);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_CHECK_H
