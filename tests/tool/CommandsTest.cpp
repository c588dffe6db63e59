// Creating a database and working on its tables and records, checked through
// the tool's output and the files it leaves on disk.
#include "ToolFixture.h"

TEST_F(ToolTest, CreateLaysDownTheDatabaseAndRefusesASecondOne) {
  createDatabase();
  EXPECT_EQ(readFile(at("tal/schema/hosts")).substr(0, 28), "id[int]|name[varchar]|port[i");
  EXPECT_EQ(readFile(data("hosts/1")), "h1|8080|");
  EXPECT_EQ(readFile(data("hosts/2")), "db01|7|");
  EXPECT_TRUE(exists(data("notes")));

  ToolResult tables = runAt({"tables"});
  EXPECT_EQ(tables.status, 0);
  EXPECT_EQ(tables.out,
            "table  columns  records\n"
            "-----  -------  -------\n"
            "hosts  3        2\n"
            "notes  2        0\n");
  ToolResult schema = runAt({"schema", "hosts", "--format", "csv"});
  EXPECT_EQ(schema.out, "position,column,type\n1,id,int\n2,name,varchar\n3,port,int\n");

  ToolResult again = runAt({"create", dir_ + "/test.ini"});
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.err.find("a database exists already under " + root_), std::string::npos);

  ToolResult missing = run({"--root", dir_ + "/other", "create", dir_ + "/none.ini"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("failed (status 20): can't find ini file at"), std::string::npos)
      << missing.err;

  ToolResult noDatabase = run({"--root", dir_ + "/other", "tables"});
  EXPECT_EQ(noDatabase.status, 1);
  EXPECT_NE(noDatabase.err.find("no database under"), std::string::npos) << noDatabase.err;
}

TEST_F(ToolTest, RecordsAreAddedReadChangedAndDeleted) {
  createDatabase();
  ToolResult add = runAt({"add", "hosts", "web02, 9090"});
  EXPECT_EQ(add.status, 0) << add.err;
  EXPECT_EQ(add.out, "3\n");
  EXPECT_EQ(readFile(data("hosts/3")), "web02|9090|");
  EXPECT_EQ(runAt({"add", "hosts", "web03", "9091"}).out, "4\n");
  EXPECT_EQ(readFile(data("hosts/4")), "web03|9091|");

  ToolResult put = runAt({"put", "hosts", "10,x,1"});
  EXPECT_EQ(put.out, "wrote record 10 of hosts\n");
  EXPECT_EQ(runAt({"put", "hosts", "10", "y", "2"}).out,
            "wrote record 10 of hosts (replaced the earlier one)\n");
  EXPECT_EQ(readFile(data("hosts/10")), "y|2|");

  EXPECT_EQ(runAt({"get", "hosts", "3"}).out, "id    3\nname  web02\nport  9090\n");
  EXPECT_EQ(runAt({"get", "hosts", "3", "--format", "json"}).out,
            "{\"id\": \"3\", \"name\": \"web02\", \"port\": \"9090\"}\n");
  EXPECT_EQ(runAt({"get", "hosts", "3", "port"}).out, "9090\n");
  EXPECT_EQ(runAt({"get", "hosts", "3", "colour"}).status, 1);

  EXPECT_EQ(runAt({"update", "hosts", "3", " port = 1", "name=web9"}).status, 0);
  EXPECT_EQ(readFile(data("hosts/3")), "web9|1|");
  EXPECT_EQ(runAt({"delete", "hosts", "3"}).out, "deleted record 3 of hosts\n");
  EXPECT_FALSE(exists(data("hosts/3")));
  EXPECT_EQ(runAt({"count", "hosts"}).out, "4\n");

  for (const char* command : {"get", "delete", "update"}) {
    std::vector<std::string> args = {command, "hosts", "3"};
    if (std::string(command) == "update") args.push_back("port=2");
    ToolResult absent = runAt(args);
    EXPECT_EQ(absent.status, 1) << command;
    EXPECT_NE(absent.err.find("no such record"), std::string::npos) << absent.err;
  }
}

