// What an SQL dump cannot carry unchanged into PostgreSQL and SQLite: the
// rules the SQL dump refuses by and 'check' reports by.
#ifndef TALDB_TOOL_OUTPUT_SQLRULES_H
#define TALDB_TOOL_OUTPUT_SQLRULES_H

#include <string>
#include <vector>

#include "input/ColumnRules.h"

namespace taldb_cli {

// Why SQL would not take back the name names[index] the same (a table's or a
// column's, as kind says), among names, or "": not UTF-8, longer than
// PostgreSQL keeps, a name the databases keep, or the same to SQLite as an
// earlier one.
std::string sqlNameProblem(const std::vector<std::string>& names, size_t index, const char* kind);
// Why an SQL dump cannot hold a value of a column of that kind as it is, or
// "": text that is not UTF-8, a number that does not fit its type.
std::string sqlValueProblem(const std::string& value, Kind kind);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_SQLRULES_H
