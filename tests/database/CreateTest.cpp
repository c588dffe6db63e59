// Laying a database down on disk from a description file.
#include <errno.h>

#include <string>
#include <vector>

#include "TempRoot.h"
#include "gux.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;
using Logs = std::vector<LogLine>;
using Names = std::vector<std::string>;

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

TEST_F(CreateTest, WritesSchemaFilesAndTableDirectories) {
  std::string ini = describe(
      "[db]\nschema = id[int]\n\n[hosts]\nschema = id[int]|name[varchar]\n"
      "[sizes]\nschema = id[int]|size[bigint]\nnote = x\n");
  EXPECT_EQ(db.Create(ini.c_str(), 42, "web01"), 0);
  EXPECT_EQ(list("tal/schema"), (Names{"hosts", "sizes"}));
  EXPECT_EQ(list("tal/database"), (Names{"hosts", "sizes"}));
  EXPECT_TRUE(list("tal/database/hosts").empty());
  EXPECT_FALSE(db.isOpened());
  EXPECT_TRUE(log_.take().empty());

  // The same bytes as createSchemaF: the line, "\n", a 64-digit fingerprint.
  std::string sizes = readFile("tal/schema/sizes");
  ASSERT_EQ(db.createSchemaF("copy", "id[int]|size[bigint]"), 0);
  EXPECT_EQ(readFile("tal/schema/copy"), sizes);
  ASSERT_EQ(remove(at("tal/schema/copy").c_str()), 0);

  EXPECT_EQ(db.open(), 0);
  EXPECT_EQ(db.tableCount(), 2);
}

TEST_F(CreateTest, StopsAtTheFirstTableThatFails) {
  struct Case {
    const char* second;
    int rc;
    Logs logs;
  } cases[] = {
      {"[b]\nrec_1 = 1\n", 12, {}},
      {"[b]\nschema = id[int]|v[varchar]\nrec_1 = 1\n", 11, {Err(11, "record's syntax error ")}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.second);
    DeleteTreeA(at("tal").c_str());
    std::string ini = describe(std::string("[db]\n[a]\nschema = id[int]\n") + c.second +
                               "[c]\nschema = id[int]\n");
    EXPECT_EQ(db.Create(ini.c_str(), 1, nullptr), c.rc);
    EXPECT_EQ(log_.take(), c.logs);
    EXPECT_TRUE(exists("tal/schema/a") && exists("tal/database/a"));
    EXPECT_FALSE(exists("tal/schema/c") || exists("tal/database/c"));
  }
}

TEST_F(CreateTest, SetsIdAndHost) {
  std::string ini = describe("[only]\nschema = id[int]\n");  // a single section: no table
  struct Case {
    int id;
    const char* host;
    int wantId;
    const char* wantHost;
  } cases[] = {{0, nullptr, 1, "127.0.0.1"}, {-3, "", -3, "127.0.0.1"}, {42, "h", 42, "h"}};
  for (const Case& c : cases) {
    CTalDatabase fresh;
    fresh.open(root_.c_str());
    EXPECT_EQ(fresh.Create(ini.c_str(), c.id, c.host), 0);
    EXPECT_EQ(fresh.id(), c.wantId);
    EXPECT_STREQ(fresh.host(), c.wantHost);
  }
  EXPECT_EQ(list("tal"), (Names{"database", "schema"}));
  EXPECT_TRUE(list("tal/schema").empty() && list("tal/database").empty());
}

TEST_F(CreateTest, RefusesMissingDescriptionFile) {
  EXPECT_EQ(db.Create(nullptr, 9, "x"), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "invalid parameter")}));
  EXPECT_EQ(db.id(), 1);
  EXPECT_STREQ(db.host(), "127.0.0.1");

  std::string missing = at("missing.ini");
  EXPECT_EQ(db.Create(missing.c_str(), 9, "x"), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "can't find ini file at [" + missing + "]")}));
  EXPECT_EQ(db.id(), 9);
  EXPECT_STREQ(db.host(), "x");
  EXPECT_FALSE(exists("tal"));
}

TEST_F(CreateTest, ReadsALongSectionList) {
  std::string text = "[db]\n";
  Names expected;
  for (int i = 0; i < 300; ++i) {
    expected.push_back("a_table_with_a_rather_long_name_number_" + std::to_string(1000 + i));
    text += "[" + expected.back() + "]\nschema = id[int]\n";
  }
  std::string ini = describe(text);
  EXPECT_EQ(db.Create(ini.c_str(), 1, nullptr), 0);
  EXPECT_EQ(list("tal/database"), expected);
}

TEST_F(CreateTest, ReportsDirectoryThatCannotBeCreated) {
  std::string ini = describe("[db]\n[a]\nschema = id[int]\n");
  fault::failCall(fault::kMkdir, EACCES, 1, "tal/database");
  EXPECT_EQ(db.Create(ini.c_str(), 1, nullptr), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "Create Tree [" + at("tal/database") + "] failed")}));
  EXPECT_EQ(list("tal"), Names{"schema"});
  EXPECT_TRUE(list("tal/schema").empty());
}
