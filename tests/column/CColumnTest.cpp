// A column: its definition syntax.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "taldb/CColumn.h"

using TalDB::CColumn;
using Logs = std::vector<LogLine>;

TEST(CColumnTest, SetInfoParsesDefinitions) {
  // The name is everything before "["; the type word runs to "]" or the end.
  const std::tuple<const char*, int, const char*, int> cases[] = {
      {"id[int]", 0, "id", TalDB::TYPE_INT},
      {"size[bigint]", 0, "size", TalDB::TYPE_BIGINT},
      {"host[varchar]", 0, "host", TalDB::TYPE_VARCHAR},
      {"flag", 2, "old", TalDB::TYPE_NONE},         // no "[": untouched
      {"note[text]", 1, "note", TalDB::TYPE_NONE},  // renamed, type kept
      {"Id[INT]", 1, "Id", TalDB::TYPE_NONE},
      {"n[int", 0, "n", TalDB::TYPE_INT},
      {"a]b[int]pk", 0, "a]b", TalDB::TYPE_INT},
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
