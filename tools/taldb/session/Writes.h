// Values on their way from a person to the store. The store's record text
// (addRecord, the group write) and its assignment list (updateRecord) are
// comma-separated, so neither carries a value that holds a comma, though a
// record file holds one as it holds any other byte; and both trim blanks at
// the ends of every value. A record with a comma in a value is written
// through the table's columns instead; a value whose blanks the store would
// drop is refused unless --trim asks for the trimming.
#ifndef TALDB_TOOL_SESSION_WRITES_H
#define TALDB_TOOL_SESSION_WRITES_H

#include <stddef.h>

#include <string>
#include <utility>
#include <vector>

#include "input/Arguments.h"
#include "session/Context.h"

namespace taldb_cli {

// The records one group write takes: a batch is on disk before its ids are
// printed, and memory holds one batch, never a whole file.
constexpr size_t kBatchRecords = 2000;

// Whether a value holds a comma, so that no comma-separated text carries it.
bool holdsComma(const std::string& value);

// The value as the store keeps it: trimmed when trim (the store trims every
// value of a record text and of an assignment), else unchanged; a UsageError
// naming table and column when it has blanks at its ends and trim is off,
// since they would be lost without a word.
std::string keptValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value, bool trim);

// The values of a record, one per column (the id first when idFirst, else the
// columns after the first), as they will be stored: the count, the blanks,
// "|", the length and the type of each checked. UsageErrors.
std::vector<std::string> recordValues(const TalDB::CTable& table, std::vector<std::string> values,
                                      bool idFirst, bool trim);

// The assignments of an update as they will be stored, column and value, the
// last to a column winning; every column checked (one of the table's, not the
// first) and every value as recordValues checks it. UsageErrors.
std::vector<std::pair<std::string, std::string>> assignedValues(
    TalDB::CTable& table, const std::vector<Assignment>& assignments, bool trim);

// The message of an add that finds no id left.
std::string noIdLeft(const std::string& action);

// Writes a record through the table's columns: values holds one per column,
// the first the id (ignored when allocate, which allocates the next id as
// addRecord does). Returns the id written. A Failure when it was not written.
int writeThroughColumns(Context& ctx, TalDB::CTable& table, std::vector<std::string> values,
                        bool allocate, const std::string& action);

// Applies assignments to the record `name` and writes it through the
// columns, as updateRecord would were it able to carry the values. A Failure
// ("ACTION: no such record" when it went meanwhile) when it was not written.
void updateThroughColumns(Context& ctx, TalDB::CTable& table, const std::string& name,
                          const std::vector<std::pair<std::string, std::string>>& assigned,
                          const std::string& action);

// The table named by the first argument, with the record named by the second
// (into name) checked for a usable name and for being there.
TalDB::CTable& namedRecord(Context& ctx, std::string& name);
// Adds the table `name` of that schema line through the store's
// CheckAddTable, from a temporary description file: the way to a table that
// AddTable would not make with the same schema line (a bigint column). A
// Failure that names action when it was not made.
void addTableFromSchema(Context& ctx, TalDB::CTalDatabase& db, const std::string& name,
                        const std::string& schemaLine, const std::string& action);
// Whether the table directory holds an entry of that name.
bool recordFileExists(const TalDB::CTable& table, const std::string& name);
// The store deletes a record that is not there without complaint and would
// take a directory for a record: a Failure when the record `name` is no
// record file, whatever the command.
void requireRecord(Context& ctx, const TalDB::CTable& table, const std::string& name);
// A Failure when the record holds a value longer than the store keeps, which
// an update would write back cut.
void refuseLongValue(Context& ctx, const TalDB::CTable& table, const std::string& name);
// A Failure when the record holds more fields than the table has columns,
// which an update would write back without the rest.
void refuseExtraFields(Context& ctx, const TalDB::CTable& table, const std::string& name);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_WRITES_H
