// Opening a database (the process-wide instance, the scan of the schema
// directory, the root taken from the host's configuration), recovering every
// table, and adding tables to the catalogue and dropping them.
#include <errno.h>
#include <string.h>

#include <new>

#include "TempRoot.h"
#include "taldb/taldb.h"

using TalDB::CTalDatabase;

class DatabaseTest : public TempRootTest {
 protected:
  Names catalogue() const {
    Names names;
    for (const TalDB::CTable* table : db.tables()) names.push_back(table->name());
    return names;
  }
  // The schema directory's entries in the order the directory stream gives them.
  Names streamOrder() const {
    Names names;
    DIR* d = opendir(at("tal/schema").c_str());
    while (struct dirent* e = readdir(d))
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    closedir(d);
    return names;
  }
  std::string schemaLine(const std::string& table) const {
    std::string text = readFile("tal/schema/" + table);
    return text.substr(0, text.find('\n'));
  }
  void openEmpty() {
    makeDir("tal/schema");
    makeDir("tal/database");
    ASSERT_EQ(db.open(root_.c_str()), 0);
  }
  CTalDatabase db;
};

TEST_F(DatabaseTest, OpensOnceAndRegistersEverySchemaEntry) {
  EXPECT_EQ(db.open(), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "Tal DB's path is NULL! Please try open(xxx)")}));
  EXPECT_EQ(db.open(root_.c_str()), 10);
  EXPECT_FALSE(db.isOpened());
  makeTable("hosts", "id[int]|name[varchar]");
  writeFile("tal/schema/loose", "id[int]\nfp");  // no table directory
  ASSERT_EQ(db.open(), 0);
  EXPECT_EQ(catalogue(), streamOrder());
  EXPECT_EQ(db.GetTable("hosts")->columns().size(), 2u);
  EXPECT_STREQ(db.GetTable("loose")->path(), at("tal/database/loose").c_str());
  EXPECT_EQ(db.GetTable("Hosts"), nullptr);
  EXPECT_TRUE(log_.take().empty());
  // Once opened, a later open changes the root but scans nothing.
  makeTable("later", "id[int]");
  EXPECT_EQ(db.open(at("elsewhere").c_str()), 0);
  EXPECT_STREQ(db.path(), at("elsewhere").c_str());
  EXPECT_EQ(db.tableCount(), 2);
}

TEST_F(DatabaseTest, OpenTakesRootFromConfiguration) {
  makeTable("a", "id[int]");
  writeFile("good.conf", "[Other]\nStorageDatabase = /no\n[Storage]\nStorageDatabase = " + root_);
  // Made over stale bytes, as on a used stack: its lock must still start unlocked.
  alignas(_kwConfigClass) unsigned char memory[sizeof(_kwConfigClass)];
  memset(memory, 0xff, sizeof memory);
  _kwConfigClass& good = *new (memory) _kwConfigClass(at("good.conf").c_str());
  ASSERT_EQ(pthread_mutex_trylock(good.mutex()), 0);
  pthread_mutex_unlock(good.mutex());
  EXPECT_EQ(db.open(&good), 0);
  EXPECT_STREQ(db.path(), root_.c_str());
  EXPECT_EQ(catalogue(), Names{"a"});
  good.~_kwConfigClass();
  CTalDatabase other;
  writeFile("bad.conf", "[Storage]\nSomethingElse = " + root_ + "\n");
  _kwConfigClass bad(at("bad.conf").c_str());
  EXPECT_EQ(other.open(&bad), 20);
  EXPECT_EQ(log_.take(),
            (Logs{Err(20, "can't find StorageDatabase Path from [" + at("bad.conf") + "]")}));
}

TEST_F(DatabaseTest, RecoverStopsAtTheFirstTableWithoutDirectory) {
  EXPECT_EQ(db.recover(), 0);  // nothing opened, nothing to do
  for (const char* name : {"a", "b", "c"}) {
    makeTable(name, "id[int]|v[varchar]");
    for (const char* entry : {"1", "2.ADD", "3.UPDATE.old", "4.tmp"})
      writeFile(std::string("tal/database/") + name + "/" + entry, "x|");
  }
  ASSERT_EQ(db.open(root_.c_str()), 0);
  Names order = catalogue();
  ASSERT_TRUE(DeleteTreeA(at("tal/database/" + order[1]).c_str()));
  EXPECT_EQ(db.recover(), 7);
  EXPECT_TRUE(log_.take().empty());
  EXPECT_EQ(list("tal/database/" + order[0]), (Names{"1", "4.tmp"}));
  EXPECT_EQ(list("tal/database/" + order[2]), (Names{"1", "2.ADD", "3.UPDATE.old", "4.tmp"}));
}

