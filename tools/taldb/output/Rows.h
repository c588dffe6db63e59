// Printing rows of text: an aligned table for a person, CSV and JSON for
// programs. Every cell is text, as the store keeps it; a column's kind tells
// JSON (and SQL) which values are numbers.
#ifndef TALDB_TOOL_OUTPUT_ROWS_H
#define TALDB_TOOL_OUTPUT_ROWS_H

#include <ostream>
#include <string>
#include <vector>

#include "input/ColumnRules.h"
#include "output/Csv.h"
#include "output/Json.h"

namespace taldb_cli {

// Ini and Sql are dump's alone: a description file and SQL statements.
enum class Format { Table, Csv, Json, Ini, Sql };

// A header of column names and rows of the same width; kinds, when given, has
// one entry per column (none: every column is text). An int or bigint
// column's values that fit its type are numbers to a program reading JSON or
// SQL; the store keeps them as text.
struct Rows {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
  std::vector<Kind> kinds;
};

// "table", "csv", "json", "ini" or "sql"; false for anything else.
bool parseFormat(const std::string& text, Format& format);

// How rows are printed: the format, and whether the table and CSV formats
// begin with their header line (--no-header leaves it out).
struct Style {
  Format format = Format::Table;
  bool header = true;
};

// Rows printed as they come, so that a listing of any size goes out without
// being held: the header (unless style says not), each row, then end(). The
// aligned table fixes its column widths by the header and the first
// kWidthRows rows; a wider cell after them is printed whole. In a named set
// (see beginNamedSet) JSON's array is indented as a member of the object.
class RowWriter {
 public:
  static constexpr size_t kWidthRows = 1000;
  RowWriter(std::ostream& out, const Style& style, std::vector<std::string> header,
            std::vector<Kind> kinds, bool inSet = false);
  void row(const std::vector<std::string>& cells);
  void end();

 private:
  void fixWidths();

  std::ostream& out_;
  Style style_;
  std::vector<std::string> header_;
  std::vector<Kind> kinds_;
  bool inSet_;
  size_t rows_ = 0;
  std::vector<size_t> widths_;  // empty until fixed
  std::vector<std::vector<std::string>> block_;
};

// Rows in the chosen format: a table with a header line, CSV with a header
// row, or a JSON array of objects keyed by the header.
void printRows(std::ostream& out, const Rows& rows, const Style& style);
// One record: "column  value" lines for a person, one CSV row with its header,
// or one JSON object.
void printRecord(std::ostream& out, const Rows& rows, const Style& style);
// Several named row sets (a dump of every table), each begun by
// beginNamedSet (index counting from 0) and its rows written through a
// RowWriter in the set: headed tables, CSV blocks that each begin with a
// "# name" line, or one JSON object keyed by name, closed by endNamedSets.
void beginNamedSet(std::ostream& out, const Style& style, size_t index, const std::string& name);
void endNamedSets(std::ostream& out, const Style& style, size_t count);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_ROWS_H