TEST_F(ToolTest, LibraryFailuresShowStatusAndMessage) {
  createDatabase();
  ToolResult add = runAt({"add", "hosts", "only-one"});
  EXPECT_EQ(add.status, 1);
  EXPECT_EQ(add.err, "taldb: add hosts only-one: failed (status 11): record's syntax error \n");

  ToolResult verbose = runAt({"-v", "update", "hosts", "1", "colour=red"});
  EXPECT_EQ(verbose.status, 1);
  EXPECT_NE(verbose.err.find("libtaldb error 11: can't get column by key [colour]\n"),
            std::string::npos)
      << verbose.err;
  EXPECT_NE(verbose.err.find("failed (status 11): can't get column by key [colour]"),
            std::string::npos);
  EXPECT_EQ(readFile(data("hosts/1")), "h1|8080|");

  ToolResult bigint = runAt({"add-table", "sizes", "n(int), size(bigint)"});
  EXPECT_EQ(bigint.status, 1);
  EXPECT_NE(bigint.err.find("failed (status 1): unknown column type"), std::string::npos);
  EXPECT_FALSE(exists(at("tal/schema/sizes")));

  ToolResult unknownTable = runAt({"list", "nosuch"});
  EXPECT_EQ(unknownTable.status, 1);
  EXPECT_NE(unknownTable.err.find("no table 'nosuch'"), std::string::npos);

  rmdir(data("notes").c_str());
  ToolResult missingDirectory = runAt({"list", "notes"});
  EXPECT_EQ(missingDirectory.status, 1);
  EXPECT_NE(missingDirectory.err.find("failed (status 7)"), std::string::npos);
}

TEST_F(ToolTest, ListAndDumpInEveryFormat) {
  createDatabase();
  runAt({"put", "notes", "1", "say \"hi\""});
  EXPECT_EQ(runAt({"list", "hosts", "port=8080"}).out,
            "id  name  port\n--  ----  ----\n1   h1    8080\n");
  EXPECT_EQ(runAt({"list", "hosts", "--format", "csv"}).out, "id,name,port\n1,h1,8080\n2,db01,7\n");
  EXPECT_EQ(runAt({"list", "hosts", "name=none", "--format", "json"}).out, "[]\n");
  EXPECT_EQ(runAt({"dump", "notes", "--format", "csv"}).out, "id,text\n1,\"say \"\"hi\"\"\"\n");
  EXPECT_EQ(runAt({"dump", "--format", "json"}).out,
            "{\n"
            "  \"hosts\": [\n"
            "    {\"id\": \"1\", \"name\": \"h1\", \"port\": \"8080\"},\n"
            "    {\"id\": \"2\", \"name\": \"db01\", \"port\": \"7\"}\n"
            "  ],\n"
            "  \"notes\": [\n"
            "    {\"id\": \"1\", \"text\": \"say \\\"hi\\\"\"}\n"
            "  ]\n"
            "}\n");
  EXPECT_EQ(
      runAt({"dump", "--format", "csv"}).out,
      "# hosts\nid,name,port\n1,h1,8080\n2,db01,7\n\n# notes\nid,text\n1,\"say \"\"hi\"\"\"\n");
}

TEST_F(ToolTest, TablesAreAddedClearedAndDropped) {
  createDatabase();
  EXPECT_EQ(runAt({"add-table", "users", "id(int),", "name(varchar)"}).out,
            "added table users with 2 columns\n");
  EXPECT_EQ(readFile(at("tal/schema/users")).substr(0, 22), "id[int]|name[varchar]\n");
  EXPECT_TRUE(exists(data("users")));

  ToolResult notEmpty = runAt({"drop-table", "hosts"});
  EXPECT_EQ(notEmpty.status, 1);
  EXPECT_NE(notEmpty.err.find("failed (status 14): the table is not empty"), std::string::npos);
  EXPECT_EQ(runAt({"clear", "hosts"}).out, "cleared table hosts: 2 records removed\n");
  EXPECT_EQ(runAt({"drop-table", "hosts"}).out, "dropped table hosts\n");
  EXPECT_FALSE(exists(data("hosts")));
  EXPECT_FALSE(exists(at("tal/schema/hosts")));

  EXPECT_EQ(runAt({"drop", "--yes"}).status, 0);
  EXPECT_FALSE(exists(at("tal")));
}

TEST_F(ToolTest, SeedAddsTheRecordsOfAnIniSection) {
  createDatabase();
  std::string seed = dir_ + "/seed.ini";
  writeFile(seed, "[hosts]\nrec_1 = 5, seeded, 1\nrec_2 = 2, {{$talversion}}, 2\n");
  ToolResult result = runAt({"seed", "hosts", seed});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "seeded hosts from " + seed + ": 3 records (2 before)\n");
  EXPECT_EQ(readFile(data("hosts/5")), "seeded|1|");
  EXPECT_EQ(readFile(data("hosts/2")), "1.0|2|");

  ToolResult missing = runAt({"seed", "hosts", dir_ + "/none.ini"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("cannot read"), std::string::npos);
}
