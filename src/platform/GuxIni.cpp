// The INI reader: "[section]" headers, "key = value" lines, ";" and "#"
// comment lines. No quoting, escapes, inline comments or continuations, and no
// limit on the length of a line; a NUL byte ends what is read of its line.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "gux.h"

namespace {

bool IsBlank(char c) {
  unsigned char byte = static_cast<unsigned char>(c);
  return byte < 0x80 && (guxascii_ctype_table[byte] & 0x10) != 0;
}

// The part of [begin, end) without white space at either end.
std::string Trimmed(const char* begin, const char* end) {
  while (begin < end && IsBlank(*begin)) ++begin;
  while (end > begin && IsBlank(end[-1])) --end;
  return std::string(begin, end);
}

bool ReadFile(const char* path, std::string& content) {
  FILE* file = fopen(path, "rb");
  if (file == nullptr) return false;
  char chunk[8192];
  size_t got;
  while ((got = fread(chunk, 1, sizeof(chunk), file)) > 0) content.append(chunk, got);
  bool ok = ferror(file) == 0;
  fclose(file);
  return ok;
}

// Calls visit(section, key, value) for every key line and visitSection(name)
// for every header, in file order, until one of them returns true.
template <class OnSection, class OnKey>
void Walk(const std::string& content, OnSection onSection, OnKey onKey) {
  std::string section;
  bool inSection = false;
  size_t start = 0;
  while (start <= content.size()) {
    size_t feed = content.find('\n', start);
    size_t end = feed == std::string::npos ? content.size() : feed;
    // A line is C text: whatever follows a NUL byte is not read, so that a
    // name never holds a NUL, which in a section list would end the name (or
    // the whole list) early.
    const void* nul = memchr(content.data() + start, '\0', end - start);
    size_t stop = nul != nullptr ? static_cast<const char*>(nul) - content.data() : end;
    std::string line = Trimmed(content.data() + start, content.data() + stop);
    start = end + 1;
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line[0] == '[') {
      size_t close = line.rfind(']');
      if (close == std::string::npos || close == 0) close = line.size();
      section = Trimmed(line.data() + 1, line.data() + close);
      inSection = true;
      if (onSection(section)) return;
      continue;
    }
    size_t equals = line.find('=');
    if (equals == std::string::npos || !inSection) continue;
    std::string key = Trimmed(line.data(), line.data() + equals);
    std::string value = Trimmed(line.data() + equals + 1, line.data() + line.size());
    if (onKey(section, key, value)) return;
  }
}

int ListSections(const std::string& content, char* buffer, int size) {
  std::vector<std::string> names;
  Walk(
      content,
      [&](const std::string& name) {
        // An empty name would read as the list's end and hide every later
        // section, so a blank header ("[]", a lone "[") is left out.
        if (name.empty()) return false;
        for (const std::string& seen : names)
          if (seen == name) return false;
        names.push_back(name);
        return false;
      },
      [](const std::string&, const std::string&, const std::string&) { return false; });
  if (names.empty()) {
    if (buffer != nullptr && size > 0) buffer[0] = '\0';
    return 0;
  }
  int total = 1;
  for (const std::string& name : names) total += static_cast<int>(name.size()) + 1;
  if (buffer != nullptr && size > 0) {
    // Whole names only, and always room for the list's final NUL.
    int used = 0;
    for (const std::string& name : names) {
      int need = static_cast<int>(name.size()) + 1;
      if (used + need + 1 > size) break;
      memcpy(buffer + used, name.c_str(), need);
      used += need;
    }
    buffer[used] = '\0';
  }
  return total;
}

}  // namespace

int InifileGetValueA(const char* section, const char* key, char* buffer, int size, const char* def,
                     const char* file) {
  std::string content;
  try {
    if (file == nullptr || !ReadFile(file, content)) return -1;
    if (section == nullptr && key == nullptr) return ListSections(content, buffer, size);

    std::string found;
    bool hit = false;
    if (section != nullptr && key != nullptr) {
      Walk(
          content, [](const std::string&) { return false; },
          [&](const std::string& s, const std::string& k, const std::string& v) {
            if (s != section || k != key) return false;
            found = v;
            hit = true;
            return true;
          });
    }
    if (!hit || found.empty()) {
      if (buffer != nullptr && size > 0) guxstrcpy(buffer, def != nullptr ? def : "", size);
      return 0;
    }
    if (buffer != nullptr && size > 0) guxstrcpy(buffer, found.c_str(), size);
    return static_cast<int>(found.size());
  } catch (...) {
    return -1;
  }
}
