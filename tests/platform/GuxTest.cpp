// The utility-library stand-in: the behaviour the store relies on.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "TempRoot.h"
#include "gux.h"

namespace {

std::vector<std::string> Tokens(std::string text, char separator) {
  std::vector<std::string> out;
  char* cursor = &text[0];
  while (char* token = StringGetNextA(&cursor, separator)) out.push_back(token);
  return out;
}

}  // namespace

TEST(GuxText, TokeniserCopiesAndReplacement) {
  using V = std::vector<std::string>;
  EXPECT_EQ(Tokens("a||b|", '|'), (V{"a", "", "b"}));
  EXPECT_EQ(Tokens("", '|'), V{});
  char* null = nullptr;
  EXPECT_EQ(StringGetNextA(&null, ','), nullptr);
  // A NUL-separated list ends at its empty name.
  EXPECT_EQ(Tokens(std::string("one\0two\0\0junk", 13), '\0'), (V{"one", "two"}));

  char out[4] = "xyz";
  EXPECT_EQ(guxstrcpy(out, "q", 0), 0u);
  EXPECT_STREQ(out, "xyz");
  EXPECT_EQ(guxstrncpy(out, "abcdef", sizeof out, 2), 2u);
  EXPECT_STREQ(out, "ab");
  char value[5];
  EXPECT_EQ(KwStringUnescapeA("a\\|b\\n", value, sizeof value), 4);
  EXPECT_STREQ(value, "a\\|b");

  // {text, buffer size, replacement, replaced, result}: replaced text is not
  // rescanned, and a result that would not fit leaves the text unchanged.
  const std::tuple<const char*, size_t, const char*, bool, const char*> cases[] = {
      {"{{x}},{{x}}", 64, "7", true, "7,7"},
      {"{{x}}", 64, "{{x}}{{x}}", true, "{{x}}{{x}}"},
      {"{{x}}", 8, "12345678", false, "{{x}}"},
      {"{{x}}", 9, "12345678", true, "12345678"},
  };
  for (auto [text, size, replacement, replaced, result] : cases) {
    char buffer[64];
    strcpy(buffer, text);
    EXPECT_EQ(StringFindAndReplaceA(buffer, size, "{{x}}", replacement) != 0, replaced) << text;
    EXPECT_STREQ(buffer, result) << text;
  }
}

TEST(GuxText, FingerprintIsSha256InHex) {
  char out[65];
  EXPECT_EQ(KwFPFromData_r("abc", 3, out, sizeof out, 3), 0);
  EXPECT_STREQ(out, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_NE(KwFPFromData_r("abc", 3, out, sizeof out, 2), 0);
  EXPECT_STREQ(out, "");
  EXPECT_NE(KwFPFromData_r("abc", 3, out, 64, 3), 0);
  EXPECT_STREQ(out, "");
}

class GuxFileTest : public TempRootTest {};

// The reading rules are the ini fuzz target's; here what its inputs cannot ask for.
TEST_F(GuxFileTest, IniReaderWithoutFileOrDefault) {
  writeFile("a.ini", "[one]\nkey = v\n");
  char buf[8] = "x";
  EXPECT_EQ(InifileGetValueA("one", "x", buf, sizeof buf, nullptr, at("a.ini").c_str()), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(InifileGetValueA("one", "key", buf, sizeof buf, nullptr, at("missing").c_str()), -1);
}

TEST_F(GuxFileTest, DirectoryTrees) {
  EXPECT_TRUE(CreateTreeA(at("a/b/c").c_str(), 0700));
  EXPECT_TRUE(CreateTreeA(at("a/b/c").c_str(), 0700));  // existing is fine
  writeFile("a/file", "x");
  errno = 0;
  EXPECT_FALSE(CreateTreeA(at("a/file/d").c_str(), 0700));
  EXPECT_EQ(errno, ENOTDIR);

  makeDir("outside");
  writeFile("outside/keep", "x");
  ASSERT_EQ(symlink(at("outside").c_str(), at("a/b/link").c_str()), 0);
  EXPECT_TRUE(DeleteTreeA(at("a").c_str()));
  EXPECT_FALSE(exists("a"));
  EXPECT_TRUE(exists("outside/keep"));  // the link was removed, not followed
  EXPECT_TRUE(DeleteTreeA(at("a").c_str()));

  makeDir("b/c");
  fault::failCall(fault::kRmdir, EBUSY, 1, "/b/c");
  EXPECT_FALSE(DeleteTreeA(at("b").c_str()));
  EXPECT_EQ(errno, EBUSY);
}
