// Shared pieces of the taldb command-line tool: exit codes, the two kinds of
// error a command can raise, the parsed command line and the context every
// command runs in.
#ifndef TALDB_TOOL_CLI_H
#define TALDB_TOOL_CLI_H

#include <taldb/taldb.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LibraryLog.h"
#include "Output.h"

namespace taldb_cli {

enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2 };

// A command line the tool refuses before the library is called (exit 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An operation that did not succeed (exit 1). The text is printed as it is.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The options a command may take, as bits of Command::options.
enum OptionBit : unsigned {
  kOptRoot = 1u << 0,  // --root and --config
  kOptFormat = 1u << 1,
  kOptYes = 1u << 2,
  kOptCreate = 1u << 3,  // --id and --host
  kOptDescription = 1u << 4,
  kOptDryRun = 1u << 5,
};

struct Options {
  std::string root;
  std::string config;
  bool verbose = false;
  bool help = false;
  bool version = false;
  bool yes = false;
  bool dryRun = false;
  std::string formatName;
  Format format = Format::Table;
  std::string id;
  std::string host;
  std::string description;
  unsigned given = 0;             // OptionBits of the options on the command line
  std::string command;            // the first positional argument
  std::vector<std::string> args;  // the positional arguments after it
};

// Everything a command needs: its arguments, the streams it writes to (never
// the process's own, so that the tool also runs inside a test), the library's
// log and a database object that is opened on demand.
class Context {
 public:
  Context(const Options& options, std::ostream& out, std::ostream& err);

  const Options& options() const { return options_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  const std::vector<std::string>& args() const { return options_.args; }
  std::string arg(size_t index) const;
  LibraryLog& log() { return log_; }
  TalDB::CTalDatabase& db() { return db_; }

  // The database root from --root, --config or TALDB_ROOT; a UsageError when
  // none is given.
  std::string root() const;
  // The root as the database object holds it, without loading the tables when
  // it comes from --root or TALDB_ROOT.
  std::string rootPath();
  // Sets the root on the database object without loading it; returns what the
  // library's open returned (10 while the database does not exist yet).
  int openRoot();
  // Opens an existing database; a Failure when there is none or it fails.
  void openDatabase();
  // A registered table after the name has been checked; a Failure when the
  // database has no table of that name.
  TalDB::CTable& table(const std::string& name);
  // Throws a Failure that names the action and explains the status.
  void require(int status, const std::string& action);

 private:
  Options options_;
  std::ostream& out_;
  std::ostream& err_;
  LibraryLog log_;
  TalDB::CTalDatabase db_;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_CLI_H
