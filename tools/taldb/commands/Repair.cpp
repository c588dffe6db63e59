// taldb repair: the library's repair of interrupted writes, table by table,
// printing each file it changed or left; or, with --dry-run, what it would do.
#include <cerrno>
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
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

namespace {

using TalDB::CTable;
using TalDB::RepairAction;

// Files acted on and files left for a person, over all tables.
struct Tally {
  size_t changed = 0;
  size_t left = 0;
};

// Prints the lines the library's repair would log, in directory order.
void planTable(std::ostream& out, CTable& table, Tally& tally) {
  TalDB::CDirIterator dir;
  if (dir.open(table.path()) != 0) return;
  while (struct dirent* entry = dir.read()) {
    RepairAction action = TalDB::PlanRepair(table.path(), entry->d_name, table.columns().size());
    if (action == RepairAction::kNone) continue;
    char path[TalDB::kPathLimit];
    TalDB::JoinPath(path, table.path(), entry->d_name);
    out << path << ": " << TalDB::RepairOutcome(action, false) << "\n";
    ++tally.changed;
  }
}

// Runs the repair and prints the library's own line for every file it
// changed or left; returns the library's status.
int repairTable(Context& ctx, CTable& table, Tally& tally) {
  ctx.log().clear();
  int status = table.repair();
  for (const LibraryLog::Entry& entry : ctx.log().entries()) {
    ctx.note() << entry.text << "\n";
    ++(entry.level == GUX_LOG_INFO ? tally.changed : tally.left);
  }
  return status;
}

// A table creation that a power cut left half done can keep the whole
// database from opening (an empty schema file): the store's repair undoes it
// on a database object of its own first, printing what it did, so that the
// tables then load afresh.
void repairUnopened(Context& ctx, Tally& tally) {
  TalDB::CTalDatabase unopened;
  if (unopened.open(ctx.root().c_str()) == 0) return;
  ctx.log().clear();
  unopened.repair();
  for (const LibraryLog::Entry& entry : ctx.log().entries()) {
    ctx.note() << entry.text << "\n";
    ++tally.changed;
  }
  ctx.log().clear();
}

// What is not a table's own: the hidden directory of a 'taldb create' cut
// short, and a data directory that a creation cut short never made (the
// store's repair makes it, as it would for a host).
void repairDatabase(Context& ctx, Tally& tally, bool dryRun) {
  std::string root = ctx.root();
  for (const std::string& name : creationLeftovers(root)) {
    (dryRun ? ctx.out() : ctx.note())
        << joinPath(root, name) << ": " << (dryRun ? "would be removed" : "removed")
        << ": what a 'taldb create' cut short left\n";
    ++tally.changed;
  }
  std::string data = joinPath(root, TalDB::kDataDir);
  bool missing = TalDB::IsDirectory(joinPath(root, TalDB::kSchemaDir).c_str()) && !pathExists(data);
  if (dryRun) {
    if (missing) ctx.out() << data << ": would be made: the database's creation was cut short\n";
    tally.changed += missing;
    return;
  }
  removeCreationLeftovers(root);
  if (!missing) return;
  ctx.log().clear();
  if (!TalDB::RepairDataDirectory(data.c_str()))
    throw Failure("repair: cannot make " + data + ": " + std::strerror(errno));
  for (const LibraryLog::Entry& entry : ctx.log().entries()) ctx.note() << entry.text << "\n";
  ++tally.changed;
  ctx.log().clear();
}

}  // namespace

static int cmdRepair(Context& ctx) {
  Tally tally;
  if (ctx.args().empty()) repairDatabase(ctx, tally, ctx.options().dryRun);
  if (ctx.args().empty() && !ctx.options().dryRun) repairUnopened(ctx, tally);
  std::vector<CTable*> tables = namedOrAllTables(ctx);
  bool dryRun = ctx.options().dryRun;
  int failed = 0;
  std::string failedTable;
  for (CTable* table : tables) {
    if (dryRun) {
      planTable(ctx.out(), *table, tally);
      continue;
    }
    int status = repairTable(ctx, *table, tally);
    if (status != 0 && failed == 0) {
      failed = status;
      failedTable = table->name();
    }
  }
  // A dry run's summary is what was asked for; a repair's is a confirmation.
  (dryRun ? ctx.out() : ctx.note())
      << (dryRun ? "dry run over " : "repaired ") << tables.size()
      << (tables.size() == 1 ? " table: " : " tables: ") << plural(tally.changed, "file", "files")
      << (dryRun ? " would change, " : " changed, ") << tally.left
      << (dryRun ? " would be left in place; nothing was changed\n" : " left in place\n");
  // The table directory that could not be read is reported after the others
  // were repaired; the status names the first such table.
  if (failed != 0) {
    throw Failure("repair " + failedTable + ": failed (status " + std::to_string(failed) +
                  "): " + describeStatus(failed));
  }
  return kExitOk;
}

extern const Command kRepairCommand;
const Command kRepairCommand = {
    "repair",
    "[TABLE] [--dry-run]",
    "finish or clean up the writes a crash interrupted",
    "For every table, or only TABLE: a leftover N.tmp holding a whole record whose record\n"
    "N is missing is renamed into place; one beside its record N is removed (that write\n"
    "never completed); one that is not a whole record is left for you to inspect; marked\n"
    "names are removed as 'recover' removes them. Each file is printed with what was done.\n"
    "--dry-run prints what would be done and changes nothing. Run it after an unclean\n"
    "stop, before the host starts writing again.\n",
    0,
    1,
    kOptRoot | kOptDryRun,
    cmdRepair};

}  // namespace taldb_cli
