#include "Cli.h"

#include <algorithm>
#include <cstdio>

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

std::string jsonObject(const Rows& rows, const std::vector<std::string>& row) {
  std::string text = "{";
  for (size_t i = 0; i < rows.header.size() && i < row.size(); ++i)
    text += (i ? ", " : "") + jsonString(rows.header[i]) + ": " +
            jsonValue(row[i], i < rows.kinds.size() ? rows.kinds[i] : Kind::Text);
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

// The length of the well-formed UTF-8 sequence at text[at], or 0 when none
// begins there: no overlong forms, no surrogates, nothing past U+10FFFF.
size_t utf8Length(const std::string& text, size_t at) {
  auto byte = [&](size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u;
  };
  unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                  : lead >= 0xE0 && lead <= 0xEF ? 3
                  : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                 : 0;
  // The second byte's range depends on the lead; every later one is 80 to BF.
  unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (length == 0 || byte(1) < low || byte(1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  return length;
}

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

bool isUtf8(const std::string& text) {
  for (size_t at = 0, length; at < text.size(); at += length)
    if ((length = utf8Length(text, at)) == 0) return false;
  return true;
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
