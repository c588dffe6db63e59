// Recovery of every table in the catalogue.
#include <string>
#include <vector>

#include "TempRoot.h"
#include "gux.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;
using Names = std::vector<std::string>;

using RecoverTest = TempRootTest;

TEST_F(RecoverTest, WithoutTablesDoesNothing) {
  CTalDatabase db;
  EXPECT_EQ(db.recover(), 0);
  makeDir("tal/schema");
  ASSERT_EQ(db.open(root_.c_str()), 0);
  EXPECT_EQ(db.recover(), 0);
}

TEST_F(RecoverTest, StopsAtTheFirstTableWithoutDirectory) {
  for (const char* name : {"a", "b", "c"}) {
    makeTable(name, "id[int]|v[varchar]");
    std::string dir = std::string("tal/database/") + name + "/";
    writeFile(dir + "1", "x|");
    writeFile(dir + "2.ADD", "y|");
    writeFile(dir + "3.UPDATE.old", "z|");
    writeFile(dir + "4.tmp", "w|");
  }
  CTalDatabase db;
  ASSERT_EQ(db.open(root_.c_str()), 0);
  ASSERT_EQ(db.tableCount(), 3);
  std::string first = db.tables()[0]->name(), second = db.tables()[1]->name(),
              third = db.tables()[2]->name();
  ASSERT_TRUE(DeleteTreeA(at("tal/database/" + second).c_str()));

  EXPECT_EQ(db.recover(), 7);
  EXPECT_TRUE(log_.take().empty());
  EXPECT_EQ(list("tal/database/" + first), (Names{"1", "4.tmp"}));
  EXPECT_EQ(list("tal/database/" + third), (Names{"1", "2.ADD", "3.UPDATE.old", "4.tmp"}));
}
