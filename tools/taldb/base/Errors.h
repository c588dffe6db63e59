// The exit statuses of the tool and the two kinds of error a command can
// raise: a command line refused before the library is called, and an
// operation that did not succeed. Every layer of the tool throws them; the
// dispatcher turns them into exit statuses.
#ifndef TALDB_TOOL_BASE_ERRORS_H
#define TALDB_TOOL_BASE_ERRORS_H

#include <stdexcept>

namespace taldb_cli {

// kExitUnprinted: a record was written, but standard output, which was to
// carry its id or the confirmation, could not be written.
enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitUnprinted = 3 };

// A command line the tool refuses before the library is called (exit 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An operation that did not succeed (exit 1). The text is printed as it is.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_BASE_ERRORS_H
