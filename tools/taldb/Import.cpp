// import: the rows of a CSV file added to a table. The whole file is read and
// every row checked before the first record is written, so that a file with a
// mistake in its last line leaves the table as it was.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "Cli.h"
#include "util/Path.h"

namespace taldb_cli {

namespace {

struct CsvRow {
  size_t line;  // where the row begins, for messages
  std::vector<std::string> cells;
};

struct CsvReader {
  const std::string& text;
  const std::string& source;
  size_t at = 0;
  size_t line = 1;

  [[noreturn]] void refuse(size_t where, const std::string& problem) const {
    throw UsageError(source + " line " + std::to_string(where) + ": " + problem);
  }

  // A cell in double quotes, which doubles a quote inside it, as csvCell
  // writes one; at is just past the opening quote.
  std::string quotedCell(size_t start) {
    std::string cell;
    for (; at < text.size(); ++at) {
      if (text[at] == '"' && (at + 1 >= text.size() || text[at + 1] != '"')) {
        ++at;
        return cell;
      }
      if (text[at] == '"') ++at;
      if (text[at] == '\n') ++line;
      cell += text[at];
    }
    refuse(start, "a quoted cell is not closed");
  }

  std::string plainCell(size_t start) {
    std::string cell;
    for (; at < text.size() && text[at] != ',' && text[at] != '\n'; ++at) {
      if (text[at] == '"') refuse(start, "a '\"' inside a cell that does not begin with one");
      cell += text[at];
    }
    // A file with "\r\n" line ends.
    if (at < text.size() && text[at] == '\n' && !cell.empty() && cell.back() == '\r')
      cell.pop_back();
    return cell;
  }

  // The cells up to the end of the line (a line feed outside quotes).
  CsvRow row() {
    CsvRow row{line, {}};
    for (;;) {
      bool quoted = at < text.size() && text[at] == '"';
      if (quoted) ++at;
      row.cells.push_back(quoted ? quotedCell(row.line) : plainCell(row.line));
      if (quoted && text.compare(at, 2, "\r\n") == 0) ++at;
      if (at >= text.size()) return row;
      char next = text[at++];
      if (next == '\n') {
        ++line;
        return row;
      }
      if (next != ',') refuse(row.line, "text after the closing quote of a cell");
    }
  }
};

// Every row; a line feed at the very end does not begin another.
std::vector<CsvRow> parseCsv(const std::string& text, const std::string& source) {
  CsvReader reader{text, source};
  std::vector<CsvRow> rows;
  while (reader.at < text.size()) rows.push_back(reader.row());
  if (rows.empty()) throw UsageError(source + " is empty: its first line must name columns");
  return rows;
}

std::string readInput(Context& ctx, const std::string& file) {
  std::ostringstream text;
  if (file == "-") {
    text << ctx.in().rdbuf();
    return text.str();
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) throw Failure("import: cannot read " + file + ": " + std::strerror(errno));
  text << in.rdbuf();
  return text.str();
}

// For each header cell, the table column it fills; -1 for the first column
// when it is not kept (ids are allocated).
std::vector<int> headerColumns(const CsvRow& header, const std::vector<std::string>& columns,
                               bool put, const std::string& source) {
  std::vector<int> map;
  for (const std::string& name : header.cells) {
    int found = -1;
    for (size_t i = 0; i < columns.size(); ++i)
      if (columns[i] == name) found = static_cast<int>(i);
    std::string where = source + " line 1: column " + quoted(name);
    if (found < 0) throw UsageError(where + " is not a column of the table");
    for (size_t i = 0; i < map.size(); ++i)
      if (header.cells[i] == name) throw UsageError(where + " is named twice");
    map.push_back(found == 0 && !put ? -1 : found);
  }
  if (put && (map.empty() || std::find(map.begin(), map.end(), 0) == map.end()))
    throw UsageError(source + " line 1: with --put the header must name the first column, " +
                     quoted(columns[0]) + ", which holds the ids");
  return map;
}

// One row's values in schema order (the first being its id with --put),
// each checked for what would split it.
std::vector<std::string> rowValues(const CsvRow& row, const std::vector<int>& map, size_t width) {
  if (row.cells.size() != map.size()) {
    throw UsageError(plural(row.cells.size(), "cell", "cells") + " where the header has " +
                     std::to_string(map.size()));
  }
  std::vector<std::string> values(width);
  for (size_t i = 0; i < map.size(); ++i) {
    if (map[i] < 0) continue;
    checkValue(row.cells[i]);
    values[map[i]] = row.cells[i];
  }
  if (std::find(map.begin(), map.end(), 0) != map.end())
    values[0] = std::to_string(parseRecordId(values[0]));
  return values;
}

}  // namespace

int cmdImport(Context& ctx) {
  std::string file = ctx.arg(1), source = file == "-" ? "standard input" : file;
  bool put = ctx.options().put;
  TalDB::CTable& table = tableToWrite(ctx);
  std::vector<std::string> columns;
  for (const TalDB::CColumn* column : table.columns()) columns.push_back(column->name());
  std::vector<CsvRow> rows = parseCsv(readInput(ctx, file), source);
  std::vector<int> map = headerColumns(rows[0], columns, put, source);
  std::vector<std::vector<std::string>> records;
  for (size_t i = 1; i < rows.size(); ++i) {
    try {
      records.push_back(rowValues(rows[i], map, columns.size()));
      // The checks add and put make: each value by its column, the count.
      checkRecordValues(
          table, recordText({records.back().begin() + (put ? 0 : 1), records.back().end()}), put);
    } catch (const UsageError& error) {
      throw UsageError(source + " line " + std::to_string(rows[i].line) + ": " + error.what());
    }
  }
  for (const std::vector<std::string>& values : records) {
    int id = 0;
    std::string text = recordText({values.begin() + (put ? 0 : 1), values.end()});
    ctx.require(table.addRecord(text.c_str(), put ? nullptr : &id, 0),
                "import " + std::string(table.name()) + " (" + source + ")");
    ctx.out() << (put ? values[0] : std::to_string(id)) << "\n";
  }
  ctx.note() << "imported " << plural(records.size(), "record", "records") << " into "
             << table.name() << " from " << source << "\n";
  return kExitOk;
}

}  // namespace taldb_cli
