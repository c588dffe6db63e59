// Printing rows of text: an aligned table for a person, CSV and JSON for
// programs. Every cell is text, as the store keeps it.
#ifndef TALDB_TOOL_OUTPUT_H
#define TALDB_TOOL_OUTPUT_H

#include <ostream>
#include <string>
#include <vector>

namespace taldb_cli {

enum class Format { Table, Csv, Json };

// A header of column names and rows of the same width.
struct Rows {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
};

// "table", "csv" or "json"; false for anything else.
bool parseFormat(const std::string& text, Format& format);

// Rows in the chosen format: a table with a header line, CSV with a header
// row, or a JSON array of objects keyed by the header.
void printRows(std::ostream& out, const Rows& rows, Format format);
// One record: "column  value" lines for a person, one CSV row with its header,
// or one JSON object.
void printRecord(std::ostream& out, const Rows& rows, Format format);
// Several named row sets (a dump of every table): headed tables, CSV blocks
// that each begin with a "# name" line, or one JSON object keyed by name.
void printNamedRows(std::ostream& out, const std::vector<std::pair<std::string, Rows>>& sets,
                    Format format);

std::string csvCell(const std::string& text);
std::string jsonString(const std::string& text);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_H
