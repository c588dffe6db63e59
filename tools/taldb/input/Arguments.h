// The tool's checks of names and values given on the command line. The store
// takes names and values as they come; these rules keep out what would escape
// the database root or not read back whole, and they run before the library
// is called. Each throws a UsageError.
#ifndef TALDB_TOOL_INPUT_ARGUMENTS_H
#define TALDB_TOOL_INPUT_ARGUMENTS_H

#include <string>
#include <vector>

namespace taldb_cli {

// A table name becomes a directory and a file name: it must not be empty, "."
// or "..", nor contain "/". Throws a UsageError.
void checkTableName(const std::string& name);
// A record name is a file name and the value of the first column: the rules of
// table names and of values together.
void checkRecordName(const std::string& name);
// A value is stored between "|" separators on one line and given to the store
// in comma-separated text: it must not contain "|", "," or a line feed.
void checkValue(const std::string& value);
// A value a record file holds between "|" separators: no "|" nor line feed.
// A comma it may hold; the tool then writes the record through its columns.
void checkFieldValue(const std::string& value);

// The values of a record: one argument read as a line of CSV (a cell that
// holds a comma is quoted: '"1 Main St, Springfield",80'), or one argument
// per value, taken whole. Each is checked with checkFieldValue.
std::vector<std::string> splitValues(const std::vector<std::string>& args);
// The values of a record text as the store splits and trims them (a trailing
// comma adds no value).
std::vector<std::string> storedValues(const std::string& text);
std::string joinValues(const std::vector<std::string>& values);
// The store's record text of values. Joined by ", ", since the store drops a
// trailing empty piece after a bare ","; a blank keeps a lone empty last
// value. The store trims every value, so neither reaches a record.
std::string recordText(const std::vector<std::string>& values);

// An id given on the command line for a new record: decimal digits (blanks
// around them allowed) naming a number from 0 to 2147483647, the ids the store
// writes under their own text.
int parseRecordId(const std::string& given);
// A whole number for an option such as --id.
int parseInteger(const std::string& text, const char* what);

// One assignment of an update: the text given ("port = 80"), the column it
// names (white space removed, as the store reads names) and the value after
// the first "=", as given.
struct Assignment {
  std::string given, column, value;
};
// Assignments "column=value" in one or several arguments, each read as a line
// of CSV, so an assignment whose value holds a comma is quoted whole, as CSV
// quotes a cell: '"address=1 Main St, Springfield",port=80'. Each needs an
// "=" and a column name, and its value is checked with checkFieldValue.
std::vector<Assignment> parseAssignments(const std::vector<std::string>& args);

// A column specification for add-table: at least one item, each NAME(TYPE)
// with a type of the store (int, bigint, varchar), no name twice, and no
// character that would break the schema line ("|", "[", "]", line feed).
struct ColumnSpec {
  std::string text;        // "id(int),name(varchar)", as the store's AddTable takes it
  std::string schemaLine;  // "id[int]|name[varchar]", as the schema file holds it
  bool bigint = false;     // whether a column is a bigint
};
ColumnSpec parseColumnSpec(const std::vector<std::string>& args);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_INPUT_ARGUMENTS_H
