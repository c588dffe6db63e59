#include "output/Json.h"

#include <cstdio>

#include "base/Text.h"

namespace taldb_cli {

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

std::string jsonObject(const std::vector<std::string>& header, const std::vector<Kind>& kinds,
                       const std::vector<std::string>& row) {
  std::string text = "{";
  for (size_t i = 0; i < header.size() && i < row.size(); ++i)
    text += (i ? ", " : "") + jsonString(header[i]) + ": " +
            jsonValue(row[i], i < kinds.size() ? kinds[i] : Kind::Text);
  return text + "}";
}

}  // namespace taldb_cli
