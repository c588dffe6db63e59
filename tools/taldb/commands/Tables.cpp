// The commands that add, empty and remove tables and the database: add-table,
// drop-table, clear, drop and recover.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/Errors.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/StagedCreate.h"
#include "session/Writes.h"
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

namespace {

// The store's own column specification takes int and varchar only. A table
// with a bigint column is added the store's other way: from the schema key of
// its section in a description file, here a temporary one.
void addTableWithBigint(Context& ctx, const std::string& name, const ColumnSpec& spec) {
  std::string trimmed = name;
  TalDB::CUtils::trim(&trimmed[0]);
  if (trimmed.c_str() != name || name.find('\n') != std::string::npos) {
    throw UsageError("invalid table name " + quoted(name) +
                     " for a table with a bigint column: such a table is made from a "
                     "description file, which trims blanks from a section's name");
  }
  if (spec.schemaLine.size() >= TalDB::kValueLimit) {
    throw UsageError(
        "column specification too long: a table with a bigint column takes a "
        "schema line of at most " +
        std::to_string(TalDB::kValueLimit - 1) + " bytes");
  }
  addTableFromSchema(ctx, ctx.db(), name, spec.schemaLine, action(ctx));
}

}  // namespace

static int cmdAddTable(Context& ctx) {
  std::string name = ctx.arg(0);
  checkTableName(name);
  ColumnSpec spec = parseColumnSpec(argsFrom(ctx, 1));
  ctx.openDatabase();
  // Asked first, since the store's other way of adding takes an existing
  // table for done.
  if (ctx.db().GetTable(name.c_str()) != nullptr)
    throw Failure(action(ctx) + ": the table " + quoted(name) + " exists already");
  // The store does not say why it could not make the table's files; a
  // directory that this user may not write is the usual reason.
  std::string why;
  for (const char* dir : {TalDB::kSchemaDir, TalDB::kDataDir})
    if (why.empty()) why = unwritable(joinPath(ctx.db().path(), dir));
  try {
    if (spec.bigint)
      addTableWithBigint(ctx, name, spec);
    else
      ctx.require(ctx.db().AddTable(name.c_str(), spec.text.c_str()), action(ctx));
  } catch (const Failure& failure) {
    throw Failure(failure.what() + why);
  }
  ctx.note() << "added table " << name << " with "
             << plural(ctx.db().GetTable(name.c_str())->columns().size(), "column", "columns")
             << "\n";
  return kExitOk;
}

namespace {

// The store counts the records of a directory it cannot read as -1 and calls
// such a table not empty: the tool says what it is.
void requireReadableDirectory(const std::string& what, const CTable& table) {
  int error = directoryError(table.path());
  if (error == 0) return;
  throw Failure(what + ": the directory of table " + table.name() + ", " + table.path() +
                ", cannot be read: " + std::strerror(error) +
                (error == ENOENT ? "; 'taldb repair' makes it" : ""));
}

}  // namespace

static int cmdDropTable(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  std::string name = table.name();
  requireReadableDirectory(action(ctx), table);
  ctx.require(ctx.db().DropTable(name.c_str()), action(ctx));
  ctx.note() << "dropped table " << name << "\n";
  return kExitOk;
}

static int cmdClear(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  requireReadableDirectory(action(ctx), table);
  EntryNames before, after;
  before.read(table.path());
  ctx.require(table.clear(), action(ctx));
  // The store passes over what it cannot remove: what was removed is what the
  // directory no longer holds. Leftovers of writes were never records.
  auto isRecord = [](const std::string& name) {
    return !TalDB::IsMarkedName(name.c_str()) && !TalDB::IsTempName(name.c_str());
  };
  after.read(table.path());
  size_t removed = 0, kept = 0;
  bool retried = false;
  before.forEach([&](const std::string& name) {
    removed += isRecord(name) && !after.contains(name);
    return true;
  });
  // What it left is removed here, so that the reason is this removal's errno,
  // and a passing failure does not stop the clear. An entry made since by
  // another process is not this clear's to remove.
  std::string named;
  TalDB::DirLock lock;
  lock.lockPath(table.path());
  after.forEach([&](const std::string& name) {
    if (!before.contains(name)) return true;
    if (unlink(joinPath(table.path(), name).c_str()) == 0 || errno == ENOENT) {
      removed += isRecord(name);
      retried = true;
      return true;
    }
    if (++kept <= kNamedEntries)
      named += (kept > 1 ? ", " : " ") + name + " (" + std::strerror(errno) + ")";
    return true;
  });
  if (retried) lock.flush(table.path());
  if (kept != 0) {
    throw Failure(
        action(ctx) + ": " + plural(removed, "record", "records") + " removed; could not remove " +
        plural(kept, "entry", "entries") + ":" + named +
        (kept > kNamedEntries ? " and " + std::to_string(kept - kNamedEntries) + " more" : ""));
  }
  ctx.note() << "cleared table " << table.name() << ": " << plural(removed, "record", "records")
             << " removed\n";
  return kExitOk;
}

