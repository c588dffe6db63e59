#include "Cli.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace taldb_cli {

namespace {

// Characters on screen, counting a UTF-8 sequence once.
size_t displayWidth(const std::string& text) {
  size_t width = 0;
  for (unsigned char c : text) width += (c & 0xC0) != 0x80;
  return width;
}

std::vector<size_t> columnWidths(const Rows& rows) {
  std::vector<size_t> widths;
  for (const std::string& name : rows.header) widths.push_back(displayWidth(name));
  for (const auto& row : rows.rows) {
    for (size_t i = 0; i < row.size() && i < widths.size(); ++i)
      widths[i] = std::max(widths[i], displayWidth(row[i]));
  }
  return widths;
}

// Cells separated by two blanks; the last cell is not padded.
void printAligned(std::ostream& out, const std::vector<std::string>& cells,
                  const std::vector<size_t>& widths) {
  for (size_t i = 0; i < cells.size(); ++i) {
    out << cells[i];
    if (i + 1 < cells.size()) out << std::string(widths[i] - displayWidth(cells[i]) + 2, ' ');
  }
  out << '\n';
}

void printTable(std::ostream& out, const Rows& rows, bool header) {
  std::vector<size_t> widths = columnWidths(rows);
  if (header) {
    printAligned(out, rows.header, widths);
    std::vector<std::string> rule;
    for (size_t width : widths) rule.push_back(std::string(width, '-'));
    printAligned(out, rule, widths);
  }
  for (const auto& row : rows.rows) printAligned(out, row, widths);
}

void printCsvLine(std::ostream& out, const std::vector<std::string>& cells) {
  for (size_t i = 0; i < cells.size(); ++i) out << (i ? "," : "") << csvCell(cells[i]);
  out << '\n';
}

void printCsv(std::ostream& out, const Rows& rows, bool header) {
  if (header) printCsvLine(out, rows.header);
  for (const auto& row : rows.rows) printCsvLine(out, row);
}

// A whole number of an int or bigint column is a JSON number; every other
// value, an empty one included, stays the text the store holds.
std::string jsonValue(const Rows& rows, size_t column, const std::string& value) {
  bool number = column < rows.kinds.size() && isWholeNumber(value, rows.kinds[column]);
  return number ? value : jsonString(value);
}

std::string jsonObject(const Rows& rows, const std::vector<std::string>& row) {
  std::string text = "{";
  for (size_t i = 0; i < rows.header.size() && i < row.size(); ++i)
    text += (i ? ", " : "") + jsonString(rows.header[i]) + ": " + jsonValue(rows, i, row[i]);
  return text + "}";
}

void printJsonArray(std::ostream& out, const Rows& rows, const std::string& indent) {
  if (rows.rows.empty()) {
    out << "[]";
    return;
  }
  out << "[\n";
  for (size_t i = 0; i < rows.rows.size(); ++i) {
    out << indent << "  " << jsonObject(rows, rows.rows[i])
        << (i + 1 < rows.rows.size() ? ",\n" : "\n");
  }
  out << indent << "]";
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

bool isWholeNumber(const std::string& text, Kind kind) {
  if (kind == Kind::Text) return false;
  size_t start = !text.empty() && text[0] == '-' ? 1 : 0;
  std::string digits = text.substr(start);
  // "-0" and "007" are not the text a number prints as, so they stay text.
  bool plain = !digits.empty() && digits.size() <= 19 &&
               digits.find_first_not_of("0123456789") == std::string::npos &&
               (digits[0] != '0' || text == "0");
  if (!plain) return false;
  errno = 0;
  long long value = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) return false;
  return kind == Kind::BigInt || (value >= INT32_MIN && value <= INT32_MAX);
}

std::vector<Kind> columnKinds(const TalDB::CTable& table) {
  std::vector<Kind> kinds;
  for (const TalDB::CColumn* column : table.columns()) {
    int type = column->type();
    kinds.push_back(type == TalDB::TYPE_INT      ? Kind::Int
                    : type == TalDB::TYPE_BIGINT ? Kind::BigInt
                                                 : Kind::Text);
  }
  return kinds;
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
  for (unsigned char c : text) {
    const char* escape = c == '"'    ? "\\\""
                         : c == '\\' ? "\\\\"
                         : c == '\n' ? "\\n"
                         : c == '\r' ? "\\r"
                         : c == '\t' ? "\\t"
                                     : nullptr;
    char code[8];
    // Other control characters have no short form.
    if (escape == nullptr && c < 0x20) std::snprintf(code, sizeof code, "\\u%04x", c);
    if (escape == nullptr && c < 0x20) escape = code;
    out += escape != nullptr ? std::string(escape) : std::string(1, static_cast<char>(c));
  }
  return out + "\"";
}

void printRows(std::ostream& out, const Rows& rows, const Style& style) {
  switch (style.format) {
    // dump prints ini and sql itself; no other command is given them.
    case Format::Table:
    case Format::Ini:
    case Format::Sql:
      printTable(out, rows, style.header);
      break;
    case Format::Csv:
      printCsv(out, rows, style.header);
      break;
    case Format::Json:
      printJsonArray(out, rows, "");
      out << '\n';
      break;
  }
}

void printRecord(std::ostream& out, const Rows& rows, const Style& style) {
  if (rows.rows.empty()) return;
  const std::vector<std::string>& row = rows.rows.front();
  if (style.format == Format::Csv) {
    printCsv(out, rows, style.header);
  } else if (style.format == Format::Json) {
    out << jsonObject(rows, row) << '\n';
  } else {
    size_t width = 0;
    for (const std::string& name : rows.header) width = std::max(width, displayWidth(name));
    for (size_t i = 0; i < rows.header.size() && i < row.size(); ++i)
      printAligned(out, {rows.header[i], row[i]}, {width, 0});
  }
}

void printNamedRows(std::ostream& out, const std::vector<std::pair<std::string, Rows>>& sets,
                    const Style& style) {
  if (style.format == Format::Json) {
    out << "{";
    for (size_t i = 0; i < sets.size(); ++i) {
      out << (i ? ",\n  " : "\n  ") << jsonString(sets[i].first) << ": ";
      printJsonArray(out, sets[i].second, "  ");
    }
    out << (sets.empty() ? "}\n" : "\n}\n");
    return;
  }
  for (size_t i = 0; i < sets.size(); ++i) {
    if (i) out << '\n';
    out << (style.format == Format::Csv ? "# " : "== ") << sets[i].first
        << (style.format == Format::Csv ? "\n" : " ==\n");
    printRows(out, sets[i].second, style);
  }
}

}  // namespace taldb_cli
