// check, recover and the demo: what they report, and what they change on disk.
#include <unistd.h>

#include "ToolFixture.h"

TEST_F(ToolTest, CheckReportsEveryKindOfProblemAndChangesNothing) {
  createDatabase();
  ToolResult clean = runAt({"check"});
  EXPECT_EQ(clean.status, 0);
  EXPECT_EQ(clean.out, "no problems found under " + root_ + "\n");

  writeFile(data("hosts/4.ADD"), "x|1|");
  writeFile(data("hosts/1.tmp"), "h1|8|");
  writeFile(data("hosts/9.tmp"), "z|9|");
  writeFile(data("hosts/5"), "");
  writeFile(data("hosts/6"), "only|");
  makeDir(data("hosts/sub"));
  makeDir(data("orphan"));
  writeFile(at("tal/schema/ghost"), "id[int]|a[int]\nfp");
  writeFile(at("tal/schema/partial"), "id[int]|b|c[int]\nfp");
  makeDir(data("partial"));
  writeFile(at("tal/schema/blank"), "\nfp");
  makeDir(data("blank"));

  auto before = snapshot();
  ToolResult result = runAt({"check"});
  EXPECT_EQ(result.status, 1);
  for (const char* line : {
           "tal/schema/blank: schema file cannot be loaded (status 5: schema length is 0); "
           "'taldb repair' does not fix it\n",
           "tal/schema/ghost: schema file without a table directory",
           "tal/database/hosts/1.tmp: leftover of an interrupted write beside its record; "
           "'taldb repair' removes it\n",
           "tal/database/hosts/4.ADD: marked name, never a record; 'taldb repair' or 'taldb "
           "recover' removes it\n",
           "tal/database/hosts/5: record file is empty",
           "tal/database/hosts/6: record has too few fields (1 of 2); 'taldb repair' does not "
           "fix it\n",
           "tal/database/hosts/9.tmp: whole record left by an interrupted write, its record "
           "missing; 'taldb repair' renames it into place\n",
           "tal/database/hosts/sub: a directory where only record files belong",
           "tal/schema/partial: schema line does not parse whole (1 of 3 column definitions "
           "load)",
           "tal/database/orphan: table directory without a schema file",
           "10 problems found under ",
       }) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << "\n" << result.out;
  }
  EXPECT_EQ(snapshot(), before);
  EXPECT_EQ(run({"--root", dir_ + "/none", "check"}).status, 1);
}

TEST_F(ToolTest, RecoverRemovesMarkedNamesOnly) {
  createDatabase();
  writeFile(data("hosts/4.ADD"), "x|1|");
  writeFile(data("notes/x.UPDATE.old"), "y|");
  writeFile(data("hosts/2.tmp"), "db01|7|");
  ToolResult result = runAt({"recover"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "removed hosts/4.ADD\nremoved notes/x.UPDATE.old\n"
            "recovered 2 tables: 2 marked entries removed\n");
  EXPECT_FALSE(exists(data("hosts/4.ADD")));
  EXPECT_FALSE(exists(data("notes/x.UPDATE.old")));
  EXPECT_TRUE(exists(data("hosts/2.tmp")));
  EXPECT_TRUE(exists(data("hosts/2")));
}

TEST_F(ToolTest, DemoShowsEveryStepOnAFreshDatabase) {
  ToolResult demo = run({"demo", root_});
  ASSERT_EQ(demo.status, 0) << demo.err;
  EXPECT_EQ(demo.err, "");
  for (const char* step :
       {"$ taldb --root ", " create ", "created a database under ", "$ taldb --root ", " tables\n",
        " dump\n", " add hosts ", "\n4\n", " update hosts 4 name=demo-changed\n",
        "name          demo-changed\n", "deleted record 4 of hosts\n", "1 problem found under ",
        "removed hosts/4.ADD\n", "no problems found under "}) {
    EXPECT_NE(demo.out.find(step), std::string::npos) << step << "\n" << demo.out;
  }
  EXPECT_EQ(readFile(data("settings/1")), "database_id|42|");
  EXPECT_EQ(readFile(data("hosts/1")), "demo-host|127.0.0.1|8080|0|");
  EXPECT_FALSE(exists(data("hosts/4")));
  EXPECT_FALSE(exists(data("hosts/4.ADD")));

  ToolResult again = run({"demo", root_});
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.err.find("holds a database already"), std::string::npos);
  EXPECT_EQ(run({"demo", dir_ + "/other", "--description", dir_ + "/none.ini"}).status, 1);
}

TEST_F(ToolTest, RepairPrintsWhatItWouldDoThenDoesIt) {
  createDatabase();
  writeFile(data("hosts/9.tmp"), "z|9|");
  writeFile(data("hosts/1.tmp"), "h1|8|");
  writeFile(data("hosts/7.tmp"), "torn|");
  auto before = snapshot();
  ToolResult plan = runAt({"repair", "hosts", "--dry-run"});
  EXPECT_EQ(plan.status, 0) << plan.err;
  EXPECT_EQ(snapshot(), before);
  for (const std::string& line :
       {data("hosts/9.tmp") + ": would be renamed into place: its record is missing\n",
        data("hosts/1.tmp") +
            ": would be removed: its record exists, so this write never completed\n",
        data("hosts/7.tmp") + ": left in place: not a whole record, inspect it by hand\n",
        std::string("dry run over 1 table: 2 files would change, 1 would be left in place; nothing "
                    "was changed\n")}) {
    EXPECT_NE(plan.out.find(line), std::string::npos) << line << plan.out;
  }
  ToolResult done = runAt({"repair"});
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_NE(done.out.find("repaired 2 tables: 2 files changed, 1 left in place\n"),
            std::string::npos)
      << done.out;
  EXPECT_EQ(readFile(data("hosts/9")), "z|9|");
  EXPECT_FALSE(exists(data("hosts/1.tmp")));
  EXPECT_TRUE(exists(data("hosts/7.tmp")));

  rmdir(data("notes").c_str());
  ToolResult failed = runAt({"repair"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_NE(failed.err.find("repair notes: failed (status 7)"), std::string::npos) << failed.err;
}
