// Reading one record file into the table's columns, and telling directories apart.
#include <dirent.h>

#include <string>

#include "TableFixture.h"

TEST_F(TableTest, ReadRecordFillsColumnsOrLeavesTheDocumentedState) {
  const std::string contentError = "can't readRecord: record's content error";
  // A line longer than the reader's own buffer; each value keeps 2047 bytes.
  const std::string longLine = "a|" + std::string(5000, 'b') + "|\nrest";
  struct Case {
    const char* content;
    int rc;
    Values after;  // the previous record was 0 / old / 1
    const char* logged;
  } cases[] = {
      {"a|b|c|d|", 0, {"7", "a", "b"}, nullptr},
      {"a|b|\nx|y|", 0, {"7", "a", "b"}, nullptr},
      {"|8080|", 0, {"7", "", "8080"}, nullptr},
      {" a | b", 0, {"7", " a ", " b"}, nullptr},
      {longLine.c_str(), 0, {"7", "a", std::string(2047, 'b')}, nullptr},
      {"a", 16, {"7", "a", "1"}, contentError.c_str()},
      {"a|", 16, {"7", "a", "1"}, contentError.c_str()},
      {"", 16, {"0", "old", "1"}, "record length is 0, error"},
      {"\na|b|", 16, {"0", "old", "1"}, "record length is 0, error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.content);
    put("0", "old|1|");
    ASSERT_EQ(table->readRecord("0"), 0);
    put("7", c.content);
    EXPECT_EQ(table->readRecord("7"), c.rc);
    EXPECT_EQ(current(), c.after);
    EXPECT_EQ(log_.take(), c.logged ? Logs{Err(16, c.logged)} : Logs{});
  }
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
