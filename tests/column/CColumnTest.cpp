// A column: its definition syntax and its value held as text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "taldb/CColumn.h"

using TalDB::CColumn;
using Logs = std::vector<LogLine>;

TEST(CColumnTest, SetInfoParsesDefinitions) {
  struct Case {
    const char* definition;
    int rc;
    const char* name;
    int type;
  } cases[] = {
      {"id[int]", 0, "id", TalDB::TYPE_INT},
      {"size[bigint]", 0, "size", TalDB::TYPE_BIGINT},
      {"host[varchar]", 0, "host", TalDB::TYPE_VARCHAR},
      {"flag", 2, "old", TalDB::TYPE_NONE},         // no "[": untouched
      {"note[text]", 1, "note", TalDB::TYPE_NONE},  // renamed, type kept
      {"Id[INT]", 1, "Id", TalDB::TYPE_NONE},
      {"varchar(32)[varchar(32)]", 1, "varchar(32)", TalDB::TYPE_NONE},
      {"[int]", 0, "", TalDB::TYPE_INT},
      {"id [int]", 0, "id ", TalDB::TYPE_INT},
      {"n[int", 0, "n", TalDB::TYPE_INT},
      {"id[int]pk", 0, "id", TalDB::TYPE_INT},
      {"a]b[int]", 0, "a]b", TalDB::TYPE_INT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.definition);
    LogCapture log;
    CColumn column("old");
    EXPECT_EQ(column.SetInfo(c.definition), c.rc);
    EXPECT_STREQ(column.name(), c.name);
    EXPECT_EQ(column.type(), c.type);
    EXPECT_FALSE(column.isPrimaryKey());
    EXPECT_EQ(log.take(), c.rc == 1 ? Logs{Info(1, "invalid data type")} : Logs{});
  }
}

TEST(CColumnTest, ConvertsValuesAndKeepsTheLeadingNumber) {
  struct Case {
    const char* value;
    int bigRc;
    int64_t big;
    int intRc;
    int small;
  } cases[] = {
      {"9000000000", 0, 9000000000LL, 0, 0},  // int result: whatever the conversion saturates to
      {"-5", 0, -5, 0, -5},
      {"", 0, 0, 0, 0},
      {" 42", 0, 42, 0, 42},
      {"12 ", 20, 12, 20, 12},
      {"0x10", 20, 0, 20, 0},
      {"4a", 20, 4, 20, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    LogCapture log;
    CColumn column("n");
    ASSERT_EQ(column.SetData(c.value), 0);
    int64_t big = 77;
    int small = 77;
    EXPECT_EQ(column.GetDataBigInt(big), c.bigRc);
    EXPECT_EQ(big, c.big);
    EXPECT_EQ(column.GetDataInt(small), c.intRc);
    if (c.big == static_cast<int>(c.big)) {
      EXPECT_EQ(small, c.small);
    }
    Logs expected;
    if (c.bigRc != 0) {
      expected = {Err(20, std::string("GetDataBigInt Error: invalid data [") + c.value + "]"),
                  Err(20, std::string("GetDataInt Error: invalid data [") + c.value + "]")};
    }
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
  EXPECT_EQ(log.take(), (Logs{Err(20, "GetDataStr Error: invalid parameter"),
                              Err(20, "GetDataStr Error: invalid parameter")}));

  // A copy owns its value, and a longer value after a shorter one is stored whole.
  CColumn copy(column);
  column.SetData("a much longer second value");
  EXPECT_STREQ(copy.data(), "abcdef");
  EXPECT_STREQ(column.data(), "a much longer second value");
}
