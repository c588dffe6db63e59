// The utility library's text helpers that the formats are built on. The input
// is a separator byte, a size byte, then the text.
// - The tokeniser yields the items of the text (up to its first NUL) as a
//   separated list; with NUL as the separator, the names of a NUL-separated
//   list up to its first empty name.
// - A bounded copy copies as much of the text as the size leaves room for
//   beside its NUL (of at most count bytes, for the counted copy) and returns
//   that length; a size of 0 writes nothing.
// - Every "{{x}}" in the text is replaced by the text after its first ":"
//   (the whole text without one), left to right and never in text already
//   replaced; a result that would not fit the size leaves the text as it was.
// - The fingerprint is 64 lowercase hex digits, given a buffer of 65 bytes
//   and selector 3; a smaller buffer or another selector gets the empty text
//   and an error.
#include <algorithm>
#include <string>
#include <vector>

#include "FuzzSupport.h"

namespace {

// The names of a NUL-separated list: up to the first empty one.
std::vector<std::string> ListNames(const std::string& list) {
  std::vector<std::string> names;
  for (size_t at = 0, end; at < list.size() && list[at] != '\0'; at = end + 1) {
    end = std::min(list.find('\0', at), list.size());
    names.push_back(list.substr(at, end - at));
  }
  return names;
}

std::vector<std::string> Tokens(std::string text, char separator) {
  std::vector<std::string> out;
  text += std::string(2, '\0');  // a NUL-separated list ends with an empty name
  char* cursor = &text[0];
  while (char* token = StringGetNextA(&cursor, separator)) out.push_back(token);
  return out;
}

void CheckCopies(const std::string& text, size_t size) {
  std::vector<char> out(size + 1, 'x');
  size_t length = std::min(text.size(), size - 1);
  FUZZ_CHECK(guxstrcpy(out.data(), text.c_str(), size) == (size == 0 ? 0 : length));
  FUZZ_CHECK(size == 0 ? out[0] == 'x' : text.substr(0, length) == out.data());
  size_t count = size / 2;
  length = std::min({text.size(), size - 1, count});
  FUZZ_CHECK(guxstrncpy(out.data(), text.c_str(), size, count) == (size == 0 ? 0 : length));
  FUZZ_CHECK(size == 0 || text.substr(0, length) == out.data());
}

void CheckReplacement(const std::string& text, size_t size) {
  const std::string placeholder = "{{x}}";
  std::string replacement = text.substr(text.find(':') + 1);
  std::string expected;
  size_t at = 0;
  for (size_t found; (found = text.find(placeholder, at)) != std::string::npos;
       at = found + placeholder.size())
    expected += text.substr(at, found - at) + replacement;
  expected += text.substr(at);
  bool fits = expected.size() + 1 <= size;
  std::vector<char> buffer(std::max(size, text.size() + 1));
  memcpy(buffer.data(), text.c_str(), text.size() + 1);
  int rc = StringFindAndReplaceA(buffer.data(), size, placeholder.c_str(), replacement.c_str());
  FUZZ_CHECK(rc == (fits || at == 0 ? 1 : 0));
  FUZZ_CHECK((fits ? expected : text) == buffer.data());
}

void CheckFingerprint(const std::string& text) {
  char out[65];
  FUZZ_CHECK(KwFPFromData_r(text.data(), text.size(), out, sizeof out, 3) == 0);
  FUZZ_CHECK(strlen(out) == 64 && strspn(out, "0123456789abcdef") == 64);
  for (auto [capacity, selector] : {std::pair{sizeof out, 2}, {sizeof out - 1, 3}}) {
    FUZZ_CHECK(KwFPFromData_r(text.data(), text.size(), out, capacity, selector) != 0);
    FUZZ_CHECK(out[0] == '\0');
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  char separator = static_cast<char>(data[0]);
  std::string raw(reinterpret_cast<const char*>(data) + 2, size - 2);
  std::string text = fuzz::CText(data + 2, size - 2);
  FUZZ_CHECK(Tokens(raw, separator) ==
             (separator == '\0' ? ListNames(raw) : fuzz::Items(text, separator)));
  size_t bound = data[1] % (text.size() + 2);
  CheckCopies(text, bound);
  CheckReplacement(text, bound + text.size());
  CheckFingerprint(raw);
  return 0;
}
