// Seeding a table with the rec_N records of an INI file.
#include <string>
#include <vector>

#include "TempRoot.h"
#include "gux.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;
using Logs = std::vector<LogLine>;
using Names = std::vector<std::string>;

class SeedTest : public TempRootTest {
 protected:
  void SetUp() override {
    TempRootTest::SetUp();
    makeTable("t", "id[int]|a[varchar]|b[varchar]");
    makeTable("u", "id[int]|a[varchar]|b[varchar]");
    ASSERT_EQ(db.open(root_.c_str()), 0);
  }
  int seed(const char* table, const std::string& ini) {
    writeFile("seed.ini", ini);
    return db.insertRecordsFromIni(table, at("seed.ini").c_str());
  }
  CTalDatabase db;
};

TEST_F(SeedTest, FillsPlaceholdersFromTheDatabase) {
  writeFile("d.ini",
            "[db]\n[t]\nschema = id[int]|a[varchar]|b[varchar]\n"
            "rec_1 = {{$talid}},{{$talhost}},{{$talversion}}\n"
            "rec_2 = 8, {{$talhost}}:{{$talhost}}, plain {x}\n");
  EXPECT_EQ(db.Create(at("d.ini").c_str(), 7, "h"), 0);
  EXPECT_EQ(list("tal/database/t"), (Names{"7", "8"}));
  EXPECT_EQ(readFile("tal/database/t/7"), "h|1.0|");
  EXPECT_EQ(readFile("tal/database/t/8"), "h:h|plain {x}|");
  EXPECT_TRUE(log_.take().empty());
}

TEST_F(SeedTest, ReadsKeysUpToTheFirstGap) {
  EXPECT_EQ(seed("t",
                 "[t]\nrec_1 = 1,a,b\nrec_2 = 2,c,d\nrec_4 = 4,e,f\n[u]\nrec_1 =\n"
                 "rec_2 = 2,x,y\n"),
            0);
  EXPECT_EQ(list("tal/database/t"), (Names{"1", "2"}));
  EXPECT_EQ(readFile("tal/database/t/2"), "c|d|");
  // An empty rec_1 ends the list; so does a missing section.
  EXPECT_EQ(db.insertRecordsFromIni("u", at("seed.ini").c_str()), 0);
  EXPECT_EQ(seed("u", "[other]\nrec_1 = 1,a,b\n"), 0);
  EXPECT_TRUE(list("tal/database/u").empty());
  EXPECT_TRUE(log_.take().empty());
  __guxlog_trace_location = 1;
  EXPECT_EQ(seed("u", "[u]\n"), 0);
  __guxlog_trace_location = 0;
  EXPECT_EQ(
      log_.take(),
      (Logs{Trace("insertRecordsFromIni: Insert record from table=u, inifile=" + at("seed.ini"))}));
}

TEST_F(SeedTest, StopsAtTheFirstFailure) {
  writeFile("id.ini", "[db]\n");
  ASSERT_EQ(db.Create(at("id.ini").c_str(), 7, std::string(1000, 'x').c_str()), 0);
  std::string hosts;
  for (int i = 0; i < 5; ++i) hosts += "{{$talhost}}";
  struct Case {
    const char* table;
    std::string ini;
    int rc;
    Logs logged;
    Names files;
  } cases[] = {
      {"t",
       "[t]\nrec_1 = 1,a,b\nrec_2 = 2,c\nrec_3 = 3,e,f\n",
       11,
       {Err(11, "record's syntax error ")},
       {"1"}},
      {"u",
       "[u]\nrec_1 = 1,{{$talid}},a\nrec_2 = 2," + hosts + ",b\n",
       19,
       {Err(19, "Unable to replace {{$talhost}}")},
       {"1"}},
      {"ghost",
       "[ghost]\nrec_1 = 1,a,b\n",
       3,
       {Err(3, "no such file [" + at("tal/schema/ghost") + "]"), Err(3, "Can't get table")},
       {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(seed(c.table, c.ini), c.rc) << c.table;
    EXPECT_EQ(log_.take(), c.logged);
    EXPECT_EQ(list(std::string("tal/database/") + c.table), c.files);
  }
  EXPECT_EQ(readFile("tal/database/u/1"), "7|a|");
}
