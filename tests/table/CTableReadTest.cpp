// Reading one record file into the table's columns, and telling directories apart.
#include <dirent.h>

#include <string>

#include "TableFixture.h"

// What the columns hold after a record line is read is the record line fuzz target's; here the
// codes' log lines, a missing file and a name that is no id.
TEST_F(TableTest, ReadRecordFillsColumnsOrLeavesTheDocumentedState) {
  for (auto [content, logged] : {std::pair{"a|", "can't readRecord: record's content error"},
                                 {"\na|b|", "record length is 0, error"}}) {
    put("7", content);
    EXPECT_EQ(table->readRecord("7"), 16);
    EXPECT_EQ(log_.take(), (Logs{Err(16, logged)}));
  }
  put("0", "old|1|");
  ASSERT_EQ(table->readRecord("0"), 0);
  EXPECT_EQ(table->readRecord("missing"), 8);
  EXPECT_EQ(current(), (Values{"0", "old", "1"}));
  EXPECT_EQ(log_.take(), (Logs{Err(8, "failed to open record file: " + recordPath("missing"))}));
  put("12.tmp", "x|9|");
  EXPECT_EQ(table->readRecord("12.tmp"), 0);
  EXPECT_EQ(current(), (Values{"12.tmp", "x", "9"}));
}

TEST_F(TableTest, IsDirFollowsLinks) {
  makeDir(record("sub"));
  put("file", "a|b|");
  ASSERT_EQ(symlink(at(record("sub")).c_str(), recordPath("link").c_str()), 0);
  struct dirent entry = {};
  char dir[4096];
  snprintf(dir, sizeof dir, "%s", table->path());
  for (auto [name, isDir] :
       {std::pair{"sub", true}, {"link", true}, {"file", false}, {"absent", false}}) {
    snprintf(entry.d_name, sizeof entry.d_name, "%s", name);
    EXPECT_EQ(table->IsDir(&entry, dir), isDir) << name;
  }
}
