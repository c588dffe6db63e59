#include "Cli.h"
#include "StagedCreate.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Values.h"
#include "column/TypeWords.h"
#include "database/SectionList.h"
#include "database/SeedRecords.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/SchemaSeal.h"
#include "util/FileSystem.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

std::vector<std::string> argsFrom(const Context& ctx, size_t first) {
  const std::vector<std::string>& args = ctx.args();
  return std::vector<std::string>(args.begin() + std::min(first, args.size()), args.end());
}

std::string action(const Context& ctx) {
  std::string text = ctx.options().command;
  for (const std::string& arg : ctx.args()) text += " " + arg;
  return text;
}

bool recordFileExists(const CTable& table, const std::string& name) {
  return pathExists(joinPath(table.path(), name));
}

// The store deletes a record that is not there without complaint and would
// take a directory for a record; a person who names a record that does not
// exist, or an entry that is no record file, is told so, whatever the command.
void requireRecord(Context& ctx, const CTable& table, const std::string& name) {
  SettledTable settled(table);
  if (!recordFileExists(table, name)) throw Failure(action(ctx) + ": no such record");
  // The store's reader would follow a link to whatever file it names, and an
  // update would copy that file's first line into a record.
  if (isSymbolicLink(joinPath(table.path(), name)))
    throw Failure(action(ctx) + ": " + name +
                  " is a symbolic link, not a record file, and is "
                  "never followed; see 'taldb check'");
  if (TalDB::IsDirectory(joinPath(table.path(), name).c_str()))
    throw Failure(action(ctx) + ": " + name + " is a directory, not a record file");
}

// The store reads a value longer than it keeps cut and would write it back
// cut: such a record is not updated.
void refuseLongValue(Context& ctx, const CTable& table, const std::string& name) {
  long cut = longField(joinPath(table.path(), name));
  if (cut < 0 || static_cast<size_t>(cut) + 1 >= table.columns().size()) return;
  throw Failure(action(ctx) + ": the value of column " + table.columns()[cut + 1]->name() +
                " is longer than the " + std::to_string(TalDB::kValueLimit - 1) +
                " bytes the store keeps, and an update would write it back cut; see 'taldb "
                "check'");
}

// The store reads as many fields as the table has columns and writes back only
// those: a record holding more is not updated, rather than cut without a word.
void refuseExtraFields(Context& ctx, const CTable& table, const std::string& name) {
  long fields = countFields(joinPath(table.path(), name));
  long kept = static_cast<long>(table.columns().size()) - 1;
  if (fields <= kept) return;
  throw Failure(action(ctx) + ": record " + name + " of " + table.name() + " holds " +
                std::to_string(fields) + " fields where the table has " + std::to_string(kept) +
                " columns after the first, and an update would write it back without the rest; "
                "see 'taldb check'");
}

// The record files of a table, counted as the store counts them; skipped,
// when given, receives the number of other entries, which are then not named.
size_t countRecords(Context& ctx, CTable& table, size_t* skipped = nullptr) {
  return countRecordFiles(ctx, table, skipped == nullptr, skipped);
}

// Checks the table names of a description file (every section after the
// first) before the store creates anything. A file it cannot list is left
// for the store to report.
void checkDescriptionTables(Context& ctx, const std::string& file) {
  // A look-ahead of the tool's own, not an operation that was asked for:
  // what the library logs meanwhile is not shown, even with --verbose.
  LibraryLog quiet(false, ctx.err());
  TalDB::SectionList sections;
  if (sections.read(file.c_str()) != 0 || sections.next() == nullptr) return;
  while (const char* name = sections.next()) checkTableName(name);
  checkDescriptionRecords(file);
}

// "; cannot write DIR: reason" when this user may not make or remove entries
// in the directory, else "".
std::string unwritable(const std::string& dir) {
  if (access(dir.c_str(), W_OK | X_OK) == 0) return "";
  return "; cannot write " + dir + ": " + std::strerror(errno);
}

}  // namespace