static int cmdDrop(Context& ctx) {
  if (!ctx.options().yes) {
    throw UsageError("drop deletes every table and record of the database; add --yes to confirm");
  }
  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  if (status == 10) ctx.openDatabase();  // says that there is no database
  // A database that does not open (a creation cut short, a schema file left
  // empty) is dropped all the same: the store drops the tables it could load
  // and removes the directories with whatever else they hold.
  if (status != 0) {
    ctx.note() << "the database under " << root << " does not open (status " << status << ": "
               << ctx.log().explain(status) << "); dropping it all the same\n";
  }
  ctx.log().clear();
  // The store's clear passes over a file it cannot remove, and its drop then
  // finds the table not empty, whatever the reason was. What it left is
  // removed here, so that the reason is this removal's errno, and the drop
  // goes on when it was only a passing failure.
  for (int attempt = 0;; ++attempt) {
    status = ctx.db().drop();
    if (status == 0 || ctx.db().tables().empty() || attempt == 3) break;
    CTable& stuck = *ctx.db().tables().front();
    std::string what = "drop: stopped at table " + std::string(stuck.name()) +
                       " (the tables before it are dropped)";
    requireReadableDirectory(what, stuck);
    if (status != 14) break;
    TalDB::DirLock lock;
    lock.lockPath(stuck.path());
    std::vector<std::string> left;
    readDirectory(stuck.path(), left);
    for (const std::string& name : left) {
      std::string path = joinPath(stuck.path(), name);
      if (unlink(path.c_str()) != 0 && errno != ENOENT)
        throw Failure(what + ": cannot remove " + path + ": " + std::strerror(errno));
    }
    ctx.log().clear();
  }
  ctx.require(status, "drop");
  removeCreationLeftovers(root);
  ctx.note() << "dropped the database under " << root << "\n";
  return kExitOk;
}

namespace {

// The store's recovery stops at the first table, in catalogue order, whose
// directory it cannot open, without naming it: the tool finds it.
std::string recoverStop(Context& ctx, int status) {
  for (const CTable* table : ctx.db().tables()) {
    if (!TalDB::IsDirectory(table->path())) {
      return "recover: stopped at table " + std::string(table->name()) + ": its directory " +
             table->path() + " cannot be opened (status " + std::to_string(status) + ": " +
             std::strerror(directoryError(table->path())) +
             "); the tables after it were not recovered; run 'taldb check'";
    }
  }
  ctx.require(status, "recover");
  return "";
}

}  // namespace

static int cmdRecover(Context& ctx) {
  ctx.openDatabase();
  std::vector<std::pair<CTable*, std::string>> marked;
  for (CTable* table : sortedTables(ctx.db())) {
    for (const std::string& name : markedNames(table->path())) marked.push_back({table, name});
  }
  int status = ctx.db().recover();
  std::string kept;
  int removed = 0;
  for (const auto& entry : marked) {
    bool gone = !recordFileExists(*entry.first, entry.second);
    if (gone) ctx.note() << "removed " << entry.first->name() << "/" << entry.second << "\n";
    if (gone)
      ++removed;
    else
      kept += std::string(" ") + entry.first->name() + "/" + entry.second;
  }
  if (status != 0) throw Failure(recoverStop(ctx, status));
  if (!kept.empty()) throw Failure("recover: could not remove" + kept);
  ctx.note() << "recovered " << plural(ctx.db().tableCount(), "table", "tables") << ": "
             << plural(removed, "marked entry", "marked entries") << " removed\n";
  return kExitOk;
}

extern const Command kAddTableCommand;
const Command kAddTableCommand = {
    "add-table",
    "TABLE COLUMN-SPEC",
    "add a table, e.g. 'id(int), name(varchar)'",
    "Each column is NAME(TYPE), the name without blanks and given once, the type int\n"
    "(32-bit), bigint (64-bit) or varchar (text). The first column holds the ids.\n",
    2,
    kMany,
    kOptRoot,
    cmdAddTable};

extern const Command kDropTableCommand;
const Command kDropTableCommand = {
    "drop-table", "TABLE",     "remove an empty table", "Empty it first with 'clear'.\n", 1, 1,
    kOptRoot,     cmdDropTable};

extern const Command kClearCommand;
const Command kClearCommand = {
    "clear",
    "TABLE",
    "delete every record of a table",
    "Entries still there afterwards are named with the system's reason, with exit\n"
    "status 1.\n",
    1,
    1,
    kOptRoot,
    cmdClear};

extern const Command kDropCommand;
const Command kDropCommand = {"drop",
                              "--yes",
                              "delete the whole database: every table, record and directory",
                              "",
                              0,
                              0,
                              kOptRoot | kOptYes,
                              cmdDrop};

extern const Command kRecoverCommand;
const Command kRecoverCommand = {
    "recover",
    "",
    "remove the marked leftovers (names with .ADD or .UPDATE) of every table",
    "Recovery stops at a table without a directory and names it.\n",
    0,
    0,
    kOptRoot,
    cmdRecover};

}  // namespace taldb_cli
