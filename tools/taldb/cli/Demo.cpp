// The demo: a database made from the example description file, then the
// tool's own command lines run on it one after another through RunTool, each
// shown as the line that does the same by hand.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "base/Errors.h"
#include "base/TemporaryFile.h"
#include "base/Text.h"
#include "cli/Registry.h"
#include "cli/Tool.h"
#include "commands/Command.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Files.h"

namespace taldb_cli {

namespace {

using Words = std::vector<std::string>;

bool readable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

std::string executableDir() {
  char path[TalDB::kPathLimit];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return ".";
  std::string text(path, length);
  return text.substr(0, text.rfind('/'));
}

// The example description file: the one named with --description, else the
// copy installed beside the tool, else the source tree's copy it was built
// from. An installed tool takes its own copy first: the source tree may have
// moved on or gone, and the demo shows the file the tool was shipped with.
std::string findDescription(const std::string& given) {
  if (!given.empty()) {
    if (!readable(given)) throw Failure("demo: cannot read " + given + ": " + std::strerror(errno));
    return given;
  }
  for (const std::string& path : {executableDir() + "/" + TALDB_INSTALLED_DESCRIPTION,
                                  std::string(TALDB_SOURCE_DESCRIPTION)}) {
    char resolved[TalDB::kPathLimit];
    // The installed path goes through bin/..; the demo names the file plainly.
    if (readable(path)) return realpath(path.c_str(), resolved) ? resolved : path;
  }
  throw Failure("demo: cannot find the example description file; give one with --description FILE");
}

std::string makeTemporaryRoot() {
  std::string pattern = temporaryPattern("demo");
  if (mkdtemp(&pattern[0]) == nullptr)
    throw Failure("demo: cannot make a temporary directory: " + std::string(std::strerror(errno)));
  return pattern;
}

// A value that fits the column: text names the column, numbers are small.
std::string sampleValue(const TalDB::CColumn& column, bool changed) {
  if (column.type() != TalDB::TYPE_VARCHAR) return changed ? "2" : "1";
  return changed ? "demo-changed" : std::string("demo-") + column.name();
}

class Demo {
 public:
  Demo(Context& ctx, const std::string& root) : ctx_(ctx), root_(root) {}

  // The exit status of the first step that failed, or 0.
  int run(const std::string& description) {
    ctx_.out() << "TalDB demo: a database under " << root_ << ", made from " << description << "\n";
    step("Create the database; the seed records get the id 42 and the host demo-host",
         {"create", description, "--id", "42", "--host", "demo-host"});
    step("The tables, with their column and record counts", {"tables"});
    step("Every record; the first column is the record's name (its file name)", {"dump"});
    if (status_ != 0) return status_;
    // The demo looks at the new database only to choose what to show.
    ctx_.require(db_.open(root_.c_str()), "open " + root_);
    TalDB::CTable& table = pickTable();
    changeRecords(table);
    if (status_ == 0) recoverLeftover(table);
    if (status_ != 0) return status_;
    ctx_.out() << "\nThe database stays under " << root_ << ". Go on with, for example:\n"
               << "  taldb --root " << root_ << " list " << table.name() << " --format json\n";
    return kExitOk;
  }

 private:
  // The table the demo changes: "hosts" when there is one, else the first
  // with at least one stored column.
  TalDB::CTable& pickTable() {
    if (TalDB::CTable* hosts = db_.GetTable("hosts")) return *hosts;
    for (TalDB::CTable* table : sortedTables(db_))
      if (table->columns().size() > 1) return *table;
    throw Failure("demo: the description file has no table with a stored column");
  }

  void changeRecords(TalDB::CTable& table) {
    std::string name = table.name(), values;
    const std::vector<TalDB::CColumn*>& columns = table.columns();
    for (size_t i = 1; i < columns.size(); ++i)
      values += (i > 1 ? "," : "") + sampleValue(*columns[i], false);
    step("Add a record; the store allocates the next id and prints it", {"add", name, values});
    std::string id = std::to_string(table.get_max_id());
    std::string assignment = std::string(columns[1]->name()) + "=" + sampleValue(*columns[1], true);
    step("Change one of its columns", {"update", name, id, assignment});
    step("Read it back", {"get", name, id});
    step("Delete it", {"delete", name, id});
    step("Count what is left", {"count", name});
  }

  void recoverLeftover(TalDB::CTable& table) {
    std::string leftover = std::to_string(table.get_max_id() + 1) + ".ADD";
    std::ofstream(std::string(table.path()) + "/" + leftover) << "left|over|";
    ctx_.out() << "\n(Planting " << table.name() << "/" << leftover
               << ": a marked name, the kind of leftover that recovery removes.)\n";
    // Finding the leftover is what check is shown for, so its status 1 is
    // no failure of the demo.
    step("Check finds it (and would exit with status 1)", {"check"}, kExitFailed);
    step("Recovery removes every marked name in every table", {"recover"});
    step("Check again", {"check"});
  }

  // Shows the command line, then runs it as the tool would from a shell.
  // After a step fails, the later ones are passed over.
  void step(const std::string& title, const Words& words, int expected = kExitOk) {
    if (status_ != 0) return;
    ctx_.out() << "\n[" << ++steps_ << "] " << title << "\n$ taldb --root " << shellWord(root_);
    for (const std::string& word : words) ctx_.out() << " " << shellWord(word);
    ctx_.out() << "\n";
    Words args = {"--root", root_};
    if (ctx_.options().verbose) args.push_back("-v");
    args.insert(args.end(), words.begin(), words.end());
    int status = RunTool(args, ctx_.out(), ctx_.err());
    if (status != kExitOk && status != expected) status_ = status;
    ctx_.out().flush();
  }

  Context& ctx_;
  std::string root_;
  TalDB::CTalDatabase db_;
  int steps_ = 0;
  int status_ = 0;
};

}  // namespace

static int cmdDemo(Context& ctx) {
  std::string description = findDescription(ctx.options().description);
  std::string root = ctx.args().empty() ? makeTemporaryRoot() : ctx.arg(0);
  struct stat info;
  if (stat((root + "/tal").c_str(), &info) == 0)
    throw Failure("demo: " + root + " holds a database already; give a fresh directory");
  return Demo(ctx, root).run(description);
}

extern const Command kDemoCommand;
const Command kDemoCommand = {
    "demo",
    "[DIR] [--description FILE]",
    "show the whole system on a fresh database",
    "Creates a database from the example description file in a new temporary directory\n"
    "(or in DIR, which must not hold a database), shows its tables and records, then adds,\n"
    "updates and deletes a record and recovers a leftover, printing each step.\n",
    0,
    1,
    kOptDescription,
    cmdDemo};

}  // namespace taldb_cli
