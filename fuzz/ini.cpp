// The INI reader, over the input as a file, against the format's rules
// written out plainly here:
// - A line is read up to its first NUL and trimmed. Empty lines and lines
//   starting with ";" or "#" are nothing, whatever they hold.
// - A line starting with "[" is a header; the section is the trimmed text up
//   to its last "]" (to the line's end when there is none after the "[").
// - Any other line with "=" is a key line once a header has been seen: the
//   trimmed text before its first "=" is the key, after it the value. The
//   first line of a key in a section wins; a repeated section continues it.
// Checked: the section list (non-empty names, each once, in order of first
// appearance) with the full length reported, cut to whole names in a buffer
// one byte short and whole in a buffer of exactly that length; and for the
// first 16 lines holding "=" (comments and lines before any section too), a
// lookup of the text before the "=" in the section the line is in gives the
// rules' value, the default for an absent or empty one, cut to a small
// buffer with the full length still reported.
#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "FuzzSupport.h"

namespace {

using Key = std::pair<std::string, std::string>;  // section, key

struct Rules {
  std::vector<std::string> sections;
  std::map<Key, std::string> values;
  std::vector<Key> asked;  // the lines with "=" that are no header, as their section would ask
};

Rules Read(const std::string& content) {
  Rules rules;
  std::string section;
  bool inSection = false;
  for (size_t start = 0; start <= content.size();) {
    size_t end = std::min(content.find('\n', start), content.size());
    std::string raw = content.substr(start, end - start);
    start = end + 1;
    std::string line = fuzz::Trim(raw.substr(0, raw.find('\0')));
    if (!line.empty() && line[0] == '[') {
      size_t close = line.rfind(']');
      section = fuzz::Trim(
          line.substr(1, close == std::string::npos || close == 0 ? std::string::npos : close - 1));
      inSection = true;
      if (!section.empty() &&
          std::find(rules.sections.begin(), rules.sections.end(), section) == rules.sections.end())
        rules.sections.push_back(section);
      continue;
    }
    size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    Key key{section, fuzz::Trim(line.substr(0, equals))};
    if (rules.asked.size() < 16) rules.asked.push_back(key);
    if (inSection && line[0] != ';' && line[0] != '#')
      rules.values.emplace(key, fuzz::Trim(line.substr(equals + 1)));
  }
  return rules;
}

// The names of a section list that ends within size bytes; false when none
// does.
bool ListedNames(const std::vector<char>& list, size_t size, std::vector<std::string>& names) {
  size_t at = 0;
  while (at < size) {
    size_t length = strnlen(&list[at], size - at);
    if (length == size - at) return false;
    if (length == 0) return true;
    names.push_back(std::string(&list[at], length));
    at += length + 1;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The whole input, NUL bytes included.
  std::string content(reinterpret_cast<const char*>(data), size);
  std::string path = fuzz::WriteScratch("ini", content);
  Rules rules = Read(content);

  int total = 1;
  for (const std::string& name : rules.sections) total += static_cast<int>(name.size()) + 1;
  if (rules.sections.empty()) total = 0;
  std::vector<char> buffer(content.size() + sizeof("default"), 'x');
  FUZZ_CHECK(InifileGetValueA(nullptr, nullptr, buffer.data(), buffer.size(), nullptr,
                              path.c_str()) == total);
  std::vector<std::string> names;
  FUZZ_CHECK(ListedNames(buffer, buffer.size(), names) && names == rules.sections);
  if (total > 0) {
    std::vector<char> shortList(total - 1, 'x');
    FUZZ_CHECK(InifileGetValueA(nullptr, nullptr, shortList.data(), total - 1, nullptr,
                                path.c_str()) == total);
    std::vector<std::string> first;
    FUZZ_CHECK(ListedNames(shortList, shortList.size(), first));
    FUZZ_CHECK(first.size() < names.size());
    FUZZ_CHECK(std::equal(first.begin(), first.end(), names.begin()));
    std::vector<char> exact(total, 'x');
    FUZZ_CHECK(InifileGetValueA(nullptr, nullptr, exact.data(), total, nullptr, path.c_str()) ==
               total);
    FUZZ_CHECK(std::equal(exact.begin(), exact.end(), buffer.begin()));
  }

  for (const Key& key : rules.asked) {
    auto found = rules.values.find(key);
    std::string value = found != rules.values.end() ? found->second : "";
    const char* section = key.first.c_str();
    int length = InifileGetValueA(section, key.second.c_str(), buffer.data(), buffer.size(),
                                  "default", path.c_str());
    FUZZ_CHECK(length == static_cast<int>(value.size()));
    FUZZ_CHECK((value.empty() ? std::string("default") : value) == buffer.data());
    char cut[4];
    FUZZ_CHECK(InifileGetValueA(section, key.second.c_str(), cut, sizeof(cut), "", path.c_str()) ==
               length);
    FUZZ_CHECK(value.substr(0, sizeof(cut) - 1) == cut);
  }
  return 0;
}
