// Text helpers: bounded copies, the tokeniser, placeholder replacement, the
// (escape-free) unescape of stored values and the fingerprint.
#include <openssl/sha.h>
#include <stdlib.h>
#include <string.h>

#include "gux.h"

// Space, tab, line feed, vertical tab, form feed and carriage return.
const unsigned char guxascii_ctype_table[128] = {
    0,    0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0x10, 0x10, 0x10, 0x10, 0, 0,  // 0x00
    0,    0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,    0,    0,    0, 0,  // 0x10
    0x10,                                                              // ' '
};

size_t guxstrcpy(char* dst, const char* src, size_t size) {
  if (size == 0) return 0;
  size_t length = strlen(src);
  if (length > size - 1) length = size - 1;
  memmove(dst, src, length);
  dst[length] = '\0';
  return length;
}

size_t guxstrncpy(char* dst, const char* src, size_t size, size_t count) {
  if (size == 0) return 0;
  size_t length = strnlen(src, count);
  if (length > size - 1) length = size - 1;
  memmove(dst, src, length);
  dst[length] = '\0';
  return length;
}

long gux_strtol(const char* text, char** end, int base) { return strtol(text, end, base); }

char* StringGetNextA(char** cursor, char separator) {
  if (cursor == nullptr || *cursor == nullptr || **cursor == '\0') return nullptr;
  char* token = *cursor;
  // With NUL as the separator the text is a list of names, each ended by a
  // NUL, the list ended by an empty name.
  char* end = separator == '\0' ? token + strlen(token) : strchr(token, separator);
  if (end == nullptr) {
    *cursor = nullptr;
  } else {
    *end = '\0';
    *cursor = end + 1;
  }
  return token;
}

int StringFindAndReplaceA(char* text, size_t size, const char* placeholder,
                          const char* replacement) {
  size_t placeholderLength = strlen(placeholder);
  if (placeholderLength == 0) return 1;
  size_t replacementLength = strlen(replacement);
  size_t textLength = strlen(text);

  size_t occurrences = 0;
  for (const char* at = strstr(text, placeholder); at != nullptr;
       at = strstr(at + placeholderLength, placeholder)) {
    ++occurrences;
  }
  if (occurrences == 0) return 1;
  size_t resultLength =
      textLength + occurrences * replacementLength - occurrences * placeholderLength;
  if (resultLength + 1 > size) return 0;

  // Built aside, so that replaced text is never scanned again.
  char* result = static_cast<char*>(malloc(resultLength + 1));
  if (result == nullptr) return 0;
  char* out = result;
  const char* in = text;
  for (const char* at = strstr(in, placeholder); at != nullptr; at = strstr(in, placeholder)) {
    memcpy(out, in, at - in);
    out += at - in;
    memcpy(out, replacement, replacementLength);
    out += replacementLength;
    in = at + placeholderLength;
  }
  strcpy(out, in);
  memcpy(text, result, resultLength + 1);
  free(result);
  return 1;
}

int KwStringUnescapeA(const char* text, char* out, size_t size) {
  return static_cast<int>(guxstrcpy(out, text, size));
}

int KwFPFromData_r(const void* data, size_t length, char* out, size_t capacity, int selector) {
  if (out != nullptr && capacity > 0) out[0] = '\0';
  if (selector != 3 || out == nullptr || capacity < 65) return 1;
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(static_cast<const unsigned char*>(data), length, digest);
  static const char kHex[] = "0123456789abcdef";
  for (size_t i = 0; i < SHA256_DIGEST_LENGTH; ++i) {
    out[2 * i] = kHex[digest[i] >> 4];
    out[2 * i + 1] = kHex[digest[i] & 0xF];
  }
  out[64] = '\0';
  return 0;
}
