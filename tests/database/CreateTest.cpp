// Laying a database down on disk from a description file, seeding its tables,
// and the example database from creation to removal.
#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "TempRoot.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;

class CreateTest : public TempRootTest {
 protected:
  void SetUp() override {
    TempRootTest::SetUp();
    ASSERT_EQ(db.open(root_.c_str()), 10);
  }
  // Writes a description file beside the database and returns its path.
  std::string describe(const std::string& text) {
    writeFile("d.ini", text);
    return at("d.ini");
  }
  CTalDatabase db;
};

TEST_F(CreateTest, StopsAtTheFirstTableThatFails) {
  const std::pair<const char*, int> cases[] = {
      {"[b]\nrec_1 = 1\n", 12}, {"[b]\nschema = id[int]|v[varchar]\nrec_1 = 1\n", 11}};
  for (auto [second, rc] : cases) {
    SCOPED_TRACE(second);
    DeleteTreeA(at("tal").c_str());
    std::string ini =
        describe(std::string("[db]\n[a]\nschema = id[int]\n") + second + "[c]\nschema = id[int]\n");
    EXPECT_EQ(db.Create(ini.c_str(), 1, nullptr), rc);
    EXPECT_EQ(log_.take(), rc == 11 ? Logs{Err(11, "record's syntax error ")} : Logs{});
    EXPECT_TRUE(exists("tal/schema/a") && exists("tal/database/a"));
    EXPECT_FALSE(exists("tal/schema/c") || exists("tal/database/c"));
  }
  fault::failCall(fault::kMkdir, EACCES, 1, "tal/database");
  EXPECT_EQ(db.Create(describe("[db]\n[a]\nschema = id[int]\n").c_str(), 1, nullptr), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "Create Tree [" + at("tal/database") + "] failed")}));
}

// The id and host are set before the description file is looked at; 0 and an empty host mean the
// defaults, and a single section makes the directories but no table.
TEST_F(CreateTest, SetsIdAndHost) {
  auto idHost = [](const CTalDatabase& d) { return std::to_string(d.id()) + " " + d.host(); };
  EXPECT_EQ(db.Create(nullptr, 9, "x"), 20);
  EXPECT_EQ(idHost(db), "1 127.0.0.1");
  EXPECT_EQ(db.Create(at("missing.ini").c_str(), 9, "x"), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "invalid parameter"),
                               Err(20, "can't find ini file at [" + at("missing.ini") + "]")}));
  EXPECT_EQ(idHost(db), "9 x");
  EXPECT_FALSE(exists("tal"));
  std::string ini = describe("[only]\nschema = id[int]\n");
  for (auto [id, host, want] : {std::tuple{0, (const char*)nullptr, "1 127.0.0.1"},
                                {-3, "", "-3 127.0.0.1"},
                                {42, "h", "42 h"}}) {
    CTalDatabase fresh;
    fresh.open(root_.c_str());
    EXPECT_EQ(fresh.Create(ini.c_str(), id, host), 0);
    EXPECT_EQ(idHost(fresh), want);
  }
  EXPECT_EQ(snapshot("tal"),
            (std::map<std::string, std::string>{{"tal/database", ""}, {"tal/schema", ""}}));
}

TEST_F(CreateTest, ReadsALongSectionList) {
  std::string text = "[db]\n";
  Names expected;
  for (int i = 0; i < 300; ++i) {
    expected.push_back("a_table_with_a_rather_long_name_number_" + std::to_string(1000 + i));
    text += "[" + expected.back() + "]\nschema = id[int]\n";
  }
  EXPECT_EQ(db.Create(describe(text).c_str(), 1, nullptr), 0);
  EXPECT_EQ(list("tal/database"), expected);
}

TEST_F(CreateTest, SeedsReadKeysUpToTheFirstGapAndStopAtTheFirstFailure) {
  std::string hosts;
  for (int i = 0; i < 5; ++i) hosts += "{{$talhost}}";
  std::string ini = describe(
      "[db]\n[t]\nschema = id[int]|a[varchar]|b[varchar]\n"
      "rec_1 = {{$talid}},{{$talhost}},{{$talversion}}\nrec_2 = 8, {{$talhost}}:x, plain {x}\n"
      "rec_4 = 4,e,f\n[u]\nschema = id[int]|a[varchar]|b[varchar]\nrec_1 =\nrec_2 = 2,x,y\n");
  ASSERT_EQ(db.Create(ini.c_str(), 7, std::string(1000, 'h').c_str()), 0);
  EXPECT_EQ(list("tal/database/t"), (Names{"7", "8"}));
  EXPECT_EQ(readFile("tal/database/t/7"), std::string(1000, 'h') + "|1.0|");
  EXPECT_EQ(readFile("tal/database/t/8"), std::string(1000, 'h') + ":x|plain {x}|");
  EXPECT_TRUE(list("tal/database/u").empty());
  EXPECT_TRUE(log_.take().empty());
  ASSERT_EQ(db.open(), 0);

  writeFile("seed.ini", "");
  __guxlog_trace_location = 1;
  EXPECT_EQ(db.insertRecordsFromIni("u", at("seed.ini").c_str()), 0);  // no section: nothing
  __guxlog_trace_location = 0;
  EXPECT_EQ(
      log_.take(),
      (Logs{Trace("insertRecordsFromIni: Insert record from table=u, inifile=" + at("seed.ini"))}));
  // The table, its seed file, the status, what is logged and the record files afterwards.
  const std::tuple<const char*, std::string, int, Logs, Names> cases[] = {
      {"u",
       "[u]\nrec_1 = 1,a,b\nrec_2 = 2,c\nrec_3 = 3,e,f\n",
       11,
       {Err(11, "record's syntax error ")},
       {"1"}},
      {"t",
       "[t]\nrec_1 = 1,{{$talid}},a\nrec_2 = 2," + hosts + ",b\n",
       19,
       {Err(19, "Unable to replace {{$talhost}}")},
       {"1", "7", "8"}},
      {"ghost",
       "[ghost]\nrec_1 = 1,a,b\n",
       3,
       {Err(3, "no such file [" + at("tal/schema/ghost") + "]"), Err(3, "Can't get table")},
       {}},
  };
  for (const auto& [table, seeds, rc, logged, files] : cases) {
    writeFile("seed.ini", seeds);
    EXPECT_EQ(db.insertRecordsFromIni(table, at("seed.ini").c_str()), rc) << table;
    EXPECT_EQ(log_.take(), logged);
    EXPECT_EQ(list(std::string("tal/database/") + table), files);
  }
  EXPECT_EQ(readFile("tal/database/t/1"), "7|a|");
}
