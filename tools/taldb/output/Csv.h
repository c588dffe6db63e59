// CSV as the tool writes it: a cell quoted when it holds ",", '"', a line end
// or blanks at its ends, a '"' inside doubled.
#ifndef TALDB_TOOL_OUTPUT_CSV_H
#define TALDB_TOOL_OUTPUT_CSV_H

#include <ostream>
#include <string>
#include <vector>

namespace taldb_cli {

// One cell.
std::string csvCell(const std::string& text);
// A line of cells separated by ",".
void printCsvLine(std::ostream& out, const std::vector<std::string>& cells);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_CSV_H
