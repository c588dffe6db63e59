// What a running command works with: its options and arguments, its
// streams, the library's log and the database object.
#ifndef TALDB_TOOL_SESSION_CONTEXT_H
#define TALDB_TOOL_SESSION_CONTEXT_H

#include <taldb/taldb.h>

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "session/LibraryLog.h"
#include "session/Options.h"

namespace taldb_cli {

// Everything a command needs: its arguments, the streams it writes to (never
// the process's own, so that the tool also runs inside a test), the library's
// log and a database object that is opened on demand.
class Context {
 public:
  Context(const Options& options, std::ostream& out, std::ostream& err, std::istream& in);

  const Options& options() const { return options_; }
  Style style() const { return {options_.format, !options_.noHeader}; }
  // What the command was asked for: rows, values, a new id.
  std::ostream& out() { return out_; }
  // A confirmation of what a command did ("updated record 4 of hosts"); -q
  // silences it, and only it.
  std::ostream& note() { return options_.quiet ? silent_ : out_; }
  std::ostream& err() { return err_; }
  // What "-" names as an input file: standard input, or a test's text.
  std::istream& in() { return in_; }
  const std::vector<std::string>& args() const { return options_.args; }
  std::string arg(size_t index) const;
  LibraryLog& log() { return log_; }
  TalDB::CTalDatabase& db() { return db_; }
  // What a command wrote to the store, said the way the tool reports it when
  // standard output then cannot be written ("add hosts x,1: the record was
  // written under id 5"); the last said counts.
  void wrote(const std::string& what) { written_ = what; }
  const std::string& written() const { return written_; }

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
  std::istream& in_;
  std::ostream silent_{nullptr};  // a stream without a buffer drops what it is given
  LibraryLog log_;
  TalDB::CTalDatabase db_;
  std::string written_;
};

// Why the database under root cannot be read (its schema directory exists
// but cannot be opened, or the root is no directory), or "" when it can be,
// or there is none.
std::string unreadableRoot(const std::string& root);
// The command's arguments from the first'th on.
std::vector<std::string> argsFrom(const Context& ctx, size_t first);
// The command line as a person typed it after the options ("update hosts 4
// port=80"), for messages.
std::string action(const Context& ctx);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_CONTEXT_H
