#include "taldb/CUtils.h"

#include <string.h>

#include "gux.h"

namespace TalDB {

namespace {

// Only 7-bit characters can be white space; bytes of 0x80 and above are text.
inline bool IsWhiteSpace(char c) {
  unsigned char byte = static_cast<unsigned char>(c);
  return byte < 0x80 && (guxascii_ctype_table[byte] & 0x10) != 0;
}

}  // namespace

void CUtils::strstrip(char* text) {
  if (text == nullptr) return;
  char* out = text;
  for (const char* in = text; *in != '\0'; ++in) {
    if (!IsWhiteSpace(*in)) *out++ = *in;
  }
  *out = '\0';
}

void CUtils::trim(char* text) {
  if (text == nullptr) return;
  const char* start = text;
  while (IsWhiteSpace(*start)) ++start;
  size_t length = strlen(start);
  while (length > 0 && IsWhiteSpace(start[length - 1])) --length;
  memmove(text, start, length);
  text[length] = '\0';
}

}  // namespace TalDB
