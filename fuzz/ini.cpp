// The INI reader, over a file made of the input followed by a section of its
// own: a header "[Q]" whose name is longer than the input (so the input
// cannot hold it), then the input's first line once more.
// - The section list is as long as the reader reports, its names are
//   non-empty and distinct, and Q is the last; with one byte too few the
//   buffer holds the list's first names whole, still with the full length
//   reported, and a buffer of exactly that length holds the whole list.
// - When the first line is a "key = value" line, looking the key up under Q
//   gives the trimmed text after its first "=" (or the default, for an empty
//   value), cut to the buffer with the full length reported. A comment line
//   that holds "=" gives no key.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "FuzzSupport.h"

namespace {

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
  // The whole input, NUL bytes included: the reader reads a line up to its
  // first NUL, and so does the key lookup checked below.
  std::string input(reinterpret_cast<const char*>(data), size);
  std::string firstLine = input.substr(0, input.find('\n'));
  firstLine = firstLine.substr(0, firstLine.find('\0'));
  std::string own = "fuzz" + std::string(size + 1, 'q');
  std::string content = input + "\n[" + own + "]\n" + firstLine;
  std::string path = fuzz::WriteScratch("ini", content);

  // Every name and its NUL come from a header line at least as long.
  std::vector<char> buffer(content.size() + 2, 'x');
  int total =
      InifileGetValueA(nullptr, nullptr, buffer.data(), buffer.size(), nullptr, path.c_str());
  std::vector<std::string> names;
  FUZZ_CHECK(ListedNames(buffer, buffer.size(), names));
  size_t used = 1;
  for (const std::string& name : names) used += name.size() + 1;
  FUZZ_CHECK(total > 0 && static_cast<size_t>(total) == used);
  FUZZ_CHECK(std::set<std::string>(names.begin(), names.end()).size() == names.size());
  FUZZ_CHECK(names.back() == own);

  std::vector<char> shortList(total - 1, 'x');
  FUZZ_CHECK(InifileGetValueA(nullptr, nullptr, shortList.data(), total - 1, nullptr,
                              path.c_str()) == total);
  std::vector<std::string> first;
  FUZZ_CHECK(ListedNames(shortList, shortList.size(), first));
  FUZZ_CHECK(first.size() < names.size());
  FUZZ_CHECK(std::equal(first.begin(), first.end(), names.begin()));
  std::vector<char> exact(total, 'x');  // exactly big enough: the whole list
  FUZZ_CHECK(InifileGetValueA(nullptr, nullptr, exact.data(), total, nullptr, path.c_str()) ==
             total);
  FUZZ_CHECK(std::equal(exact.begin(), exact.end(), buffer.begin()));

  size_t equals = firstLine.find('=');
  std::string line = fuzz::Trim(firstLine);
  if (equals == std::string::npos || line[0] == '[') return 0;
  std::string key = fuzz::Trim(firstLine.substr(0, equals));
  if (line[0] == ';' || line[0] == '#') {  // a comment, "=" or not: never a key
    FUZZ_CHECK(InifileGetValueA(own.c_str(), key.c_str(), buffer.data(), buffer.size(), "none",
                                path.c_str()) == 0);
    return 0;
  }
  std::string value = fuzz::Trim(firstLine.substr(equals + 1));
  int length = InifileGetValueA(own.c_str(), key.c_str(), buffer.data(), buffer.size(), "default",
                                path.c_str());
  FUZZ_CHECK(length == static_cast<int>(value.size()));
  FUZZ_CHECK((value.empty() ? std::string("default") : value) == buffer.data());
  char cut[4];
  FUZZ_CHECK(InifileGetValueA(own.c_str(), key.c_str(), cut, sizeof(cut), "", path.c_str()) ==
             length);
  FUZZ_CHECK(value.substr(0, sizeof(cut) - 1) == cut);
  return 0;
}
