// The directory iterator: without a stream every call is a no-op, and a failed
// open still closes the stream that was open before it.
#include <dirent.h>

#include <set>
#include <string>

#include "TempRoot.h"
#include "taldb/CDirIterator.h"

using TalDB::CDirIterator;

class CDirIteratorTest : public TempRootTest {};

TEST_F(CDirIteratorTest, ReadsRewindsAndClosesOnAFailedOpen) {
  CDirIterator never(at("never").c_str());
  struct dirent entry;
  struct dirent* result = &entry;
  never.seek(3);
  never.rewind();
  EXPECT_TRUE(never.read() == nullptr && never.tell() == 0 && never.read(&entry, &result) == 0);
  EXPECT_EQ(result, &entry);  // not written
  EXPECT_EQ(never.open(), -1);

  writeFile("a", "");
  CDirIterator it;
  ASSERT_EQ(it.open(root_.c_str()), 0);
  std::set<std::string> seen;
  while (struct dirent* e = it.read()) seen.insert(e->d_name);
  EXPECT_EQ(seen, (std::set<std::string>{".", "..", "a"}));
  it.rewind();
  EXPECT_NE(it.read(), nullptr);
  EXPECT_EQ(it.open(at("missing").c_str()), -1);
  EXPECT_EQ(it.read(), nullptr);
}
