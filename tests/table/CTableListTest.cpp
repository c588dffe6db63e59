// Counting and listing records, conditions, and looking values up.
#include <algorithm>
#include <string>
#include <thread>

#include "TableFixture.h"

using TalDB::CColumn;
using TalDB::CTable;

namespace {
// The log lines of one code, in any order.
Logs WithCode(Logs lines, int code) {
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [code](const LogLine& l) { return l.code != code; }),
              lines.end());
  std::sort(lines.begin(), lines.end(), [](auto& a, auto& b) { return a.text < b.text; });
  return lines;
}
}  // namespace

TEST_F(TableTest, ScansSkipMarkedAndUnreadableEntries) {
  put("5", "a|80|");
  put("5.ADD", "b|81|");
  put("7.UPDATE.x", "c|82|");
  put("6", "");
  put("9.tmp", "t|90|");
  makeDir(record("sub"));
  EXPECT_EQ(table->records(), 4);  // files are not opened to be counted
  const LogLine add = Err(16, "invalid record name found: 5.ADD."),
                update = Err(16, "invalid record name found: 7.UPDATE.x.");
  EXPECT_EQ(WithCode(log_.take(), 16), (Logs{add, update}));

  std::vector<std::string> listed;
  for (int rc = table->ListRecordsStart(nullptr); rc == 0; rc = table->ListRecordsNext(nullptr)) {
    listed.push_back(table->columns()[0]->data());
  }
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, (Values{"5", "9.tmp"}));
  Logs logged = log_.take();
  // The empty file and the directory both read as an empty record line.
  EXPECT_EQ(WithCode(logged, 16), (Logs{add, update, Err(16, "record length is 0, error"),
                                        Err(16, "record length is 0, error")}));
}

TEST_F(TableTest, ListingStates) {
  put("1", "a|1|");
  put("2", "b|2|");
  EXPECT_EQ(table->ListRecordsNext(nullptr), 12);  // no stream yet
  ASSERT_EQ(table->ListRecordsStart(nullptr), 0);
  std::string first = table->columns()[0]->data();
  EXPECT_EQ(table->ListRecordsNext(nullptr), 0);
  EXPECT_EQ(table->ListRecordsNext(nullptr), 12);
  EXPECT_EQ(table->ListRecordsNext(nullptr), 12);  // exhausted stays exhausted
  ASSERT_EQ(table->ListRecordsStart(nullptr), 0);  // a new start begins again
  EXPECT_EQ(table->columns()[0]->data(), first);
  EXPECT_EQ(table->records(), 2);  // another scan replaces the stream
  EXPECT_EQ(table->ListRecordsNext(nullptr), 12);
  EXPECT_EQ(table->ListRecordsStart(""), 12);  // the empty condition matches nothing
  EXPECT_TRUE(log_.take().empty());

  std::vector<CColumn*> seen;
  EXPECT_EQ(table->clear(), 0);
  EXPECT_EQ(table->records(), 0);
  EXPECT_EQ(table->ListRecordsStart(nullptr), 12);
  EXPECT_EQ(table->GetRecord("1", seen), 12);
  DeleteTreeA(at("tal/database/hosts").c_str());
  EXPECT_EQ(table->records(), -1);
  EXPECT_EQ(table->ListRecordsStart(seen, nullptr), 7);
  EXPECT_EQ(table->GetRecord("1", seen), 7);
  EXPECT_TRUE(seen.empty());
  EXPECT_TRUE(log_.take().empty());
}

TEST_F(TableTest, ConditionRules) {
  put("5", "x y|a=b|");
  ASSERT_EQ(table->readRecord("5"), 0);
  struct Case {
    const char* condition;
    bool match;
  } cases[] = {
      {"id=5", true},           {"id=05", false},        {"name = x y ", true},
      {"na me=x y", true},      {"name=X Y", false},     {"name=xy", false},
      {"port=a=b", true},       {"id=5,name=x y", true}, {"id=5,name=z", false},
      {"id=6,name=x y", false}, {"id=5,junk", true},     {"junk,id=5", false},
      {"id=5,", true},          {"id", false},           {"", false},
      {"nope=5", false},        {"=5", false},           {"id=\t5\n", true},
  };
  for (const Case& c : cases) EXPECT_EQ(table->MatchColumn(c.condition), c.match) << c.condition;
  EXPECT_TRUE(log_.take().empty());
  EXPECT_FALSE(table->MatchColumn(nullptr));
  EXPECT_EQ(log_.take(), (Logs{Info(-1, "no condition")}));

  // The listing applies the same rules, with each call's own condition.
  put("6", "y|1|");
  put("7", "x y|2|");
  ASSERT_EQ(table->ListRecordsStart("name=x y"), 0);
  std::string found = table->columns()[0]->data();
  ASSERT_EQ(table->ListRecordsNext("name=x y"), 0);
  EXPECT_NE(table->columns()[0]->data(), found);
  EXPECT_EQ(table->ListRecordsNext("name=x y"), 12);
  EXPECT_EQ(table->ListRecordsStart("port=2"), 0);
  EXPECT_STREQ(table->columns()[0]->data(), "7");
}

