#include "output/Rows.h"

#include <algorithm>
#include <cstdio>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/ColumnRules.h"
#include "output/Aligned.h"

namespace taldb_cli {

bool parseFormat(const std::string& text, Format& format) {
  // In the order of the enumeration.
  const char* const names[] = {"table", "csv", "json", "ini", "sql"};
  for (int i = 0; i < 5; ++i) {
    if (text != names[i]) continue;
    format = static_cast<Format>(i);
    return true;
  }
  return false;
}

RowWriter::RowWriter(std::ostream& out, const Style& style, std::vector<std::string> header,
                     std::vector<Kind> kinds, bool inSet)
    : out_(out),
      style_(style),
      header_(std::move(header)),
      kinds_(std::move(kinds)),
      inSet_(inSet) {
  if (style_.format == Format::Csv && style_.header) printCsvLine(out_, header_);
}

void RowWriter::row(const std::vector<std::string>& cells) {
  ++rows_;
  switch (style_.format) {
    case Format::Csv:
      printCsvLine(out_, cells);
      return;
    case Format::Json:
      out_ << (rows_ == 1 ? "[\n" : ",\n") << (inSet_ ? "    " : "  ")
           << jsonObject(header_, kinds_, cells);
      return;
    default:
      if (widths_.empty()) {
        block_.push_back(cells);
        if (block_.size() == kWidthRows) fixWidths();
      } else {
        printAligned(out_, cells, widths_);
      }
  }
}

// The widths of the header and of the rows held so far, which then go out.
void RowWriter::fixWidths() {
  for (const std::string& name : header_) widths_.push_back(displayWidth(name));
  for (const auto& row : block_) {
    for (size_t i = 0; i < row.size() && i < widths_.size(); ++i)
      widths_[i] = std::max(widths_[i], displayWidth(row[i]));
  }
  // A table without columns has no widths to tell that they are fixed.
  if (widths_.empty()) widths_.push_back(0);
  if (style_.header) {
    printAligned(out_, header_, widths_);
    std::vector<std::string> rule;
    for (size_t i = 0; i < header_.size(); ++i) rule.push_back(std::string(widths_[i], '-'));
    printAligned(out_, rule, widths_);
  }
  for (const auto& row : block_) printAligned(out_, row, widths_);
  block_.clear();
  block_.shrink_to_fit();
}

void RowWriter::end() {
  if (style_.format == Format::Json) {
    out_ << (rows_ == 0 ? "[]" : inSet_ ? "\n  ]" : "\n]") << (inSet_ ? "" : "\n");
  } else if (style_.format != Format::Csv && widths_.empty()) {
    fixWidths();
  }
}

void printRows(std::ostream& out, const Rows& rows, const Style& style) {
  RowWriter writer(out, style, rows.header, rows.kinds);
  for (const auto& row : rows.rows) writer.row(row);
  writer.end();
}

void printRecord(std::ostream& out, const Rows& rows, const Style& style) {
  if (rows.rows.empty()) return;
  const std::vector<std::string>& row = rows.rows.front();
  if (style.format == Format::Csv) {
    printRows(out, rows, style);
  } else if (style.format == Format::Json) {
    out << jsonObject(rows.header, rows.kinds, row) << '\n';
  } else {
    size_t width = 0;
    for (const std::string& name : rows.header) width = std::max(width, displayWidth(name));
    for (size_t i = 0; i < rows.header.size() && i < row.size(); ++i)
      printAligned(out, {rows.header[i], row[i]}, {width, 0});
  }
}

void beginNamedSet(std::ostream& out, const Style& style, size_t index, const std::string& name) {
  if (style.format == Format::Json) {
    out << (index ? ",\n  " : "{\n  ") << jsonString(name) << ": ";
    return;
  }
  if (index) out << '\n';
  out << (style.format == Format::Csv ? "# " : "== ") << name
      << (style.format == Format::Csv ? "\n" : " ==\n");
}

void endNamedSets(std::ostream& out, const Style& style, size_t count) {
  if (style.format == Format::Json) out << (count == 0 ? "{}\n" : "\n}\n");
}

}  // namespace taldb_cli
