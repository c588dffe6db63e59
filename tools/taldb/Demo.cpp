// The demo: a database made from the example description file, then the
// tool's own commands run on it one after another, each shown with the
// command line that does the same by hand.
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Check.h"
#include "Commands.h"

namespace taldb_cli {

namespace {

using Handler = int (*)(Context&);

bool readable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

std::string executableDir() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return ".";
  std::string text(path, length);
  return text.substr(0, text.rfind('/'));
}

// The example description file: the one named with --description, else the
// source tree's copy the tool was built from, else the installed copy.
std::string findDescription(const std::string& given) {
  if (!given.empty()) {
    if (!readable(given)) throw Failure("demo: cannot read " + given + ": " + std::strerror(errno));
    return given;
  }
  for (const std::string& path : {std::string(TALDB_SOURCE_DESCRIPTION),
                                  executableDir() + "/" + TALDB_INSTALLED_DESCRIPTION}) {
    if (readable(path)) return path;
  }
  throw Failure("demo: cannot find the example description file; give one with --description FILE");
}

std::string makeTemporaryRoot() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base ? base : "/tmp") + "/taldb-demo-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr)
    throw Failure("demo: cannot make a temporary directory: " + std::string(std::strerror(errno)));
  return pattern;
}

std::string shellWord(const std::string& text) {
  bool plain = !text.empty() && text.find_first_not_of(
                                    "abcdefghijklmnopqrstuvwxyz"
                                    "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                    "0123456789_./=,:+-") == std::string::npos;
  return plain ? text : "'" + text + "'";
}

class Demo {
 public:
  Demo(Context& ctx, const std::string& root) : ctx_(ctx), root_(root) {
    ctx_.options().root = root;
  }

  void run(const std::string& description) {
    std::cout << "TalDB demo: a database under " << root_ << ", made from " << description << "\n";
    Options& options = ctx_.options();
    options.id = "42";
    options.host = "demo-host";
    options.given |= kOptCreate;
    step("Create the database; the seed records get the id 42 and the host demo-host", cmdCreate,
         "create", {description}, " --id 42 --host demo-host");
    step("The tables, with their column and record counts", cmdTables, "tables", {});
    step("Every record; the first column is the record's name (its file name)", cmdDump, "dump",
         {});
    changeRecords(pickTable());
    recoverLeftover(pickTable());
    std::cout << "\nThe database stays under " << root_ << ". Go on with, for example:\n"
              << "  taldb --root " << root_ << " list " << pickTable().name() << " --format json\n";
  }

 private:
  // The table the demo changes: "hosts" when there is one, else the first
  // with at least one stored column.
  TalDB::CTable& pickTable() {
    if (TalDB::CTable* hosts = ctx_.db().GetTable("hosts")) return *hosts;
    for (TalDB::CTable* table : sortedTables(ctx_.db()))
      if (table->columns().size() > 1) return *table;
    throw Failure("demo: the description file has no table with a stored column");
  }

  void changeRecords(TalDB::CTable& table) {
    std::string name = table.name();
    std::vector<std::string> values;
    const std::vector<TalDB::CColumn*>& columns = table.columns();
    for (size_t i = 1; i < columns.size(); ++i) values.push_back(sampleValue(*columns[i], false));
    step("Add a record; the store allocates the next id and prints it", cmdAdd, "add",
         {name, joinWords(values)});
    std::string id = std::to_string(table.get_max_id());
    std::string assignment = std::string(columns[1]->name()) + "=" + sampleValue(*columns[1], true);
    step("Change one of its columns", cmdUpdate, "update", {name, id, assignment});
    step("Read it back", cmdGet, "get", {name, id});
    step("Delete it", cmdDelete, "delete", {name, id});
    step("Count what is left", cmdCount, "count", {name});
  }

  void recoverLeftover(TalDB::CTable& table) {
    std::string leftover = std::to_string(table.get_max_id() + 1) + ".ADD";
    std::ofstream(std::string(table.path()) + "/" + leftover) << "left|over|";
    std::cout << "\n(Planting " << table.name() << "/" << leftover
              << ": a marked name, the kind of leftover that recovery removes.)\n";
    step("Check finds it (and would exit with status 1)", cmdCheck, "check", {});
    step("Recovery removes every marked name in every table", cmdRecover, "recover", {});
    step("Check again", cmdCheck, "check", {});
  }

  // A value that fits the column: text names the column, numbers are small.
  static std::string sampleValue(const TalDB::CColumn& column, bool changed) {
    if (column.type() != TalDB::TYPE_VARCHAR) return changed ? "2" : "1";
    return changed ? "demo-changed" : std::string("demo-") + column.name();
  }

  static std::string joinWords(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) text += (text.empty() ? "" : ",") + value;
    return text;
  }

  void step(const std::string& title, Handler handler, const char* command,
            const std::vector<std::string>& args, const std::string& extra = "") {
    std::cout << "\n[" << ++steps_ << "] " << title << "\n$ taldb --root " << shellWord(root_)
              << " " << command;
    for (const std::string& arg : args) std::cout << " " << shellWord(arg);
    std::cout << extra << "\n";
    ctx_.options().command = command;
    ctx_.options().args = args;
    handler(ctx_);
    std::cout.flush();
  }

  Context& ctx_;
  std::string root_;
  int steps_ = 0;
};

}  // namespace

int cmdDemo(Context& ctx) {
  std::string description = findDescription(ctx.options().description);
  std::string root = ctx.args().empty() ? makeTemporaryRoot() : ctx.arg(0);
  struct stat info;
  if (stat((root + "/tal").c_str(), &info) == 0)
    throw Failure("demo: " + root + " holds a database already; give a fresh directory");
  Demo(ctx, root).run(description);
  return kExitOk;
}

}  // namespace taldb_cli