TEST_F(TableTest, LookupsByIdAndKey) {
  put("1", "web01|9000000000|");
  put("2", "web02|12abc|");
  put("3", "web03||");
  char buf[4] = "xyz";
  long big = -1;
  int small = -1;
  EXPECT_EQ(table->GetValStr("1", "name", buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "web");
  EXPECT_EQ(table->GetValBigInt("1", "port", big), 0);
  EXPECT_EQ(big, 9000000000L);
  EXPECT_EQ(table->GetValInt("2", "port", small), 20);
  EXPECT_EQ(small, 12);
  EXPECT_EQ(table->GetValBigInt("port", big), 20);  // by key, on the current record
  EXPECT_EQ(big, 12);
  EXPECT_EQ(table->GetValBigInt("3", "port", big), 0);
  EXPECT_EQ(big, 0);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "GetDataInt Error: invalid data [12abc]"),
                               Err(20, "GetDataBigInt Error: invalid data [12abc]")}));

  EXPECT_EQ(table->GetValStr("nope", nullptr, 0), 13);
  EXPECT_EQ(table->GetValStr("name", nullptr, 0), 20);
  EXPECT_EQ(table->GetValBigInt("nope", big), 13);
  EXPECT_EQ(table->GetValInt("1", "nope", small), 13);
  EXPECT_EQ(table->GetValStr("9", "name", buf, sizeof buf), 12);
  EXPECT_EQ(log_.take(), (Logs{Info(-1, "can't find column by key [nope]"),
                               Err(20, "GetDataStr Error: invalid parameter"),
                               Info(13, "can't find column by key [nope]"),
                               Info(13, "can't find column by key [nope]")}));
}

TEST_F(TableTest, VectorFormsHandOutTheTablesOwnColumns) {
  put("1", "a|1|");
  put("2", "b|2|");
  std::vector<CColumn*> seen;
  ASSERT_EQ(table->GetRecord("1", seen), 0);
  EXPECT_EQ(seen, table->columns());
  EXPECT_STREQ(seen[1]->data(), "a");
  ASSERT_EQ(table->ListRecordsStart("id=2"), 0);
  EXPECT_STREQ(seen[1]->data(), "b") << "the values move on with the table's current record";
  std::vector<CColumn*> other;
  EXPECT_EQ(table->ListRecordsNext(other, "id=2"), 12);
  EXPECT_TRUE(other.empty());
  EXPECT_EQ(table->ListRecordsStart(other, "id=2"), 0);
  EXPECT_EQ(other, table->columns());
}

TEST_F(TableTest, TwoCopiesLookUpConcurrently) {
  const int kRecords = 20;
  for (int i = 1; i <= kRecords; ++i) {
    put(std::to_string(i), "host" + std::to_string(i) + "|" + std::to_string(1000 + i) + "|");
  }
  auto lookUp = [&](CTable copy, int offset, int* wrong) {
    for (int n = 0; n < 1000; ++n) {
      int id = (n + offset) % kRecords + 1;
      char name[32];
      int port = 0;
      std::string key = std::to_string(id);
      if (copy.GetValStr(key.c_str(), "name", name, sizeof name) != 0 || name != "host" + key ||
          copy.GetValInt(key.c_str(), "port", port) != 0 || port != 1000 + id) {
        ++*wrong;
      }
    }
  };
  int wrongA = 0, wrongB = 0;
  std::thread a(lookUp, CTable(*table), 0, &wrongA);
  std::thread b(lookUp, CTable(*table), 7, &wrongB);
  a.join();
  b.join();
  EXPECT_EQ(wrongA + wrongB, 0);
  EXPECT_TRUE(log_.take().empty());
}
