// What the fuzz targets share: the input as the C text every parser takes,
// the white space and list rules of the text formats written out plainly (so
// that a target can say what a parser should have produced without asking the
// parser), a property check that aborts, and a per-process scratch directory.
#ifndef TALDB_FUZZ_FUZZSUPPORT_H
#define TALDB_FUZZ_FUZZSUPPORT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "gux.h"
#include "taldb/CColumn.h"

// Not assert(): a property must hold in every build type.
#define FUZZ_CHECK(condition)                                                            \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      fprintf(stderr, "%s:%d: property violated: %s\n", __FILE__, __LINE__, #condition); \
      __builtin_trap();                                                                  \
    }                                                                                    \
  } while (0)

namespace fuzz {

// The parsers log every rejected input; at thousands of inputs a second that
// output would be all the fuzzer does.
inline const bool kLogSilenced =
    (gux_set_log_sink([](int, int, const char*, void*) {}, nullptr), true);

// The input up to its first NUL.
inline std::string CText(const uint8_t* data, size_t size) {
  const void* nul = memchr(data, '\0', size);
  size_t length = nul != nullptr ? static_cast<const uint8_t*>(nul) - data : size;
  return std::string(reinterpret_cast<const char*>(data), length);
}

// Space, tab, line feed, vertical tab, form feed and carriage return; no byte
// of 0x80 or above.
inline bool IsBlank(char c) { return c != '\0' && strchr(" \t\n\v\f\r", c) != nullptr; }

inline std::string Trim(const std::string& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

// Every white-space character removed.
inline std::string Strip(const std::string& text) {
  std::string out;
  for (char c : text)
    if (!IsBlank(c)) out += c;
  return out;
}

// The items of a separated list as the in-place tokeniser yields them: two
// separators in a row give an empty item, a trailing separator adds none, and
// the empty text has no items at all.
inline std::vector<std::string> Items(const std::string& text, char separator) {
  std::vector<std::string> items;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string::npos) end = text.size();
    items.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return items;
}

// Columns the target made, deleted with it.
struct Columns {
  std::vector<TalDB::CColumn*> list;
  ~Columns() {
    for (TalDB::CColumn* column : list) delete column;
  }
};

// A directory of this process's own, removed at exit (a crashing run leaves
// it behind, with the input that crashed it).
inline const char* ScratchDir() {
  static char dir[] = "/tmp/taldb-fuzz-XXXXXX";
  static const bool made = [] {
    if (mkdtemp(dir) == nullptr) {
      perror("mkdtemp");
      abort();
    }
    atexit([] { DeleteTreeA(dir); });
    return true;
  }();
  (void)made;
  return dir;
}

// Replaces the scratch file `name` with content; returns its path.
inline std::string WriteScratch(const char* name, const std::string& content) {
  std::string path = std::string(ScratchDir()) + "/" + name;
  FILE* file = fopen(path.c_str(), "wb");
  bool written =
      file != nullptr && fwrite(content.data(), 1, content.size(), file) == content.size();
  if (file == nullptr || fclose(file) != 0 || !written) {
    perror(path.c_str());
    abort();
  }
  return path;
}

}  // namespace fuzz

#endif  // TALDB_FUZZ_FUZZSUPPORT_H
