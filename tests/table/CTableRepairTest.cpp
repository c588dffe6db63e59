// repair: what it does with each kind of leftover, what it logs, and what it
// leaves when a step fails.
#include <errno.h>

#include <set>

#include "TableFixture.h"
#include "table/SchemaSeal.h"
#include "taldb/CTalDatabase.h"

using RepairTest = TableTest;

TEST_F(RepairTest, ActsOnEachKindOfEntry) {
  const std::string torn = "removed: not a whole record, so this write was never acknowledged";
  // The log line is "<path of the entry>: <what>", at info level.
  const std::string cases[][4] = {
      {"5.tmp:a|1|", "5:a|1|", "5.tmp", "renamed into place: its record was missing"},
      {"6:old|1| 6.tmp:new|2|", "6:old|1|", "6.tmp",
       "removed: its record exists, so this write never completed"},
      {"7.tmp:a|", "", "7.tmp", torn},   // too few fields
      {"7.tmp:a|1", "", "7.tmp", torn},  // last field unclosed
      {"9.tmp:", "", "9.tmp", torn},
      {"8.ADD:x|1| 3:a|1|", "3:a|1|", "8.ADD", "removed: a marked name, never a record"},
      {"3:a|1| x.tmpl:b|2|", "3:a|1| x.tmpl:b|2|", "", ""},
  };
  for (const auto& [before, after, entry, what] : cases) {
    SCOPED_TRACE(entry + " " + what);
    lay(before);
    EXPECT_EQ(table->repair(), 0);
    EXPECT_EQ(contents(), after);
    Logs expected;
    std::string line = recordPath(entry) + ": " + what;
    if (!entry.empty()) expected.push_back(Info(0, line));
    EXPECT_EQ(log_.take(), expected);
  }
  // In a one-column table the empty leftover is a whole record.
  makeTable("tags", "id[int]");
  writeFile("tal/database/tags/4.tmp", "");
  writeFile("tal/database/tags/5.tmp", "x");
  TalDB::CTable tags(root_.c_str(), "tags");
  ASSERT_EQ(tags.Open(), 0);
  EXPECT_EQ(tags.repair(), 0);
  EXPECT_EQ(list("tal/database/tags"), (Names{"4"}));
}

// A failed step is reported with 20, and the entries after it are still
// repaired.
TEST_F(RepairTest, FailedStepsReturn20AndTheWalkGoesOn) {
  for (auto [call, before, message] :
       {std::tuple{fault::kRename, "5.tmp:a|1|",
                   "5.tmp: cannot be renamed into place (Input/output error)"},
        {fault::kUnlink, "5:a|1| 5.tmp:b|2|", "5.tmp: cannot be removed (Input/output error)"}}) {
    lay(std::string(before) + " 6:old|1| 6.tmp:new|1|");
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
  writeFile("tal/database/a", "not a directory");
  EXPECT_EQ(db.repair(), 7);
  EXPECT_FALSE(exists("tal/database/b/1.tmp"));
  EXPECT_TRUE(exists(record("2")));
  EXPECT_EQ(TalDB::CTalDatabase().repair(), 0);
}

// A table whose creation a power cut stopped before its directory was made:
// finished when its schema file is whole, undone when it is not. (One whose
// empty schema kept the database from opening is the tool's and the
// crash-consistency test's.)
TEST_F(RepairTest, TablesWhoseCreationWasCutShort) {
  char seal[TalDB::kFingerprintSize];
  TalDB::SchemaFingerprint("id[int]|v[int]", 14, seal);
  writeFile("tal/schema/whole", "id[int]|v[int]\n" + std::string(seal));
  writeFile("tal/schema/cut", "id[int]|v[int]\nfingerpr");
  TalDB::CTalDatabase db;
  ASSERT_EQ(db.open(root_.c_str()), 0);
  log_.take();
  EXPECT_EQ(db.repair(), 0);
  EXPECT_EQ(list("tal/schema"), (Names{"hosts", "whole"}));
  EXPECT_EQ(list("tal/database"), (Names{"hosts", "whole"}));
  std::set<std::string> lines;
  for (const LogLine& line : log_.take()) lines.insert(line.text);
  EXPECT_EQ(lines, (std::set<std::string>{
                       at("tal/schema/cut") + ": removed: the table's creation was cut short "
                                              "while its schema was written",
                       at("tal/database/whole") + ": made: the table's creation was cut short "
                                                  "before its directory was"}));

  // A directory that cannot be made is the table's failure, 7.
  rmdir(at("tal/database/whole").c_str());
  fault::failCall(fault::kMkdir, EIO, 1, "whole");
  EXPECT_EQ(db.GetTable("whole")->repair(), 7);
  EXPECT_FALSE(exists("tal/database/whole"));
}
