// A column: its definition syntax.
#include <gtest/gtest.h>

#include <vector>

#include "LogCapture.h"
#include "taldb/CColumn.h"

// The definition rule and its codes are the schema line fuzz target's; here the log line of a type
// the store does not know, which renames the column and keeps its type.
TEST(CColumnTest, AnUnknownTypeIsLogged) {
  LogCapture log;
  TalDB::CColumn column("old");
  EXPECT_EQ(column.SetInfo("note[text]"), 1);
  EXPECT_STREQ(column.name(), "note");
  EXPECT_EQ(column.type(), TalDB::TYPE_NONE);
  EXPECT_EQ(log.take(), (std::vector<LogLine>{Info(1, "invalid data type")}));
}
