// What a host sees when things fail: a schema file that cannot be made, a
// seed record the table refuses, null arguments and a table without a lock,
// paths past the limit, a directory iterator without a stream.
#include <errno.h>

#include "TempRoot.h"
#include "taldb/taldb.h"

class DatabaseTest : public TempRootTest {};

TEST_F(DatabaseTest, FailuresReturnTheirCodes) {
  TalDB::CTalDatabase db;
  ASSERT_EQ(db.open(root_.c_str()), 10);
  writeFile("d.ini", "[db]\n[a]\nschema = id[int]|v[varchar]\nrec_1 = 1\n[b]\nschema = id[int]\n");
  // Seeding stops at the record the table refuses, and so does the creation.
  EXPECT_EQ(db.Create(at("d.ini").c_str(), 1, nullptr), 11);
  EXPECT_TRUE(exists("tal/schema/a") && !exists("tal/schema/b"));
  log_.take();
  fault::failCall(fault::kOpen, EACCES, 1, "tal/schema/denied");
  EXPECT_EQ(db.createSchemaF("denied", "a[int]"), 4);
  EXPECT_EQ(log_.take(),
            (Logs{Err(4, "failed to create schema file: " + at("tal/schema/denied"))}));
  TalDB::CTable table(root_.c_str(), "a");
  ASSERT_EQ(table.Open(), 0);
  EXPECT_EQ(table.safe_save(nullptr, "x|", 2), -1);
  EXPECT_EQ(table.safe_save(table.path(), nullptr, 2), -1);
  log_.take();
  // A negative length is refused before anything is made, without a word.
  EXPECT_EQ(table.safe_save(table.path(), "x|", -1), -1);
  EXPECT_TRUE(log_.take().empty());
  EXPECT_FALSE(exists("tal/database/a.tmp"));
  // A table object made without a lock refuses, and says why.
  TalDB::CTable lockless;
  EXPECT_EQ(lockless.records(), -1);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "Thread lock is not acquired, cannot proceed!")}));
  // Paths are cut to 4094 characters, as every path of the store is.
  TalDB::CTable deep(root_.c_str(), std::string(5000, 'n').c_str());
  EXPECT_EQ(deep.Open(), 3);  // no schema file of that name
  EXPECT_EQ(std::string(deep.path()).size(), 4094u);
  // A directory iterator without a stream does nothing, whatever it is asked.
  TalDB::CDirIterator never(at("never").c_str());
  never.seek(3);
  never.rewind();
  EXPECT_EQ(never.read(), nullptr);
}
