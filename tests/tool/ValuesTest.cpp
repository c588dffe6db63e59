// Values as the tool stores them: commas (which no comma-separated text of the store carries),
// blanks at a value's ends (which the store drops), and records that do not fit their schema.
#include <sys/wait.h>
#include <unistd.h>

#include "ToolFixture.h"

namespace {

// A value with a comma is stored as given, from every way a value comes in, and what holds one
// is read, listed and updated as any other record.
TEST_F(ToolTest, ValuesWithCommasAreStoredAsGiven) {
  createDatabase();
  writeFile("rows.csv", "name,port\nplain,1\n\"1 Main St, Springfield\",2\nafter,3\n");
  expectRows({
      {{"add", "hosts", "\"1 Main St, Springfield\",80"}, 0, "3\n"},
      {{"add", "hosts", "{\"a\": 1, \"b\": 2}", "81"}, 0, "4\n"},
      {{"put", "hosts", "9,\"x,y\",90"}, 0, "wrote record 9 of hosts\n"},
      {{"put", "hosts", "2", "db01, db02", "7"}, 0, "(replaced the earlier one)"},
      {{"update", "hosts", "1", "\"name=a, b\",port=8"}, 0, "(changed: name, port)"},
      // An update through the store keeps the comma of a column it does not assign.
      {{"update", "hosts", "1", "port=9"}, 0, "(changed: port)"},
      {{"-q", "import", "hosts", at("rows.csv")}, 0, "10\n11\n12\n"},
      {{"get", "hosts", "3", "name"}, 0, "1 Main St, Springfield\n"},
      {{"list", "hosts", "port=2", "--format", "csv"}, 0, "11,\"1 Main St, Springfield\",2\n"},
      // What cannot be read as CSV, or stored at all, is refused.
      {{"add", "hosts", "say \"hi\",1"}, 2, "invalid values 'say \"hi\",1': a '\"' inside a cell"},
      {{"update", "hosts", "1", "name=a,b"}, 2, "invalid assignment 'b': write COLUMN=VALUE"},
      {{"add", "hosts", "\"a|b\",1"}, 2, "invalid value 'a|b'"},
  });
  for (const Names& c : std::vector<Names>{{"1", "a, b|9|"},
                                           {"2", "db01, db02|7|"},
                                           {"3", "1 Main St, Springfield|80|"},
                                           {"4", "{\"a\": 1, \"b\": 2}|81|"},
                                           {"9", "x,y|90|"},
                                           {"10", "plain|1|"},
                                           {"11", "1 Main St, Springfield|2|"},
                                           {"12", "after|3|"}})
    EXPECT_EQ(readFile(data("hosts/" + c[0])), c[1]) << c[0];
  expectRows({{{"check"}, 0, "no problems found"}});
}

// Records written through the columns take their ids under the table's lock, as the store's
// adds do: processes adding at once, with and without commas, never take one id twice.
TEST_F(ToolTest, AddsWithAndWithoutCommasInSeveralProcessesTakeEveryIdOnce) {
  createDatabase();
  const int kProcesses = 4, kAdds = 25;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    if (children.emplace_back(fork()) != 0) continue;
    for (int i = 0; i < kAdds; ++i) {
      std::string name = "p" + std::to_string(p) + (i % 2 ? ",n" : "-n") + std::to_string(i);
      if (run({"-q", "add", "hosts", name, "1"}).status != 0) _exit(1);
    }
    _exit(0);
  }
  for (pid_t pid : children) {
    int status = -1;
    EXPECT_TRUE(waitpid(pid, &status, 0) == pid && WIFEXITED(status) && !WEXITSTATUS(status));
  }
  EXPECT_EQ(list(data("hosts")).size(), 2u + kProcesses * kAdds);
  EXPECT_EQ(run({"count", "hosts"}).out, std::to_string(2 + kProcesses * kAdds) + "\n");
}

// The store drops blanks at the ends of every value it is given: such a value is refused, naming
// its column, unless --trim asks for the trimming. Blanks inside a value are kept.
TEST_F(ToolTest, BlanksTheStoreWouldDropAreRefusedUnlessTrimmed) {
  createDatabase();
  auto before = snapshot();
  const std::string blanks = " of hosts.name has blanks at its ends";
  for (const Names& args : std::vector<Names>{{"add", "hosts", " a,1"},
                                              {"add", "hosts", "\" a,b\",1"},
                                              {"put", "hosts", "5", "a\t", "1"},
                                              {"update", "hosts", "1", "name= a"},
                                              {"import", "hosts", "-"}})
    expectRows({{args, 2, blanks}}, "name,port\n a ,1\n");
  EXPECT_EQ(snapshot(), before);
  expectRows({{{"add", "hosts", " a b ,1", "--trim"}, 0, "3\n"},
              {{"add", "hosts", "\" c,d \",1", "--trim"}, 0, "4\n"},
              {{"update", "hosts", "1", "name = e ", "--trim"}, 0, "(changed: name)"},
              {{"-q", "import", "hosts", "-", "--trim"}, 0, "5\n"}},
             "name,port\n f ,1\n");
  EXPECT_EQ(readFile(data("hosts/3")) + readFile(data("hosts/4")) + readFile(data("hosts/1")) +
                readFile(data("hosts/5")),
            "a b|1|c,d|1|e|8080|f|1|");
}

}  // namespace