// The column specification's rules are the column list fuzz target's; here what AddTable does.
TEST_F(DatabaseTest, AddTableWritesTheSchemaOfAColumnList) {
  openEmpty();
  struct Case {
    const char* columns;
    int rc;
    const char* schema;  // null: nothing may be written
  } cases[] = {
      {" id ( int ) , name(varchar) ", 0, "id[int]|name[varchar]"},
      {"note", 1, nullptr},
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
  EXPECT_EQ(db.tableCount(), 1);

  // From a description file: a table already registered needs no file.
  writeFile("d.ini", "[first]\nschema = id[int]|when[bigint]\n[other]\nnote = 1\n");
  std::string ini = at("d.ini");
  EXPECT_EQ(db.CheckAddTable("first", ini.c_str()), 0);
  EXPECT_EQ(schemaLine("first"), "id[int]|when[bigint]");
  EXPECT_EQ(db.CheckAddTable("first", at("missing.ini").c_str()), 0);
  EXPECT_EQ(db.tableCount(), 2);
  EXPECT_EQ(db.CheckAddTable("other", ini.c_str()), 12);
  EXPECT_EQ(
      log_.take(),
      (Logs{Err(12, "Can't get table [other] schema information from inifile [" + ini + "]")}));
  EXPECT_FALSE(exists("tal/schema/other") || exists("tal/database/other"));

  // A schema file holds the line and its fingerprint, and is replaced whole.
  EXPECT_EQ(readFile("tal/schema/t2"),
            "\ne3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(db.createSchemaF("t0", "x[int]"), 0);
  EXPECT_EQ(schemaLine("t0"), "x[int]");
  EXPECT_EQ(readFile("tal/schema/t0").size(), 71u);  // the line, "\n" and 64 hex digits
  fault::failCall(fault::kOpen, EACCES, 1, "tal/schema/denied");
  EXPECT_EQ(db.createSchemaF("denied", "a[int]"), 4);
  EXPECT_EQ(log_.take(),
            (Logs{Err(4, "failed to create schema file: " + at("tal/schema/denied"))}));
}

TEST_F(DatabaseTest, DropTableRemovesOnlyAnEmptyTable) {
  openEmpty();
  EXPECT_EQ(db.DropTable("nosuch"), 7);
  EXPECT_EQ(log_.take(), (Logs{Err(14, "table nosuch does not exist")}));
  ASSERT_EQ(db.AddTable("t", "id(int),v(varchar)"), 0);
  ASSERT_EQ(db.AddTable("u", "id(int)"), 0);
  TalDB::CTable* t = db.GetTable("t");
  // A leftover counts as no record, yet the directory cannot go.
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

  // Dropping the whole database stops at a directory that cannot go.
  CTalDatabase fresh;
  makeDir("other/tal/schema");
  makeDir("other/tal/database");
  ASSERT_EQ(fresh.open(at("other").c_str()), 0);
  fault::failCall(fault::kRmdir, EBUSY, 1, "other/tal/schema");
  EXPECT_EQ(fresh.drop(), 20);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "can delete dir [" + at("other/tal/schema") +
                                           "] reason [Device or resource busy]")}));
  EXPECT_TRUE(exists("other/tal/database"));
}

// A null argument is refused with 20 (safe_save: -1), and a table object
// made without a lock refuses every locked call, before anything is done.
TEST_F(DatabaseTest, NullArgumentsAndTablesWithoutALockAreRefused) {
  openEmpty();
  ASSERT_EQ(db.AddTable("t", "id(int),v(varchar)"), 0);
  TalDB::CTable *t = db.GetTable("t"), lockless;
  struct dirent entry = {};
  char dir[] = "/";
  std::vector<TalDB::CColumn*> columns;
  const char* text = "a,1";
  const std::pair<int, int> calls[] = {
      {db.open(static_cast<_kwConfigClass*>(nullptr)), 20},
      {db.createTableF(nullptr), 20},
      {db.DropTable(static_cast<const char*>(nullptr)), 20},
      {db.DropTable(static_cast<TalDB::CTable*>(nullptr)), 20},
      {t->readSchema(nullptr), 20},
      {t->updateRecord(nullptr, "v=1"), 20},
      {t->deleteRecord(nullptr), 20},
      {t->safe_save(nullptr, "x|", 2), -1},
      {t->addRecords(nullptr, 1, nullptr, true, nullptr), 20},
      {lockless.Open("t"), 20},
      {lockless.records(), -1},
      {lockless.ListRecordsStart(nullptr), 7},  // looks for the (empty) directory path first
      {lockless.ListRecordsNext(columns, nullptr), 20},
      {lockless.addRecord("1,a,b", nullptr, 0), 20},
      {lockless.addRecords(&text, 1, nullptr, true, nullptr), 20},
      {lockless.updateRecord("3", "name=x"), 20},
      {lockless.deleteRecord("3"), 20},
      {lockless.recover(), 20},
      {lockless.clear(), 20},
      {lockless.repair(), 20},
      {lockless.IsDir(&entry, dir), 0},
  };
  for (const auto& [got, want] : calls) EXPECT_EQ(got, want);
  Logs expected(9, Err(20, "invalid parameter"));
  expected[3] = Err(20, "parameter null");
  expected.resize(20, Err(20, "Thread lock is not acquired, cannot proceed!"));
  EXPECT_EQ(log_.take(), expected);
  // Open(name) renames before it looks for the lock; the paths stay empty.
  EXPECT_STREQ(lockless.name(), "t");
  EXPECT_STREQ(lockless.path(), "");
  EXPECT_EQ(lockless.getcolumn("id"), nullptr);
}