std::string plural(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::vector<std::string> columnNames(const CTable& table) {
  std::vector<std::string> names;
  for (const CColumn* column : table.columns()) names.push_back(column->name());
  return names;
}

std::vector<std::string> currentValues(const CTable& table) {
  std::vector<std::string> values;
  for (const CColumn* column : table.columns())
    values.push_back(column->data() != nullptr ? column->data() : "");
  return values;
}

void currentValues(const CTable& table, std::vector<std::string>& values) {
  const std::vector<CColumn*>& columns = table.columns();
  values.resize(columns.size());
  for (size_t i = 0; i < columns.size(); ++i)
    values[i].assign(columns[i]->data() != nullptr ? columns[i]->data() : "");
}

std::vector<CTable*> sortedTables(TalDB::CTalDatabase& db) {
  std::vector<CTable*> tables = db.tables();
  std::sort(tables.begin(), tables.end(),
            [](const CTable* a, const CTable* b) { return std::strcmp(a->name(), b->name()) < 0; });
  return tables;
}

CTable& tableToWrite(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  TalDB::SchemaSeal seal = TalDB::CheckSchemaSeal(table.schemaPath());
  if (seal != TalDB::SchemaSeal::kWhole) {
    throw Failure(
        action(ctx) + ": " + table.schemaPath() + ": " + TalDB::DescribeSchemaSeal(seal) +
        "; no record of this table is written until it is whole again; see 'taldb check'");
  }
  return table;
}

std::vector<CTable*> namedOrAllTables(Context& ctx) {
  if (!ctx.args().empty()) return {&ctx.table(ctx.arg(0))};
  ctx.openDatabase();
  return sortedTables(ctx.db());
}

int cmdCreate(Context& ctx) {
  const Options& options = ctx.options();
  std::string description = ctx.arg(0);
  int id = options.id.empty() ? 1 : parseInteger(options.id, "id");
  if (options.given & kOptCreate) checkValue(options.host);
  checkDescriptionTables(ctx, description);

  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  std::string unreadable = status == 10 ? unreadableRoot(root) : "";
  if (!unreadable.empty()) throw Failure("create: " + unreadable);
  if (status != 10) throw Failure("create: a database exists already under " + root);
  createStaged(ctx, root, description, id, options.host.empty() ? nullptr : options.host.c_str());

  std::string names;
  for (const CTable* table : sortedTables(ctx.db())) names += std::string(" ") + table->name();
  ctx.note() << "created a database under " << root << " (id " << ctx.db().id() << ", host "
             << ctx.db().host() << ") with " << plural(ctx.db().tableCount(), "table", "tables")
             << (names.empty() ? "" : ":") << names << "\n";
  return kExitOk;
}

int cmdTables(Context& ctx) {
  ctx.openDatabase();
  Rows rows;
  rows.header = {"table", "columns", "records"};
  rows.kinds = {Kind::Text, Kind::BigInt, Kind::BigInt};
  std::string unreadable;
  for (CTable* table : sortedTables(ctx.db())) {
    std::string count = "?";
    try {
      size_t skipped = 0;
      count = std::to_string(countRecords(ctx, *table, &skipped));
      // What is no record file is said, not counted.
      if (skipped != 0) {
        ctx.err() << "taldb: " << table->name() << ": "
                  << plural(skipped, "entry is", "entries are")
                  << " not a record file and not counted; see 'taldb list " << table->name()
                  << "'\n";
      }
    } catch (const Failure& failure) {
      // Its message ends with the reason the directory could not be opened.
      std::string why = failure.what();
      unreadable += std::string(" ") + table->name() + " (" + why.substr(why.rfind(": ") + 2) + ")";
    }
    rows.rows.push_back({table->name(), std::to_string(table->columns().size()), count});
  }
  printRows(ctx.out(), rows, ctx.style());
  if (!unreadable.empty()) {
    throw Failure("tables: cannot read the directory of" + unreadable + "; run 'taldb check'");
  }
  return kExitOk;
}

int cmdSchema(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  Rows rows;
  rows.header = {"position", "column", "type"};
  int position = 0;
  for (const CColumn* column : table.columns())
    rows.rows.push_back(
        {std::to_string(++position), column->name(), TalDB::TypeWordOf(column->type(), "none")});
  printRows(ctx.out(), rows, ctx.style());
  return kExitOk;
}

int cmdList(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  bool filtered = ctx.args().size() > 1;
  std::string condition = ctx.arg(1);
  // The store ends a condition silently at a term it cannot read and finds
  // nothing for a column it does not have; a person is told instead.
  if (filtered) checkTerms(table, condition, "condition");
  RowWriter writer(ctx.out(), ctx.style(), columnNames(table), columnKinds(table));
  listRecords(ctx, table, filtered ? condition.c_str() : nullptr,
              [&](const std::vector<std::string>& values) {
                writer.row(values);
                // A reader that has gone ("| head") ends the walk.
                return static_cast<bool>(ctx.out());
              });
  writer.end();
  return kExitOk;
}

namespace {

// The table named by the first argument, with the record named by the second
// checked for a usable name and for being there.
CTable& namedRecord(Context& ctx, std::string& name) {
  name = ctx.arg(1);
  checkRecordName(name);
  CTable& table = ctx.table(ctx.arg(0));
  requireRecord(ctx, table, name);
  return table;
}

}  // namespace

int cmdGet(Context& ctx) {
  std::string name;
  CTable& table = ctx.table(ctx.arg(0));
  {
    // One hold from the look for the record to its read, so that a delete in
    // another process cannot come between them.
    SettledTable settled(table);
    namedRecord(ctx, name);
    ctx.require(table.readRecord(name.c_str()), action(ctx));
  }
  Rows rows{columnNames(table), {currentValues(table)}, columnKinds(table)};
  if (ctx.args().size() < 3) {
    printRecord(ctx.out(), rows, ctx.style());
    return kExitOk;
  }
  for (size_t i = 0; i < rows.header.size(); ++i) {
    if (rows.header[i] == ctx.arg(2)) {
      const std::string& value = rows.rows[0][i];
      // A program that asked for JSON parses what it gets.
      ctx.out() << (ctx.style().format == Format::Json ? jsonValue(value, rows.kinds[i]) : value)
                << "\n";
      return kExitOk;
    }
  }
  throw Failure(action(ctx) + ": table " + table.name() + " has no column " + quoted(ctx.arg(2)));
}

int cmdCount(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  ctx.out() << countRecords(ctx, table) << "\n";
  return kExitOk;
}

int cmdAdd(Context& ctx) {
  std::vector<std::string> given = splitValues(argsFrom(ctx, 1));
  CTable& table = tableToWrite(ctx);
  std::vector<std::string> values = recordValues(table, given, false, ctx.options().trim);
  int id = 0;
  if (std::any_of(values.begin(), values.end(), holdsComma)) {
    values.insert(values.begin(), "");
    id = writeThroughColumns(ctx, table, values, true, action(ctx));
  } else {
    // The store counts ids in 32 unsigned bits and names the file by the int:
    // past the largest id it would write a negative name. With the limit it
    // refuses instead, under the same lock as its scan for the largest id.
    int status = table.addRecord(recordText(values).c_str(), &id, kLargestId);
    if (status == 15) throw Failure(noIdLeft(action(ctx)));
    // A write the store acknowledged is on disk: nothing is read back.
    ctx.require(status, action(ctx));
  }
  ctx.wrote(action(ctx) + ": the record was written under id " + std::to_string(id));
  ctx.out() << id << "\n";
  return kExitOk;
}

int cmdPut(Context& ctx) {
  std::vector<std::string> given = splitValues(argsFrom(ctx, 1));
  given.front() = std::to_string(parseRecordId(given.front()));
  CTable& table = tableToWrite(ctx);
  std::vector<std::string> values = recordValues(table, given, true, ctx.options().trim);
  bool replaced = recordFileExists(table, values.front());
  if (replaced) requireRecord(ctx, table, values.front());
  if (std::any_of(values.begin(), values.end(), holdsComma))
    writeThroughColumns(ctx, table, values, false, action(ctx));
  else
    ctx.require(table.addRecord(recordText(values).c_str(), nullptr, 0), action(ctx));
  ctx.wrote(action(ctx) + ": record " + values.front() + " of " + table.name() + " was written");
  ctx.note() << "wrote record " << values.front() << " of " << table.name()
             << (replaced ? " (replaced the earlier one)" : "") << "\n";
  return kExitOk;
}

namespace {

// The value of a column of the table's current record.
std::string currentValue(CTable& table, const std::string& column) {
  const CColumn* found = table.getcolumn(column.c_str());
  return found != nullptr && found->data() != nullptr ? found->data() : "";
}

// The assignment list the store's updateRecord takes.
std::string assignmentText(const std::vector<std::pair<std::string, std::string>>& assigned) {
  std::vector<std::string> terms;
  for (const auto& entry : assigned) terms.push_back(entry.first + "=" + entry.second);
  return joinValues(terms);
}

}  // namespace

int cmdUpdate(Context& ctx) {
  std::vector<Assignment> given = parseAssignments(argsFrom(ctx, 2));
  checkRecordName(ctx.arg(1));
  std::vector<std::pair<std::string, std::string>> assigned =
      assignedValues(ctx.table(ctx.arg(0)), given, ctx.options().trim);
  std::string name;
  CTable& table = tableToWrite(ctx);
  std::vector<std::string> before;
  {
    SettledTable settled(table);
    namedRecord(ctx, name);
    refuseLongValue(ctx, table, name);
    refuseExtraFields(ctx, table, name);
    ctx.require(table.readRecord(name.c_str()), action(ctx));
    for (const auto& entry : assigned) before.push_back(currentValue(table, entry.first));
  }
  bool comma = std::any_of(assigned.begin(), assigned.end(),
                           [](const auto& entry) { return holdsComma(entry.second); });
  if (comma) {
    updateThroughColumns(ctx, table, name, assigned, action(ctx));
  } else {
    // A record deleted by another process since it was read is not there to
    // update, and that is what the store's 7 says.
    int status = table.updateRecord(name.c_str(), assignmentText(assigned).c_str());
    if (status == 7) throw Failure(action(ctx) + ": no such record");
    ctx.require(status, action(ctx));
  }
  // The store wrote the assigned values, so what it wrote is known without
  // reading it back.
  std::string changed;
  for (size_t i = 0; i < assigned.size(); ++i)
    if (before[i] != assigned[i].second)
      changed += (changed.empty() ? "" : ", ") + assigned[i].first;
  ctx.wrote(action(ctx) + ": record " + name + " of " + table.name() + " was updated");
  ctx.note() << "updated record " << name << " of " << table.name()
             << (changed.empty() ? " (no value changed)" : " (changed: " + changed + ")") << "\n";
  return kExitOk;
}

int cmdDelete(Context& ctx) {
  std::string name;
  CTable& table = namedRecord(ctx, name);
  FileIdentity before = fileIdentity(joinPath(table.path(), name));
  try {
    ctx.require(table.deleteRecord(name.c_str()), action(ctx));
  } catch (const Failure& failure) {
    throw Failure(failure.what() + unwritable(table.path()));
  }
  // The store does not say whether the file went. A file of that name now is
  // the same one only when nothing about it changed: an add in another
  // process may have taken the name again since, with a file of its own.
  if (before.exists && fileIdentity(joinPath(table.path(), name)) == before) {
    throw Failure(action(ctx) + ": the record file " + joinPath(table.path(), name) +
                  " could not be removed and is still there" + unwritable(table.path()));
  }
  ctx.note() << "deleted record " << name << " of " << table.name() << "\n";
  return kExitOk;
}

namespace {

// The seed records of a table's section, as the store's seeding reads them,
// each passed to use; a placeholder that cannot be replaced is a Failure.
template <class Use>
void forEachSeedRecord(Context& ctx, const CTable& table, const std::string& file, Use use) {
  TalDB::SeedRecords records(table.name(), file.c_str(), ctx.db().id(), ctx.db().host());
  char record[TalDB::SeedRecords::kRecordSize];
  const char* placeholder = nullptr;
  for (int n = 1;; ++n) {
    TalDB::SeedRecords::Result next = records.next(record, &placeholder);
    if (next == TalDB::SeedRecords::kEnd) return;
    if (next == TalDB::SeedRecords::kCannotReplace) {
      throw Failure(action(ctx) + ": rec_" + std::to_string(n) + ": " + placeholder +
                    " cannot be replaced: the record would pass " +
                    std::to_string(TalDB::SeedRecords::kRecordSize - 1) + " bytes");
    }
    use(n, std::string(record));
  }
}

}  // namespace

int cmdSeed(Context& ctx) {
  CTable& table = tableToWrite(ctx);
  std::string file = ctx.arg(1);
  // The store reads an unreadable file as one without records and adds
  // nothing; a person who named a file wants to hear that it is not there.
  if (access(file.c_str(), R_OK) != 0)
    throw Failure(action(ctx) + ": cannot read " + file + ": " + std::strerror(errno));
  // Every record is checked before the first is written, then they are
  // written in batches through the group write, each replacing a record of
  // its id as seeding does.
  forEachSeedRecord(ctx, table, file, [&](int n, const std::string& record) {
    try {
      checkRecordValues(table, record, true);
      checkRecordTypes(table, record, true);
    } catch (const UsageError& error) {
      throw UsageError(file + ": rec_" + std::to_string(n) + ": " + error.what());
    }
  });
  int before = countRecords(ctx, table);
  std::vector<std::string> batch;
  auto write = [&] {
    std::vector<const char*> texts;
    for (const std::string& text : batch) texts.push_back(text.c_str());
    ctx.require(
        table.addRecords(texts.data(), static_cast<int>(texts.size()), nullptr, false, nullptr),
        action(ctx));
    batch.clear();
  };
  forEachSeedRecord(ctx, table, file, [&](int, const std::string& record) {
    batch.push_back(record);
    if (batch.size() == 2000) write();
  });
  if (!batch.empty()) write();
  ctx.note() << "seeded " << table.name() << " from " << file << ": "
             << plural(countRecords(ctx, table), "record", "records") << " (" << before
             << " before)\n";
  return kExitOk;
}

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
  const char* tmp = std::getenv("TMPDIR");
  std::string path = std::string(tmp != nullptr && *tmp ? tmp : "/tmp") + "/taldb-table-XXXXXX";
  int fd = mkstemp(&path[0]);
  std::string text = "[" + name + "]\nschema = " + spec.schemaLine + "\n";
  ssize_t got = fd >= 0 ? write(fd, text.data(), text.size()) : -1;
  std::string why = got < 0 ? std::strerror(errno) : "only part of it was written";
  bool written = got == static_cast<ssize_t>(text.size());
  if (fd >= 0) close(fd);
  int status = written ? ctx.db().CheckAddTable(name.c_str(), path.c_str()) : -1;
  if (fd >= 0) unlink(path.c_str());
  if (!written) throw Failure(action(ctx) + ": cannot write a temporary file " + path + ": " + why);
  ctx.require(status, action(ctx));
}

}  // namespace

