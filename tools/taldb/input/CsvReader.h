// The CSV that import reads: what the tool's own csv output writes, and what
// spreadsheets and other programs export. Cells are separated by ","; a cell
// that begins with '"' runs to the next lone '"' and doubles a '"' inside it,
// and may hold "," and line ends. Lines end in "\n" or "\r\n"; a UTF-8
// byte-order mark before the first line is passed over; lines with nothing on
// them (such as blank lines at the end) are no rows.
#ifndef TALDB_TOOL_INPUT_CSVREADER_H
#define TALDB_TOOL_INPUT_CSVREADER_H

#include <istream>
#include <string>
#include <vector>

namespace taldb_cli {

struct CsvRow {
  size_t line = 0;  // the line the row begins on, for messages
  std::vector<std::string> cells;
};

// Reads rows one at a time from a stream, so that a file of any length takes
// the memory of one row.
class CsvReader {
 public:
  // source names the input in messages ("rows.csv", "standard input").
  CsvReader(std::istream& in, const std::string& source) : in_(in), source_(source) {}

  // The next row, valid until the next call; null at the end of the input.
  // A malformed row is a UsageError naming its line.
  const CsvRow* next();

 private:
  [[noreturn]] void refuse(const std::string& problem) const;
  std::string quotedCell();
  std::string plainCell();

  std::istream& in_;
  std::string source_;
  size_t line_ = 1;
  bool started_ = false;
  CsvRow row_;
};

// The cells of one line of text read as a row of CSV, for values given on the
// command line: an empty line is one empty cell. A mistake is a UsageError
// that begins "invalid WHAT". The text must hold no line feed.
std::vector<std::string> csvLine(const std::string& text, const std::string& what);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_INPUT_CSVREADER_H
