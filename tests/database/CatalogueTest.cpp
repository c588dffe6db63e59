// Adding tables to the catalogue and dropping them, on disk and in memory.
#include <errno.h>

#include <string>
#include <vector>

#include "TempRoot.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;
using Logs = std::vector<LogLine>;

class CatalogueTest : public TempRootTest {
 protected:
  void SetUp() override {
    TempRootTest::SetUp();
    makeDir("tal/schema");
    makeDir("tal/database");
    ASSERT_EQ(db.open(root_.c_str()), 0);
  }
  std::string schemaLine(const std::string& table) const {
    std::string text = readFile("tal/schema/" + table);
    return text.substr(0, text.find('\n'));
  }
  CTalDatabase db;
};

TEST_F(CatalogueTest, AddTableParsesColumnLists) {
  struct Case {
    const char* columns;
    int rc;
    const char* schema;  // null: nothing may be written
  } cases[] = {
      {" id ( int ) , name(varchar) ", 0, "id[int]|name[varchar]"},
      {"size(bigint)", 1, nullptr},
      {"(int)", 11, nullptr},
      {"a(int),(int)", 11, nullptr},
      {"varchar", 0, "varchar[varchar]"},
      {"note", 1, nullptr},
      {"id(int", 0, "id[int]"},
      {"n)x(int", 0, "n)x[int]"},
      {"a(int),,b(int)", 1, nullptr},
      {"a(int),", 0, "a[int]"},
      {"", 5, ""},
  };
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.columns);
    std::string name = "t" + std::to_string(n++);
    EXPECT_EQ(db.AddTable(name.c_str(), c.columns), c.rc);
    EXPECT_EQ(db.GetTable(name.c_str()) != nullptr, c.rc == 0);
    EXPECT_EQ(exists("tal/database/" + name), c.schema != nullptr);
    EXPECT_EQ(exists("tal/schema/" + name) ? schemaLine(name) : "-", c.schema ? c.schema : "-");
    Logs expected;
    if (c.rc == 5) expected = {Info(5, "schema length is 0"), Err(5, "open table error")};
    EXPECT_EQ(log_.take(), expected);
  }

  EXPECT_EQ(db.AddTable("t0", "x(int)"), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "table [t0] already exist")}));
  EXPECT_EQ(schemaLine("t0"), "id[int]|name[varchar]");
  EXPECT_EQ(db.tableCount(), 5);
}

TEST_F(CatalogueTest, CheckAddTableReadsTheDescriptionFile) {
  writeFile("d.ini", "[first]\nschema = id[int]|when[bigint]\n[other]\nnote = 1\n");
  std::string ini = at("d.ini");
  EXPECT_EQ(db.CheckAddTable("first", ini.c_str()), 0);
  EXPECT_EQ(schemaLine("first"), "id[int]|when[bigint]");
  EXPECT_TRUE(exists("tal/database/first"));
  // Registered already: the file is not even looked for.
  EXPECT_EQ(db.CheckAddTable("first", at("missing.ini").c_str()), 0);
  EXPECT_EQ(db.tableCount(), 1);
  EXPECT_TRUE(log_.take().empty());

  EXPECT_EQ(db.CheckAddTable("other", ini.c_str()), 12);
  EXPECT_EQ(
      log_.take(),
      (Logs{Err(12, "Can't get table [other] schema information from inifile [" + ini + "]")}));
  EXPECT_FALSE(exists("tal/schema/other"));
  EXPECT_FALSE(exists("tal/database/other"));
}

TEST_F(CatalogueTest, DropTableRemovesOnlyAnEmptyTable) {
  EXPECT_EQ(db.DropTable("nosuch"), 7);
  EXPECT_EQ(log_.take(), (Logs{Err(14, "table nosuch does not exist")}));
  ASSERT_EQ(db.AddTable("t", "id(int),v(varchar)"), 0);
  ASSERT_EQ(db.AddTable("u", "id(int)"), 0);
  TalDB::CTable* t = db.GetTable("t");

  ASSERT_EQ(t->addRecord("1,x", nullptr, 0), 0);
  EXPECT_EQ(db.DropTable("t"), 14);
  EXPECT_EQ(log_.take(),
            (Logs{Err(14, "the table is not empty"), Err(14, "can't drop table [t]")}));
  EXPECT_TRUE(exists("tal/database/t/1"));

  // A leftover counts as no record, yet the directory cannot go.
  ASSERT_EQ(t->clear(), 0);
  writeFile("tal/database/t/7.ADD", "x|");
  EXPECT_EQ(db.DropTable("t"), 20);
  EXPECT_EQ(
      log_.take(),
      (Logs{Err(16, "invalid record name found: 7.ADD."),
            Err(20, "can't rmdir [" + at("tal/database/t") + "], reason [Directory not empty]"),
            Err(20, "can't drop table [t]")}));
  EXPECT_TRUE(exists("tal/schema/t"));

  ASSERT_EQ(t->recover(), 0);
  fault::failCall(fault::kUnlink, EIO, 1, "tal/schema/t");
  EXPECT_EQ(db.DropTable("t"), 20);
  EXPECT_EQ(log_.take(),
            (Logs{Err(20, "can't unlink [" + at("tal/schema/t") + "], reason [Input/output error]"),
                  Err(20, "can't drop table [t]")}));
  EXPECT_FALSE(exists("tal/database/t"));
  EXPECT_TRUE(exists("tal/schema/t"));
  EXPECT_EQ(db.GetTable("t"), t);

  EXPECT_EQ(db.DropTable("u"), 0);
  EXPECT_FALSE(exists("tal/database/u") || exists("tal/schema/u"));
  EXPECT_EQ(db.GetTable("u"), nullptr);
  EXPECT_TRUE(log_.take().empty());
}

TEST_F(CatalogueTest, DropReportsADirectoryThatCannotBeDeleted) {
  CTalDatabase fresh;  // another root with an empty catalogue
  makeDir("other/tal/schema");
  makeDir("other/tal/database");
  ASSERT_EQ(fresh.open(at("other").c_str()), 0);
  fault::failCall(fault::kRmdir, EBUSY, 1, "other/tal/schema");
  EXPECT_EQ(fresh.drop(), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "can delete dir [" + at("other/tal/schema") +
                                           "] reason [Device or resource busy]")}));
  EXPECT_TRUE(exists("other/tal/database"));
}
