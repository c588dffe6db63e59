// The commands that write records: add, put, update, delete and seed.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/Errors.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/Writes.h"
#include "store/Descriptions.h"
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

static int cmdAdd(Context& ctx) {
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

static int cmdPut(Context& ctx) {
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

static int cmdUpdate(Context& ctx) {
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

static int cmdDelete(Context& ctx) {
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

static int cmdSeed(Context& ctx) {
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
  int before = countRecordFiles(ctx, table, true);
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
    if (batch.size() == kBatchRecords) write();
  });
  if (!batch.empty()) write();
  ctx.note() << "seeded " << table.name() << " from " << file << ": "
             << plural(countRecordFiles(ctx, table, true), "record", "records") << " (" << before
             << " before)\n";
  return kExitOk;
}

extern const Command kAddCommand;
const Command kAddCommand = {
    "add",
    "TABLE VALUES",
    "add a record under the next free id and print the id",
    "VALUES are the columns after the first, in schema order: one argument read as a line\n"
    "of CSV ('web01,8080'; a value holding ',' or '\"' is quoted as CSV quotes it, doubling\n"
    "a '\"' inside: '\"1 Main St, Springfield\",8080'), or one argument each, taken whole\n"
    "(web01 8080). A value must not contain '|' or a line feed, nor be longer than 2047\n"
    "bytes; the number of values must match the schema. The store drops blanks at the\n"
    "ends of a value: such a value is refused with exit status 2, naming its column,\n"
    "unless --trim asks for it to be stored trimmed. A value of an int or bigint column is a "
    "whole number as it prints:\n"
    "an optional '-' and digits, no '+', no leading zero, no '-0', within the type's\n"
    "range (32 or 64 bits), never empty; anything else is refused with exit status 2.\n"
    "Put '--' before values that begin with '-'. When the next id would pass 2147483647\n"
    "add fails and writes nothing; 'put' writes under a free id.\n",
    2,
    kMany,
    kOptRoot | kOptTrim,
    cmdAdd};

extern const Command kPutCommand;
const Command kPutCommand = {
    "put",
    "TABLE ID,VALUES",
    "write a record under a given id, replacing any record of that id",
    "ID is a whole number from 0 to 2147483647, followed by the values of the other\n"
    "columns, given and checked as for 'add'.\n",
    2,
    kMany,
    kOptRoot | kOptTrim,
    cmdPut};

extern const Command kUpdateCommand;
const Command kUpdateCommand = {
    "update",
    "TABLE ID COLUMN=VALUE[,...]",
    "change columns of a record",
    "The first column is the record's name and cannot be updated; every column must be\n"
    "one of the table's, and a value of an int or bigint column a whole number as for\n"
    "'add'. Each argument is read as a line of CSV, so an assignment whose value holds ','\n"
    "or '\"' is quoted whole: '\"address=1 Main St, Springfield\",port=80'. Blanks at the\n"
    "ends of a value are refused unless --trim, as for 'add'. Prints the columns whose\n"
    "stored value changed. A record holding a value longer than 2047 bytes, or more fields\n"
    "than the table has columns, is not updated: it would be written back cut.\n",
    3,
    kMany,
    kOptRoot | kOptTrim,
    cmdUpdate};

extern const Command kDeleteCommand;
const Command kDeleteCommand = {"delete",
                                "TABLE ID",
                                "delete a record",
                                "Exit status 1 when the record file is still there afterwards.\n",
                                2,
                                2,
                                kOptRoot,
                                cmdDelete};

extern const Command kSeedCommand;
const Command kSeedCommand = {
    "seed",
    "TABLE FILE.ini",
    "add the records rec_1, rec_2, ... of the table's section in FILE",
    "Each seed record begins with its id; a record of the same id is replaced.\n",
    2,
    2,
    kOptRoot,
    cmdSeed};

}  // namespace taldb_cli
