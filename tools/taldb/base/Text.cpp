#include "base/Text.h"

#include <cstdio>

namespace taldb_cli {

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\n' ? std::string("\\n") : std::string(1, c);
  return out + "'";
}

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

bool isUtf8(const std::string& text) {
  for (size_t at = 0, length; at < text.size(); at += length)
    if ((length = utf8Length(text, at)) == 0) return false;
  return true;
}

std::string shownText(const std::string& text) {
  std::string out;
  for (size_t at = 0, length; at < text.size(); at += length) {
    length = utf8Length(text, at);
    if (length != 0) {
      out.append(text, at, length);
      continue;
    }
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(text[at]));
    out += hex;
    length = 1;
  }
  return out;
}

std::string plural(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

// "200,000"
std::string thousands(size_t count) {
  std::string digits = std::to_string(count);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(at, ",");
  return digits;
}

std::string shellWord(const std::string& word) {
  if (!word.empty() && word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                              "0123456789_./:=@%+,-") == std::string::npos)
    return word;
  std::string quotedWord = "'";
  for (char c : word) quotedWord += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quotedWord + "'";
}

}  // namespace taldb_cli
