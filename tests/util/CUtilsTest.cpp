// The directory iterator.
#include <dirent.h>

#include <set>
#include <string>

#include "TempRoot.h"
#include "taldb/CDirIterator.h"

using TalDB::CDirIterator;

class CDirIteratorTest : public TempRootTest {};

TEST_F(CDirIteratorTest, ReadsRewindsAndClosesOnAFailedOpen) {
  CDirIterator never(at("never").c_str());  // without a stream everything is a no-op
  EXPECT_EQ(never.read(), nullptr);
  EXPECT_EQ(never.tell(), 0);
  struct dirent entry;
  struct dirent* result = &entry;
  EXPECT_EQ(never.read(&entry, &result), 0);
  EXPECT_EQ(result, &entry);  // not written
  never.seek(3);
  never.rewind();
  never.close();
  EXPECT_EQ(never.open(), -1);

  makeDir("d");
  writeFile("d/a", "");
  CDirIterator it;
  ASSERT_EQ(it.open(at("d").c_str()), 0);
  std::set<std::string> seen;
  while (struct dirent* e = it.read()) seen.insert(e->d_name);
  EXPECT_EQ(seen, (std::set<std::string>{".", "..", "a"}));
  EXPECT_EQ(it.read(), nullptr);
  it.rewind();
  EXPECT_NE(it.read(), nullptr);
  // A failed open still closes the stream that was open before it.
  EXPECT_EQ(it.open(at("missing").c_str()), -1);
  EXPECT_EQ(it.read(), nullptr);
}
