// repair: what it does with each kind of leftover, what it logs, and what it
// leaves when a step fails.
#include <errno.h>

#include "TableFixture.h"
#include "taldb/CTalDatabase.h"

namespace {

using Files = std::vector<std::pair<std::string, std::string>>;

struct RepairCase {
  const char* what;
  Files before;
  Files after;
  // "PATH" stands for the path of the file the line is about.
  std::vector<std::pair<int, std::string>> logged;  // {level, text}
};

}  // namespace

class RepairTest : public TableTest {
 protected:
  Files contents() const {
    Files out;
    for (const std::string& name : files()) out.push_back({name, readFile(record(name))});
    return out;
  }
};

TEST_F(RepairTest, ActsOnEachKindOfEntry) {
  const RepairCase cases[] = {
      {"whole leftover, record missing",
       {{"5.tmp", "a|1|"}},
       {{"5", "a|1|"}},
       {{GUX_LOG_INFO, "5.tmp: renamed into place: its record was missing"}}},
      {"leftover beside its record",
       {{"6", "old|1|"}, {"6.tmp", "new|2|"}},
       {{"6", "old|1|"}},
       {{GUX_LOG_INFO, "6.tmp: removed: its record exists, so this write never completed"}}},
      {"too few fields",
       {{"7.tmp", "a|"}},
       {{"7.tmp", "a|"}},
       {{GUX_LOG_ERROR, "7.tmp: left in place: not a whole record, inspect it by hand"}}},
      {"last field unclosed",
       {{"7.tmp", "a|1"}},
       {{"7.tmp", "a|1"}},
       {{GUX_LOG_ERROR, "7.tmp: left in place: not a whole record, inspect it by hand"}}},
      {"empty leftover",
       {{"9.tmp", ""}},
       {{"9.tmp", ""}},
       {{GUX_LOG_ERROR, "9.tmp: left in place: not a whole record, inspect it by hand"}}},
      {"marked name",
       {{"8.ADD", "x|1|"}, {"3", "a|1|"}},
       {{"3", "a|1|"}},
       {{GUX_LOG_INFO, "8.ADD: removed: a marked name, never a record"}}},
      {"records and other names",
       {{"3", "a|1|"}, {"x.tmpl", "b|2|"}},
       {{"3", "a|1|"}, {"x.tmpl", "b|2|"}},
       {}},
  };
  for (const RepairCase& c : cases) {
    SCOPED_TRACE(c.what);
    for (const std::string& name : files()) unlink(recordPath(name).c_str());
    for (const auto& file : c.before) put(file.first, file.second);
    log_.clear();
    EXPECT_EQ(table->repair(), 0);
    EXPECT_EQ(contents(), c.after);
    Logs expected;
    for (const auto& line : c.logged) {
      std::string text = recordPath(line.second.substr(0, line.second.find(':'))) +
                         line.second.substr(line.second.find(':'));
      expected.push_back({line.first, line.first == GUX_LOG_INFO ? 0 : 16, text});
    }
    EXPECT_EQ(log_.take(), expected);
  }
}

TEST_F(RepairTest, OneColumnTableStoresTheEmptyRecord) {
  makeTable("tags", "id[int]");
  writeFile("tal/database/tags/4.tmp", "");
  writeFile("tal/database/tags/5.tmp", "x");
  TalDB::CTable tags(root_.c_str(), "tags");
  ASSERT_EQ(tags.Open(), 0);
  EXPECT_EQ(tags.repair(), 0);
  EXPECT_EQ(list("tal/database/tags"), (std::vector<std::string>{"4", "5.tmp"}));
}

// A failed step is reported with 20, and the entries after it are still
// repaired.
TEST_F(RepairTest, FailedStepsReturn20AndTheWalkGoesOn) {
  struct Case {
    fault::Call call;
    Files before;
    std::string message;
  } cases[] = {
      {fault::kRename,
       {{"5.tmp", "a|1|"}},
       "5.tmp: cannot be renamed into place (Input/output error)"},
      {fault::kUnlink,
       {{"5", "a|1|"}, {"5.tmp", "b|2|"}},
       "5.tmp: cannot be removed (Input/output error)"},
  };
  for (const Case& c : cases) {
    for (const std::string& name : files()) unlink(recordPath(name).c_str());
    for (const auto& file : c.before) put(file.first, file.second);
    put("6", "old|1|");
    put("6.tmp", "new|1|");
    fault::failCall(c.call, EIO, 1, "5.tmp");
    log_.clear();
    EXPECT_EQ(table->repair(), 20);
    EXPECT_TRUE(exists(record("5.tmp")));
    EXPECT_FALSE(exists(record("6.tmp")));
    Logs logged = log_.take();
    EXPECT_NE(std::find(logged.begin(), logged.end(), Err(20, recordPath("") + c.message)),
              logged.end());
  }
}

TEST_F(RepairTest, RefusesWithoutLockOrDirectory) {
  TalDB::CTable unlocked;
  EXPECT_EQ(unlocked.repair(), 20);
  EXPECT_EQ(log_.take(), Logs{Err(20, "Thread lock is not acquired, cannot proceed!")});
  rmdir(at("tal/database/hosts").c_str());
  EXPECT_EQ(table->repair(), 7);
}

// The database repairs every table, also after one that fails, and returns
// the first failure.
TEST_F(RepairTest, DatabaseRepairsEveryTable) {
  makeTable("a", "id[int]|v[int]");
  makeTable("b", "id[int]|v[int]");
  TalDB::CTalDatabase db;
  ASSERT_EQ(db.open(root_.c_str()), 0);
  EXPECT_EQ(db.repair(), 0);
  writeFile("tal/database/b/1.tmp", "x|");
  put("2.tmp", "n|1|");
  rmdir(at("tal/database/a").c_str());
  EXPECT_EQ(db.repair(), 7);
  EXPECT_TRUE(exists("tal/database/b/1"));
  EXPECT_TRUE(exists(record("2")));
  EXPECT_EQ(TalDB::CTalDatabase().repair(), 0);
}
