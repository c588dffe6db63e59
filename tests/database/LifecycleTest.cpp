// A database from creation to removal, checked on disk after every step.
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TempRoot.h"
#include "taldb/taldb.h"

using TalDB::CTable;
using TalDB::CTalDatabase;
using Names = std::vector<std::string>;

using LifecycleTest = TempRootTest;

TEST_F(LifecycleTest, ExampleDatabaseFromCreationToDrop) {
  const std::string example = TALDB_EXAMPLES_DIR "/taldb.ini";
  if (access(example.c_str(), R_OK) != 0) GTEST_SKIP() << "no " << example;

  CTalDatabase db;
  ASSERT_EQ(db.open(root_.c_str()), 10);
  ASSERT_EQ(db.Create(example.c_str(), 7, "web01"), 0);
  const Names tables{"hosts", "services", "settings"};
  EXPECT_EQ(list("tal/schema"), tables);
  EXPECT_EQ(list("tal/database"), tables);
  std::string schema = readFile("tal/schema/settings");
  EXPECT_EQ(schema.substr(0, schema.find('\n')), "id[int]|key[varchar]|value[varchar]");
  EXPECT_EQ(list("tal/database/hosts"), (Names{"1", "2", "3"}));
  EXPECT_EQ(readFile("tal/database/hosts/1"), "web01|127.0.0.1|8080|0|");
  EXPECT_EQ(readFile("tal/database/settings/1"), "database_id|7|");
  EXPECT_EQ(readFile("tal/database/settings/2"), "database_host|web01|");
  EXPECT_EQ(readFile("tal/database/settings/3"), "format_version|1.0|");

  ASSERT_EQ(db.open(), 0);
  ASSERT_EQ(db.tableCount(), 3);
  CTable* hosts = db.GetTable("hosts");
  CTable* services = db.GetTable("services");
  ASSERT_NE(hosts, nullptr);
  ASSERT_NE(services, nullptr);

  // List the running services.
  Names running;
  char name[64];
  for (int rc = services->ListRecordsStart("state=running"); rc == 0;
       rc = services->ListRecordsNext("state=running")) {
    ASSERT_EQ(services->GetValStr("name", name, sizeof name), 0);
    running.push_back(name);
  }
  std::sort(running.begin(), running.end());
  EXPECT_EQ(running, (Names{"postgres", "web"}));

  // Add under the next free id, update, delete.
  int id = 0;
  ASSERT_EQ(hosts->addRecord("web02, 10.0.0.4, 8081, 0", &id, 0), 0);
  EXPECT_EQ(id, 4);
  EXPECT_EQ(readFile("tal/database/hosts/4"), "web02|10.0.0.4|8081|0|");
  ASSERT_EQ(hosts->updateRecord("4", "port=9090, name = web03"), 0);
  EXPECT_EQ(readFile("tal/database/hosts/4"), "web03|10.0.0.4|9090|0|");
  ASSERT_EQ(hosts->deleteRecord("4"), 0);
  EXPECT_EQ(list("tal/database/hosts"), (Names{"1", "2", "3"}));

  // A leftover of an interrupted write goes with recovery.
  writeFile("tal/database/services/5.ADD", "half|");
  ASSERT_EQ(db.recover(), 0);
  EXPECT_EQ(list("tal/database/services"), (Names{"1", "2", "3"}));

  // An emptied table can be dropped on its own.
  ASSERT_EQ(db.GetTable("settings")->clear(), 0);
  ASSERT_EQ(db.DropTable("settings"), 0);
  EXPECT_EQ(list("tal/schema"), (Names{"hosts", "services"}));
  EXPECT_EQ(list("tal/database"), (Names{"hosts", "services"}));
  EXPECT_EQ(db.GetTable("settings"), nullptr);

  ASSERT_EQ(db.drop(), 0);
  EXPECT_TRUE(list("").empty());
  EXPECT_EQ(db.tableCount(), 0);
  EXPECT_TRUE(db.isOpened());  // stays opened: open() has nothing to do
  EXPECT_EQ(db.open(), 0);
}
