// White-space removal and the directory iterator.
#include <dirent.h>

#include <set>
#include <string>

#include "TempRoot.h"
#include "taldb/CDirIterator.h"
#include "taldb/CUtils.h"

using TalDB::CDirIterator;
using TalDB::CUtils;

TEST(CUtilsTest, StripAndTrim) {
  struct Case {
    const char* text;
    const char* stripped;
    const char* trimmed;
  } cases[] = {
      {" a b\tc ", "abc", "a b\tc"},
      {"  a b  ", "ab", "a b"},
      {"x", "x", "x"},
      {"   ", "", ""},
      {"", "", ""},
      {"\r\n\v\fk\r\n", "k", "k"},
      {"\xA0"
       "a\xA0 ",
       "\xA0"
       "a\xA0",
       "\xA0"
       "a\xA0"},  // 0xA0 is not white space
  };
  for (const Case& c : cases) {
    std::string a = c.text, b = c.text;
    CUtils::strstrip(&a[0]);
    CUtils::trim(&b[0]);
    EXPECT_STREQ(a.c_str(), c.stripped) << '"' << c.text << '"';
    EXPECT_STREQ(b.c_str(), c.trimmed) << '"' << c.text << '"';
  }
  CUtils::strstrip(nullptr);
  CUtils::trim(nullptr);
}

class CDirIteratorTest : public TempRootTest {};

TEST_F(CDirIteratorTest, WithoutAStreamEverythingIsANoOp) {
  CDirIterator it(at("never").c_str());
  EXPECT_EQ(it.read(), nullptr);
  EXPECT_EQ(it.tell(), 0);
  struct dirent entry;
  struct dirent* result = &entry;
  EXPECT_EQ(it.read(&entry, &result), 0);
  EXPECT_EQ(result, &entry);  // not written
  it.seek(3);
  it.rewind();
  it.close();
  EXPECT_EQ(it.open(), -1);
}

TEST_F(CDirIteratorTest, ReadsAndRewindsAndClosesOnAFailedOpen) {
  makeDir("d");
  writeFile("d/a", "");
  writeFile("d/b", "");
  CDirIterator it;
  ASSERT_EQ(it.open(at("d").c_str()), 0);
  std::set<std::string> seen;
  while (struct dirent* e = it.read()) seen.insert(e->d_name);
  EXPECT_EQ(seen, (std::set<std::string>{".", "..", "a", "b"}));
  EXPECT_EQ(it.read(), nullptr);
  it.rewind();
  EXPECT_NE(it.read(), nullptr);
  // A failed open still closes the stream that was open before it.
  EXPECT_EQ(it.open(at("missing").c_str()), -1);
  EXPECT_EQ(it.read(), nullptr);
}
