#include "session/Writes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/TemporaryFile.h"
#include "base/Text.h"
#include "input/SchemaChecks.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Files.h"
#include "taldb/CUtils.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

std::string trimmed(std::string text) {
  TalDB::CUtils::trim(&text[0]);
  return text.c_str();
}

}  // namespace

bool holdsComma(const std::string& value) { return value.find(',') != std::string::npos; }

std::string keptValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value, bool trim) {
  std::string kept = trimmed(value);
  if (kept == value || trim) return kept;
  throw UsageError(where + "the value " + quoted(value) + " of " + table + "." + column +
                   " has blanks at its ends, which the store drops; give it without them, or "
                   "add --trim to store it trimmed");
}

std::vector<std::string> recordValues(const CTable& table, std::vector<std::string> values,
                                      bool idFirst, bool trim) {
  const std::vector<CColumn*>& columns = table.columns();
  size_t first = idFirst ? 0 : 1;
  size_t expected = columns.size() - std::min(first, columns.size());
  if (values.size() != expected) {
    throw UsageError(schemaText(table.name(), table.columns()) + "; " +
                     plural(values.size(), "value", "values") + " given for " +
                     (first ? "the " + plural(expected, "column", "columns") + " after the first"
                            : "all of them, the id first"));
  }
  for (size_t i = 0; i < values.size(); ++i) {
    const CColumn& column = *columns[first + i];
    values[i] = keptValue("", table.name(), column.name(), values[i], trim);
    checkValueFits("", table, column, values[i]);
  }
  return values;
}

std::vector<std::pair<std::string, std::string>> assignedValues(
    CTable& table, const std::vector<Assignment>& assignments, bool trim) {
  std::vector<std::pair<std::string, std::string>> assigned;
  for (const Assignment& assignment : assignments) {
    const CColumn* column = table.getcolumn(assignment.column.c_str());
    std::string problem;
    if (column == nullptr)
      problem = "no column " + quoted(assignment.column);
    else if (column == table.columns().front())
      problem = "the first column " + quoted(assignment.column) +
                " names the record and is not changed by an update; write the record under the "
                "new id with 'put', then delete the old one";
    if (!problem.empty()) {
      throw UsageError("invalid assignment " + quoted(assignment.given) + ": " + problem + "; " +
                       schemaText(table.name(), table.columns()) + "; write COLUMN=VALUE[,...]");
    }
    std::string value =
        keptValue("invalid assignment: ", table.name(), column->name(), assignment.value, trim);
    checkValueFits("invalid assignment: ", table, *column, value);
    auto same = [&](const auto& entry) { return entry.first == assignment.column; };
    assigned.erase(std::remove_if(assigned.begin(), assigned.end(), same), assigned.end());
    assigned.push_back({assignment.column, value});
  }
  return assigned;
}

std::string noIdLeft(const std::string& action) {
  return action + ": no id is left: the next id would pass " + std::to_string(kLargestId) +
         " (a record of that id, or a negative or larger name, is in the table; see 'taldb "
         "check'); write the record under a free id with 'put'";
}

int writeThroughColumns(Context& ctx, CTable& table, std::vector<std::string> values, bool allocate,
                        const std::string& action) {
  // The lock every writer of the store takes on the table directory, held
  // exclusively from the choice of the id to the end of the write, as
  // addRecord holds it: an add in another process scans for the largest id
  // only once this record is in place, so no two processes take one id. The
  // id is chosen here rather than by an add of placeholder values rewritten
  // afterwards, which would leave a record with the wrong values on disk,
  // acknowledged, between the two writes and after a crash between them.
  // get_max_id and update take no lock of their own, so none waits on this
  // one; no method that takes the lock is called while it is held.
  TalDB::DirLock lock;
  lock.lockPath(table.path());
  if (allocate) {
    if (int error = directoryError(table.path())) {
      throw Failure(action + ": cannot read the table directory " + table.path() + ": " +
                    std::strerror(error));
    }
    unsigned int largest = table.get_max_id();
    if (largest >= static_cast<unsigned int>(kLargestId)) throw Failure(noIdLeft(action));
    values[0] = std::to_string(largest + 1);
  }
  const std::vector<CColumn*>& columns = table.columns();
  for (size_t i = 0; i < columns.size() && i < values.size(); ++i)
    ctx.require(columns[i]->SetData(values[i].c_str()), action);
  ctx.require(table.update(joinPath(table.path(), values[0]).c_str()), action);
  return std::stoi(values[0]);
}

void updateThroughColumns(Context& ctx, CTable& table, const std::string& name,
                          const std::vector<std::pair<std::string, std::string>>& assigned,
                          const std::string& action) {
  // Held as updateRecord holds it: from the test that the record is there to
  // the end of the write, so that an update in another process neither loses
  // this one nor has the record removed under it.
  TalDB::DirLock lock;
  lock.lockPath(table.path());
  std::string path = joinPath(table.path(), name);
  if (!pathExists(path)) throw Failure(action + ": no such record");
  ctx.require(table.readRecord(name.c_str()), action);
  for (const auto& entry : assigned)
    ctx.require(table.getcolumn(entry.first.c_str())->SetData(entry.second.c_str()), action);
  ctx.require(table.update(path.c_str()), action);
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

// The table named by the first argument, with the record named by the second
// checked for a usable name and for being there.
TalDB::CTable& namedRecord(Context& ctx, std::string& name) {
  name = ctx.arg(1);
  checkRecordName(name);
  TalDB::CTable& table = ctx.table(ctx.arg(0));
  requireRecord(ctx, table, name);
  return table;
}

void addTableFromSchema(Context& ctx, TalDB::CTalDatabase& db, const std::string& name,
                        const std::string& schemaLine, const std::string& action) {
  TemporaryFile description("table", "[" + name + "]\nschema = " + schemaLine + "\n", action);
  ctx.require(db.CheckAddTable(name.c_str(), description.path()), action);
}

}  // namespace taldb_cli
