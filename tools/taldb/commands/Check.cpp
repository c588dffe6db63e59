// taldb check: a read-only inspection of the directories and files under a
// database root, each problem reported with whether repair fixes it.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/Errors.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "output/SqlRules.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/StagedCreate.h"
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

namespace {

using TalDB::kDataDir;
using TalDB::kSchemaDir;

// What a check finding of a leftover or a marked name says; repair decides
// the same way when it acts.
std::string leftoverFinding(TalDB::RepairAction action) {
  switch (action) {
    case TalDB::RepairAction::kRemoveMarked:
      return "marked name, never a record; 'taldb repair' or 'taldb recover' removes it";
    case TalDB::RepairAction::kFinishWrite:
      return "whole record left by an interrupted write, its record missing; "
             "'taldb repair' renames it into place";
    case TalDB::RepairAction::kDropStale:
      return "leftover of an interrupted write beside its record; 'taldb repair' removes it";
    case TalDB::RepairAction::kDropTorn:
      return "leftover of an interrupted write, not a whole record, so never acknowledged; "
             "'taldb repair' removes it";
    default:
      return "";
  }
}

// What a check finding of a symbolic link in a table directory says, with
// what repair does with an entry of its name; the link itself is not read.
std::string linkFinding(const std::string& name) {
  std::string text =
      "a symbolic link where only record files belong: dump and backup leave it "
      "out and never follow it; ";
  if (TalDB::IsMarkedName(name.c_str()))
    return text + "'taldb repair' and 'taldb recover' remove the link, never what it points to";
  return text + "'taldb repair' leaves it alone: remove the link by hand";
}

// What a finding adds when an SQL dump refuses what it names.
const char* const sqlRefuses = ", which 'taldb dump --format sql' refuses";

class Inspector {
 public:
  Inspector(Context& ctx, const std::string& root) : ctx_(ctx), root_(root) {}

  // Prints each finding as it is made, so that memory does not grow with the
  // tables; returns how many there were.
  size_t run() {
    for (const std::string& name : creationLeftovers(root_))
      report(name, "what a 'taldb create' cut short left; 'taldb repair' removes it");
    std::vector<std::string> schemas = entries(kSchemaDir, "schema directory");
    // A database creation cut short between its two directories.
    if (!pathExists(at(kDataDir))) {
      report(kDataDir,
             "data directory missing: the database's creation was cut short; "
             "'taldb repair' makes it");
      for (const std::string& name : schemas) inspectTable(name);
      flush();
      return findings_;
    }
    std::vector<std::string> directories = entries(kDataDir, "data directory");
    for (size_t i = 0; i < schemas.size(); ++i) {
      // What an SQL dump would refuse of the names, known before any record.
      std::string problem = sqlNameProblem(schemas, i, "table");
      if (!problem.empty())
        reportUnrepaired(
            joinPath(kSchemaDir, schemas[i]),
            "the table name " + quoted(shownText(schemas[i])) + " " + problem + sqlRefuses);
      inspectTable(schemas[i]);
    }
    for (const std::string& name : directories) {
      if (!std::binary_search(schemas.begin(), schemas.end(), name))
        reportUnrepaired(joinPath(kDataDir, name), "table directory without a schema file");
    }
    flush();
    return findings_;
  }

 private:
  std::string at(const std::string& relative) const { return joinPath(root_, relative); }

  // The entries of a directory under the root. One that cannot be read is a
  // finding of its own, not an empty directory that hides what it holds.
  std::vector<std::string> entries(const std::string& relative, const char* what) {
    std::vector<std::string> names;
    if (!readDirectory(at(relative), names)) {
      reportUnrepaired(relative, std::string(what) + " cannot be read (" + std::strerror(errno) +
                                     "), so what it holds is not checked");
    }
    return names;
  }

  void report(const std::string& where, const std::string& what) {
    pending_ += where + ": " + what + "\n";
    ++findings_;
  }
  void flush() {
    ctx_.out() << pending_;
    pending_.clear();
  }
  // A problem that repair leaves alone says so, so that nobody runs it in vain.
  void reportUnrepaired(const std::string& where, const std::string& what) {
    report(where, what + "; 'taldb repair' does not fix it");
  }

