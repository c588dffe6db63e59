#include "input/CsvReader.h"

#include <algorithm>
#include <sstream>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"

namespace taldb_cli {

namespace {

constexpr int kEnd = std::char_traits<char>::eof();

}  // namespace

void CsvReader::refuse(const std::string& problem) const {
  throw UsageError(source_ + " line " + std::to_string(row_.line) + ": " + problem);
}

// Just past the opening quote: up to the closing one.
std::string CsvReader::quotedCell() {
  std::string cell;
  for (int c; (c = in_.get()) != kEnd;) {
    if (c == '"') {
      if (in_.peek() != '"') return cell;
      in_.get();
    }
    if (c == '\n') ++line_;
    cell += static_cast<char>(c);
  }
  refuse("a quoted cell is not closed");
}

std::string CsvReader::plainCell() {
  std::string cell;
  for (int c; (c = in_.peek()) != kEnd && c != ',' && c != '\n';) {
    if (c == '"') refuse("a '\"' inside a cell that does not begin with one");
    cell += static_cast<char>(in_.get());
  }
  return cell;
}

const CsvRow* CsvReader::next() {
  if (!started_) {
    started_ = true;
    // A UTF-8 byte-order mark, as some spreadsheets write one.
    if (in_.peek() == 0xEF) {
      char mark[3];
      in_.read(mark, 3);
      if (in_.gcount() != 3 || std::string(mark, 3) != "\xEF\xBB\xBF")
        refuse("text that is not CSV");
    }
  }
  // Lines with nothing on them are passed over.
  for (int c; (c = in_.peek()) == '\n' || c == '\r';) {
    in_.get();
    if (c == '\n') ++line_;
  }
  if (in_.peek() == kEnd) return nullptr;
  row_.line = line_;
  row_.cells.clear();
  for (;;) {
    bool quoted = in_.peek() == '"';
    if (quoted) in_.get();
    row_.cells.push_back(quoted ? quotedCell() : plainCell());
    int c = in_.get();
    // "\r\n" ends a line as "\n" does.
    if (c == '\r' && (in_.peek() == '\n' || in_.peek() == kEnd)) c = in_.get();
    if (!quoted && c == kEnd && !row_.cells.back().empty() && row_.cells.back().back() == '\r')
      row_.cells.back().pop_back();
    if (c == kEnd) return &row_;
    if (c == '\n') {
      // A plain last cell keeps no "\r" of a "\r\n" line end.
      if (!quoted && !row_.cells.back().empty() && row_.cells.back().back() == '\r')
        row_.cells.back().pop_back();
      ++line_;
      return &row_;
    }
    if (c != ',') refuse("text after the closing quote of a cell");
  }
}

std::vector<std::string> csvLine(const std::string& text, const std::string& what) {
  std::istringstream in(text);
  std::string source = what + " " + quoted(text);
  CsvReader reader(in, source);
  try {
    const CsvRow* row = reader.next();
    return row != nullptr ? row->cells : std::vector<std::string>{""};
  } catch (const UsageError& error) {
    // The reader names a line of a file; an argument is one line.
    std::string problem = std::string(error.what()).substr(source.size());
    problem = problem.substr(std::min(problem.size(), problem.find(": ") + 2));
    throw UsageError("invalid " + source + ": " + problem +
                     "; quote a cell that holds ',' or '\"' as CSV does, doubling a '\"' "
                     "inside: '\"1 Main St, Springfield\"'");
  }
}

}  // namespace taldb_cli
