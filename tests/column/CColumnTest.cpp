// A column: its definition syntax.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "taldb/CColumn.h"

using TalDB::CColumn;
using Logs = std::vector<LogLine>;

TEST(CColumnTest, SetInfoParsesDefinitions) {
  // The definition rule's edge cases are the schema line fuzz target's; here its codes and log.
  const std::tuple<const char*, int, const char*, int> cases[] = {
      {"size[bigint]", 0, "size", TalDB::TYPE_BIGINT},
      {"flag", 2, "old", TalDB::TYPE_NONE},         // no "[": untouched
      {"note[text]", 1, "note", TalDB::TYPE_NONE},  // renamed, type kept
  };
  for (auto [definition, rc, name, type] : cases) {
    SCOPED_TRACE(definition);
    LogCapture log;
    CColumn column("old");
    EXPECT_EQ(column.SetInfo(definition), rc);
    EXPECT_STREQ(column.name(), name);
    EXPECT_EQ(column.type(), type);
    EXPECT_FALSE(column.isPrimaryKey());
    EXPECT_EQ(log.take(), rc == 1 ? Logs{Info(1, "invalid data type")} : Logs{});
  }
}
