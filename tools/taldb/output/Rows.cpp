#include "output/Rows.h"

#include <algorithm>
#include <cstdio>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/ColumnRules.h"

namespace taldb_cli {

namespace {

// Characters on screen, counting a UTF-8 sequence once.
size_t displayWidth(const std::string& text) {
  size_t width = 0;
  for (unsigned char c : text) width += (c & 0xC0) != 0x80;
  return width;
}

// Cells separated by two blanks; the last cell is not padded. A cell wider
// than its column (a row past the block the widths were fixed by) is printed
// whole, two blanks after it all the same.
void printAligned(std::ostream& out, const std::vector<std::string>& cells,
                  const std::vector<size_t>& widths) {
  for (size_t i = 0; i < cells.size(); ++i) {
    out << cells[i];
    if (i + 1 == cells.size()) break;
    size_t width = i < widths.size() ? widths[i] : 0, used = displayWidth(cells[i]);
    out << std::string(width > used ? width - used + 2 : 2, ' ');
  }
  out << '\n';
}

void printCsvLine(std::ostream& out, const std::vector<std::string>& cells) {
  for (size_t i = 0; i < cells.size(); ++i) out << (i ? "," : "") << csvCell(cells[i]);
  out << '\n';
}

std::string jsonObject(const std::vector<std::string>& header, const std::vector<Kind>& kinds,
                       const std::vector<std::string>& row) {
  std::string text = "{";
  for (size_t i = 0; i < header.size() && i < row.size(); ++i)
    text += (i ? ", " : "") + jsonString(header[i]) + ": " +
            jsonValue(row[i], i < kinds.size() ? kinds[i] : Kind::Text);
  return text + "}";
}

}  // namespace

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

std::string csvCell(const std::string& text) {
  bool quote = text.find_first_of(",\"\r\n") != std::string::npos ||
               (!text.empty() && (text.front() == ' ' || text.back() == ' '));
  if (!quote) return text;
  std::string cell = "\"";
  for (char c : text) cell += c == '"' ? std::string("\"\"") : std::string(1, c);
  return cell + "\"";
}

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (size_t at = 0; at < text.size();) {
    size_t length = utf8Length(text, at);
    // A program that reads JSON takes only Unicode text: a stray byte becomes
    // the replacement character, one for each byte.
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    unsigned char c = static_cast<unsigned char>(text[at]);
    // U+0080 to U+009F are the two-byte sequences C2 80 to C2 9F.
    unsigned code = length == 2 && c == 0xC2 ? static_cast<unsigned char>(text[at + 1]) : c;
    const char* escape = c == '"'    ? "\\\""
                         : c == '\\' ? "\\\\"
                         : c == '\n' ? "\\n"
                         : c == '\r' ? "\\r"
                         : c == '\t' ? "\\t"
                                     : nullptr;
    char hex[8];
    // Other control characters have no short form.
    if (escape == nullptr && (code < 0x20 || (code >= 0x7F && code <= 0x9F))) {
      std::snprintf(hex, sizeof hex, "\\u%04x", code);
      escape = hex;
    }
    out += escape != nullptr ? std::string(escape) : text.substr(at, length);
    at += length;
  }
  return out + "\"";
}

std::string jsonValue(const std::string& value, Kind kind) {
  // Whatever fits its column's type is the number's own text.
  return isWholeNumber(value, kind) ? value : jsonString(value);
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
