// repair: what it does with each kind of leftover, what it logs, and what it
// leaves when a step fails.
#include <errno.h>

#include "TableFixture.h"
#include "taldb/CTalDatabase.h"

using Files = std::vector<std::pair<std::string, std::string>>;

class RepairTest : public TableTest {
 protected:
  // Replaces the table's files by these.
  void lay(const Files& wanted) {
    for (const std::string& name : files()) unlink(recordPath(name).c_str());
    for (const auto& file : wanted) put(file.first, file.second);
    log_.take();
  }
  Files contents() const {
    Files out;
    for (const std::string& name : files()) out.push_back({name, readFile(record(name))});
    return out;
  }
};

TEST_F(RepairTest, ActsOnEachKindOfEntry) {
  const std::string partial = "left in place: not a whole record, inspect it by hand";
  // The log line is "<path of the entry>: <what>", at info level when repair
  // acted and at error level (code 16) when it left the entry alone.
  struct Case {
    Files before, after;
    std::string entry, what;
  } cases[] = {
      {{{"5.tmp", "a|1|"}}, {{"5", "a|1|"}}, "5.tmp", "renamed into place: its record was missing"},
      {{{"6", "old|1|"}, {"6.tmp", "new|2|"}},
       {{"6", "old|1|"}},
       "6.tmp",
       "removed: its record exists, so this write never completed"},
      {{{"7.tmp", "a|"}}, {{"7.tmp", "a|"}}, "7.tmp", partial},    // too few fields
      {{{"7.tmp", "a|1"}}, {{"7.tmp", "a|1"}}, "7.tmp", partial},  // last field unclosed
      {{{"9.tmp", ""}}, {{"9.tmp", ""}}, "9.tmp", partial},
      {{{"8.ADD", "x|1|"}, {"3", "a|1|"}},
       {{"3", "a|1|"}},
       "8.ADD",
       "removed: a marked name, never a record"},
      {{{"3", "a|1|"}, {"x.tmpl", "b|2|"}}, {{"3", "a|1|"}, {"x.tmpl", "b|2|"}}, "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.entry + " " + c.what);
    lay(c.before);
    EXPECT_EQ(table->repair(), 0);
    EXPECT_EQ(contents(), c.after);
    Logs expected;
    std::string line = recordPath(c.entry) + ": " + c.what;
    if (!c.entry.empty()) expected.push_back(c.what == partial ? Err(16, line) : Info(0, line));
    EXPECT_EQ(log_.take(), expected);
  }
  // In a one-column table the empty leftover is a whole record.
  makeTable("tags", "id[int]");
  writeFile("tal/database/tags/4.tmp", "");
  writeFile("tal/database/tags/5.tmp", "x");
  TalDB::CTable tags(root_.c_str(), "tags");
  ASSERT_EQ(tags.Open(), 0);
  EXPECT_EQ(tags.repair(), 0);
  EXPECT_EQ(list("tal/database/tags"), (Names{"4", "5.tmp"}));
}

// A failed step is reported with 20, and the entries after it are still
// repaired.
TEST_F(RepairTest, FailedStepsReturn20AndTheWalkGoesOn) {
  for (auto [call, before, message] :
       {std::tuple{fault::kRename, Files{{"5.tmp", "a|1|"}},
                   "5.tmp: cannot be renamed into place (Input/output error)"},
        {fault::kUnlink, Files{{"5", "a|1|"}, {"5.tmp", "b|2|"}},
         "5.tmp: cannot be removed (Input/output error)"}}) {
    before.push_back({"6", "old|1|"});
    before.push_back({"6.tmp", "new|1|"});
    lay(before);
    fault::failCall(call, EIO, 1, "5.tmp");
    EXPECT_EQ(table->repair(), 20);
    EXPECT_TRUE(exists(record("5.tmp")));
    EXPECT_FALSE(exists(record("6.tmp")));
    Logs logged = log_.take();
    EXPECT_NE(std::find(logged.begin(), logged.end(), Err(20, recordPath("") + message)),
              logged.end());
  }
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
  DeleteTreeA(at("tal/database/hosts").c_str());
  EXPECT_EQ(table->repair(), 7);
}