namespace {

// check names what the store would lose or cannot see, each with what repair does about it, and
// update refuses to lose it.
TEST_F(ToolTest, CheckReportsExtraFieldsAndUnreadableDirectories) {
  createDatabase();
  writeFile(data("hosts/4"), "a|1|extra|");
  expectRows({{{"update", "hosts", "4", "port=2"},
               1,
               "update hosts 4 port=2: record 4 of hosts holds 3 fields where the table has 2 "
               "columns after the first, and an update would write it back without the rest"}});
  EXPECT_EQ(readFile(data("hosts/4")), "a|1|extra|");
  const std::string unfixed = "; 'taldb repair' does not fix it\n";
  for (const Names& c : std::vector<Names>{
           {"",
            "database/hosts/4: record has more fields than its table has columns after the "
            "first (3 for 2): reads see the first 2"},
           {"database/notes",
            "database/notes: table directory cannot be read (Permission denied), "
            "so what it holds is not checked" +
                unfixed},
           {"tal/database", "tal/database: data directory cannot be read (Permission denied)"}}) {
    if (!c[0].empty()) fault::failCall(fault::kOpen, EACCES, 1, c[0].c_str());
    Result check = expectRows({{{"check"}, 1, ""}});
    EXPECT_NE(check.out.find(c[1]), std::string::npos) << c[1] << "\n" << check.out;
  }
}

// Failures say what failed: a root that cannot be read is not a root without a database, a
// missing configuration file is missing, a removal that failed gives its reason.
TEST_F(ToolTest, FailuresSayWhatReallyFailed) {
  writeFile("rootfile", "");
  makeDir("flat/tal");
  writeFile("flat/tal/schema", "");
  const std::string root = at("rootfile"), flat = at("flat");
  for (const Names& args : std::vector<Names>{{"tables"}, {"check"}, {"drop", "--yes"}}) {
    expectRows(
        {{{"--root", root, args[0], args.size() > 1 ? args[1] : "-q"},
          1,
          "cannot read the database under " + root + ": " + root + "/tal/schema: Not a directory",
          true},
         {{"--root", flat, args[0], args.size() > 1 ? args[1] : "-q"},
          1,
          flat + "/tal/schema: Not a directory",
          true}});
  }
  expectRows(
      {{{"--root", root, "create", at("none.ini")}, 1, "create: cannot read the database", true},
       {{"--config", at("none.ini"), "tables"},
        1,
        "the configuration file " + at("none.ini") +
            " given with --config does not exist (No such file or directory)",
        true}});
  createDatabase();
  fault::failCall(fault::kOpen, EACCES, 1, "tal/schema");
  expectRows(
      {{{"check"},
        1,
        "cannot read the database under " + db_ + ": " + db_ + "/tal/schema: Permission denied"}});
  fault::failCall(fault::kOpen, EACCES, 1, "database/notes");
  expectRows({{{"tables"}, 1, "cannot read the directory of notes (Permission denied)"}});
  // The store calls a table whose directory it cannot read, or whose record it could not
  // remove, not empty.
  rmdir(at(data("notes")).c_str());
  expectRows({{{"drop-table", "notes"},
               1,
               "cannot be read: No such file or directory; 'taldb repair' makes it"}});
  expectRows({{{"repair"}, 0, "repaired"}});
  fault::failCall(fault::kRmdir, EROFS, 1, "notes");
  expectRows({{{"drop-table", "notes"}, 1, "reason [Read-only file system]"}});
  makeDir(data("hosts/sub"));
  writeFile(data("hosts/sub/x"), "");
  expectRows(
      {{{"drop", "--yes"}, 1, "cannot remove " + at(data("hosts/sub")) + ": Is a directory"}});
  unlink(at(data("hosts/sub/x")).c_str());
  rmdir(at(data("hosts/sub")).c_str());
  // A removal that fails only once does not stop the drop.
  fault::failCall(fault::kUnlink, EROFS, 1, "hosts/1");
  expectRows({{{"drop", "--yes"}, 0, "dropped the database under " + db_}});
  EXPECT_FALSE(exists("db/tal"));
}

// A record written while standard output cannot be written is said to be written, with a status
// of its own, so that nobody writes it again.
TEST_F(ToolTest, ARecordWrittenButNotPrintedIsSaidToBeWritten) {
  createDatabase();
  for (const Names& c : std::vector<Names>{
           {"add", "hosts", "x,1", "add hosts x,1: the record was written under id 3"},
           {"add", "hosts", "\"x,y\",1", "the record was written under id 4"},
           {"put", "hosts", "7,x,1", "put hosts 7,x,1: record 7 of hosts was written"},
           {"update", "hosts", "7", "port=2",
            "update hosts 7 port=2: record 7 of hosts was updated"}}) {
    // The command line, then the message.
    Names args = {"--root", db_};
    args.insert(args.end(), c.begin(), c.end() - 1);
    std::ofstream full("/dev/full");
    std::ostringstream err;
    EXPECT_EQ(taldb_cli::RunTool(args, full, err), 3) << c.back();
    EXPECT_NE(
        err.str().find(c.back() + ", but standard output could not be written: No space left"),
        std::string::npos)
        << err.str();
  }
  EXPECT_EQ(readFile(data("hosts/3")) + readFile(data("hosts/4")) + readFile(data("hosts/7")),
            "x|1|x,y|1|x|2|");
}

}  // namespace
