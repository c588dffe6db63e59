// A column: its definition syntax and its value held as text.
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

TEST(CColumnTest, ConvertsValuesAndKeepsTheLeadingNumber) {
  // {value, result, 64-bit value, 32-bit value}; both conversions fail alike.
  const std::tuple<const char*, int, int64_t, int> cases[] = {
      {"9000000000", 0, 9000000000LL, 0},
      {"-5", 0, -5, -5},
      {"", 0, 0, 0},
      {" 42", 0, 42, 42},
      {"12 ", 20, 12, 12},
      {"0x10", 20, 0, 0},
  };
  for (auto [value, rc, big, small] : cases) {
    SCOPED_TRACE(value);
    LogCapture log;
    CColumn column("n");
    ASSERT_EQ(column.SetData(value), 0);
    int64_t gotBig = 77;
    int gotSmall = 77;
    EXPECT_EQ(column.GetDataBigInt(gotBig), rc);
    EXPECT_EQ(gotBig, big);
    EXPECT_EQ(column.GetDataInt(gotSmall), rc);
    if (big == static_cast<int>(big)) {
      EXPECT_EQ(gotSmall, small);
    }
    Logs expected;
    if (rc != 0)
      expected = {Err(20, std::string("GetDataBigInt Error: invalid data [") + value + "]"),
                  Err(20, std::string("GetDataInt Error: invalid data [") + value + "]")};
    EXPECT_EQ(log.take(), expected);
  }
}

TEST(CColumnTest, ValueIsOwnedCopiedAndReadBack) {
  LogCapture log;
  CColumn column("n");
  EXPECT_EQ(column.data(), nullptr);
  char buf[4] = "xyz";
  EXPECT_EQ(column.GetDataStr(buf, sizeof buf), 0);  // absent reads as empty
  EXPECT_STREQ(buf, "");
  ASSERT_EQ(column.SetData(nullptr), 0);
  ASSERT_NE(column.data(), nullptr);
  EXPECT_STREQ(column.data(), "");

  column.SetData("abcdef");
  EXPECT_EQ(column.GetDataStr(buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(column.GetDataStr(nullptr, 4), 20);
  EXPECT_EQ(column.GetDataStr(buf, 0), 20);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(log.take(), Logs(2, Err(20, "GetDataStr Error: invalid parameter")));

  // A copy owns its value, and a longer value after a shorter one is stored whole.
  CColumn copy(column);
  column.SetData("a much longer second value");
  EXPECT_STREQ(copy.data(), "abcdef");
  EXPECT_STREQ(column.data(), "a much longer second value");
}
