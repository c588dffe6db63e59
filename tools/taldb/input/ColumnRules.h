// Whether a value fits a column, written once: no "|", not longer than the
// store keeps, and what an int or bigint column holds. The store keeps every
// value as text and checks none of it; the tool holds its writes to this rule,
// 'check' reports stored values that break it, and the exports lean on it: a
// value that obeys it is the very text the number prints as, so JSON and SQL
// can write it bare and any reader gets it back unchanged.
#ifndef TALDB_TOOL_INPUT_COLUMNRULES_H
#define TALDB_TOOL_INPUT_COLUMNRULES_H

#include <taldb/taldb.h>

#include <string>
#include <vector>

namespace taldb_cli {

// What a column holds: text (varchar), or whole numbers of 32 (int) or 64
// (bigint) bits.
enum class Kind { Text, Int, BigInt };

Kind kindOf(int columnType);
// The kind of each column of a table, in schema order.
std::vector<Kind> columnKinds(const TalDB::CTable& table);
// "varchar", "int" or "bigint", as schema lines write the type.
const char* kindWord(Kind kind);

// Why text is not a value of a column of that kind, or "" when it is. An int
// column takes exactly the texts that read back unchanged as a 32-bit integer,
// a bigint column as a 64-bit one: an optional '-' and digits, no '+', no
// leading zero, no "-0", within range. Empty is refused too: the store has no
// NULL, and a value that may be unknown belongs in a varchar column. A text
// column takes anything.
std::string typeProblem(const std::string& text, Kind kind);
// Whether text is a number as a column of that kind holds it; false for text
// columns, which hold no numbers.
bool isWholeNumber(const std::string& text, Kind kind);
// The largest id: the store names a record by its id as an int.
constexpr int kLargestId = 2147483647;
// Whether a record name is one the store writes: an id from 0 to kLargestId
// under its own text.
bool isRecordId(const std::string& name);

// A value for a column: no "|", and not longer than the store keeps. The
// message starts with where and names the column.
void checkColumnValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value);
// A UsageError, starting with where and naming table and column, when value
// does not fit the column's type.
void checkTypedValue(const std::string& where, const std::string& table,
                     const TalDB::CColumn& column, const std::string& value);
// Whether a value fits a column as the tool writes it: no "|", not longer
// than the store keeps, and of the column's type; the first problem is a
// UsageError starting with where. Every value a write gives goes through it.
void checkValueFits(const std::string& where, const TalDB::CTable& table,
                    const TalDB::CColumn& column, const std::string& value);
// Every value of a record text, as the store will store it (split and
// trimmed), against its column's type; idFirst as for checkRecordValues, which
// must have passed first. For every command that writes records.
void checkRecordTypes(const TalDB::CTable& table, const std::string& text, bool idFirst);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_INPUT_COLUMNRULES_H
