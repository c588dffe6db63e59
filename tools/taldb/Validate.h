// The tool's checks of names and values. The store takes names and values as
// they come; these rules keep out what would escape the database root or not
// read back whole, and they run before the library is called.
#ifndef TALDB_TOOL_VALIDATE_H
#define TALDB_TOOL_VALIDATE_H

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

// The values of a record: one comma-separated argument, or one argument per
// value (which then must not hold a comma). Every value is checked.
std::vector<std::string> splitValues(const std::vector<std::string>& args);
std::string joinValues(const std::vector<std::string>& values);

// An id given on the command line for a new record: decimal digits (blanks
// around them allowed) naming a number from 0 to 2147483647, the ids the store
// writes under their own text.
int parseRecordId(const std::string& given);
// A whole number for an option such as --id.
int parseInteger(const std::string& text, const char* what);

// Assignments "column=value", in one or several arguments, comma-separated.
// Each needs an "=" and a column name, and its value is checked, so a comma
// inside a value is refused instead of silently becoming another assignment.
std::string parseAssignments(const std::vector<std::string>& args);

// A column specification for add-table: at least one item, and no character
// that would break the schema line ("|", "[", "]", line feed).
std::string checkColumnSpec(const std::vector<std::string>& args);

// Text in single quotes with line feeds shown as "\n", for messages.
std::string quoted(const std::string& text);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_VALIDATE_H
