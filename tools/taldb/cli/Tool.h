// The taldb tool as a function: the command line in, the exit status out,
// everything it prints written to the streams it is given. main() hands it
// the process's arguments and standard streams; tests and the demo call it
// directly.
#ifndef TALDB_TOOL_CLI_TOOL_H
#define TALDB_TOOL_CLI_TOOL_H

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace taldb_cli {

// args are the arguments after the program name. Returns 0 on success, 1 on
// a failure, 2 on a usage error and 3 when a record was written but standard
// output could not be written; never throws. in is what an input file
// named "-" reads: standard input unless a test gives its own text.
int RunTool(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
            std::istream* in = nullptr);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_CLI_TOOL_H