  void inspectTable(const std::string& name) {
    std::string schema = joinPath(kSchemaDir, name), data = joinPath(kDataDir, name);
    if (TalDB::IsDirectory(at(schema).c_str()))
      return reportUnrepaired(schema, "a directory, not a schema file");
    TalDB::SchemaSeal seal = TalDB::CheckSchemaSeal(at(schema).c_str());
    if (!pathExists(at(data))) {
      // A creation cut short after the schema: the table never held a record.
      // Repair finishes it when the schema file is whole and undoes it when
      // the cut came while the file was written.
      if (seal == TalDB::SchemaSeal::kWhole)
        return report(schema, "schema file without a table directory; 'taldb repair' makes it");
      return report(schema, std::string(TalDB::DescribeSchemaSeal(seal)) +
                                ", and the table has no directory: its creation was cut short "
                                "and it never held a record; 'taldb repair' removes the schema "
                                "file");
    }
    TalDB::CTable table(root_.c_str(), name.c_str());
    int status = table.Open();
    if (status != 0) {
      reportUnrepaired(schema, "schema file cannot be loaded (status " + std::to_string(status) +
                                   ": " + ctx_.log().explain(status) + ")");
      ctx_.log().clear();
      return;
    }
    if (seal != TalDB::SchemaSeal::kWhole) {
      reportUnrepaired(schema, std::string(TalDB::DescribeSchemaSeal(seal)) +
                                   "; the tool writes no record of this table");
    }
    long defined = countFields(at(schema));
    if (static_cast<long>(table.columns().size()) < defined) {
      reportUnrepaired(schema, "schema line does not parse whole (" +
                                   std::to_string(table.columns().size()) + " of " +
                                   std::to_string(defined) + " column definitions load)");
    }
    std::vector<std::string> columns = columnNames(table);
    for (size_t i = 0; i < columns.size(); ++i) {
      std::string problem = sqlNameProblem(columns, i, "column");
      if (!problem.empty())
        reportUnrepaired(schema, "the column name " + quoted(shownText(columns[i])) + " " +
                                     problem + sqlRefuses);
    }
    if (!TalDB::IsDirectory(at(data).c_str()))
      return reportUnrepaired(schema, data + " is not a directory");
    inspectRecords(table, data);
  }

  // A write under way is not a leftover: it is waited for. The entries are
  // inspected a block at a time with the table held still, and the findings
  // printed once it is released, so that a writer never waits for the reader
  // of the output.
  void inspectRecords(TalDB::CTable& table, const std::string& data) {
    EntryNames names;
    {
      SettledTable settled(table);
      if (!names.read(at(data))) {
        reportUnrepaired(data, std::string("table directory cannot be read (") +
                                   std::strerror(errno) + "), so what it holds is not checked");
      }
    }
    std::unique_ptr<SettledTable> settled;
    size_t held = 0;
    names.forEach([&](const std::string& name) {
      if (!settled) settled.reset(new SettledTable(table));
      inspectEntry(table, data, name);
      if (++held % kBlockRecords == 0) {
        settled.reset();
        flush();
      }
      return true;
    });
    settled.reset();
    flush();
    ctx_.log().clear();
  }

  void inspectEntry(TalDB::CTable& table, const std::string& data, const std::string& name) {
    {
      std::string where = joinPath(data, name);
      // Neither a link nor a FIFO or device is read, not even to plan repair:
      // the check may run as root, a link may point at any file of the
      // system, and a FIFO would wait for a writer forever.
      struct stat entry;
      bool looked = lstat(at(where).c_str(), &entry) == 0;
      // Deleted since the names were listed: no longer part of the table.
      if (!looked && errno == ENOENT) return;
      if (looked && S_ISLNK(entry.st_mode)) return report(where, linkFinding(name));
      // A marked name is removed by its name alone.
      if (looked && !S_ISREG(entry.st_mode) && !S_ISDIR(entry.st_mode) &&
          !TalDB::IsMarkedName(name.c_str())) {
        return reportUnrepaired(where,
                                entryKind(entry.st_mode) + " where only record files belong");
      }
      TalDB::RepairAction action =
          TalDB::PlanRepair(table.path(), name.c_str(), table.columns().size());
      if (action != TalDB::RepairAction::kNone) {
        report(where, leftoverFinding(action));
      } else if (TalDB::IsDirectory(at(where).c_str())) {
        reportUnrepaired(where, "a directory where only record files belong");
      } else {
        inspectRecord(table, where, name);
      }
    }
  }