int cmdAddTable(Context& ctx) {
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

int cmdDropTable(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  std::string name = table.name();
  requireReadableDirectory(action(ctx), table);
  ctx.require(ctx.db().DropTable(name.c_str()), action(ctx));
  ctx.note() << "dropped table " << name << "\n";
  return kExitOk;
}

int cmdClear(Context& ctx) {
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

int cmdDrop(Context& ctx) {
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

int cmdRecover(Context& ctx) {
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

int cmdDump(Context& ctx) {
  // A dump is a copy: what it leaves out fails it, once the rest is written.
  LeftOut leftOut(ctx);
  bool named = !ctx.args().empty();
  Style style = ctx.style();
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, named);
  for (size_t i = 0; i < tables.size(); ++i) {
    CTable& table = *tables[i];
    if (!named) beginNamedSet(ctx.out(), style, i, table.name());
    RowWriter writer(ctx.out(), style, columnNames(table), columnKinds(table), !named);
    copyRecords(ctx, table, leftOut, [&](const std::vector<std::string>& values) {
      writer.row(values);
      return static_cast<bool>(ctx.out());
    });
    writer.end();
  }
  if (!named) endNamedSets(ctx.out(), style, tables.size());
  leftOut.finish("dump", "this dump is not whole");
  return kExitOk;
}

}  // namespace taldb_cli