  // The store's own reader decides; the file is looked at only to say why.
  void inspectRecord(TalDB::CTable& table, const std::string& where, const std::string& name) {
    int status = table.readRecord(name.c_str());
    if (status != 0) return reportUnrepaired(where, unreadableRecord(table, at(where), status));
    // The store counts a name as its unsigned number: a negative one (what an
    // add past the largest id writes) or a larger one leaves no id for the
    // next add, and any other name is no record the store writes.
    if (!isRecordId(name)) {
      bool negative = name[0] == '-' && name.size() > 1 &&
                      name.find_first_not_of("0123456789", 1) == std::string::npos;
      reportUnrepaired(where, negative ? "negative record name, as an add past id 2147483647 "
                                         "writes; no add gets an id while it is there"
                                       : "record name is not an id from 0 to 2147483647 "
                                         "written plainly");
    }
    // The store reads as many fields as there are columns and writes back
    // only those: an update would drop the rest without a word.
    const std::vector<TalDB::CColumn*>& columns = table.columns();
    long fields = countFields(at(where)), kept = static_cast<long>(columns.size()) - 1;
    if (fields > kept) {
      reportUnrepaired(where,
                       "record has more fields than its table has columns after the first (" +
                           std::to_string(fields) + " for " + std::to_string(kept) +
                           "): reads see the first " + std::to_string(kept) +
                           ", and 'taldb update' refuses it, since the store would write it "
                           "back without the rest");
    }
    // Hosts write values through the library, which checks no type.
    for (size_t i = 1; i < columns.size(); ++i) {
      std::string value = columns[i]->data() != nullptr ? columns[i]->data() : "";
      Kind kind = kindOf(columns[i]->type());
      std::string problem = sqlValueProblem(value, kind);
      if (!problem.empty()) {
        reportUnrepaired(where, "the value " + quoted(shownText(value)) + " of column " +
                                    columns[i]->name() + " (" + kindWord(kind) + ") " + problem +
                                    (kind == Kind::Text ? sqlRefuses : ""));
      }
    }
    long cut = longField(at(where));
    if (cut < 0) return;
    report(where,
           "the value of column " +
               std::string(
                   table.columns()[std::min<size_t>(cut + 1, table.columns().size() - 1)]->name()) +
               " is longer than the " + std::to_string(TalDB::kValueLimit - 1) +
               " bytes a value keeps: the next read or update cuts it; 'taldb repair' "
               "does not fix it: copy the value out of the file, then store a shorter one");
  }

  Context& ctx_;
  std::string root_;
  size_t findings_ = 0;
  std::string pending_;  // findings not printed yet
};

}  // namespace

static int cmdCheck(Context& ctx) {
  std::string root = ctx.rootPath();
  std::string unreadable = unreadableRoot(root);
  if (!unreadable.empty()) throw Failure(unreadable);
  if (!TalDB::IsDirectory(joinPath(root, kSchemaDir).c_str()))
    throw Failure("no database under " + root + " (no tal/schema directory)");
  size_t findings = Inspector(ctx, root).run();
  if (findings == 0) {
    ctx.note() << "no problems found under " << root << "\n";
    return kExitOk;
  }
  ctx.out() << plural(findings, "problem", "problems") << " found under " << root << "\n";
  return kExitFailed;
}

extern const Command kCheckCommand;
const Command kCheckCommand = {
    "check",
    "",
    "report problems on disk without changing anything",
    "Reports marked names, .tmp leftovers of interrupted writes, records that cannot be\n"
    "read, have too few or too many fields or hold a value longer than 2047 bytes, table\n"
    "directories that cannot be read, record names that\n"
    "are not ids (negative ones among them), values that do not fit their column's type\n"
    "(as 'add' checks it), text and names that --format sql refuses, schema files that\n"
    "do not load whole, and table directories\n"
    "and schema files without each other, and symbolic links, FIFOs and devices in table\n"
    "directories, which it never follows nor opens (repair does not remove a link: remove\n"
    "it by hand), and says of each whether 'taldb repair' fixes it. Exit status 1 when it\n"
    "finds any.\n",
    0,
    0,
    kOptRoot,
    cmdCheck};

}  // namespace taldb_cli
