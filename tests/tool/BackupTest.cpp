// Copies of a database are whole or fail: dump in every format and backup name what they leave
// out and exit with 1; backup and restore carry every byte a record file can hold; no copy, check
// or lookup reads through a symbolic link.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <thread>

#include "ToolFixture.h"
#include "base/Text.h"
#include "table/SchemaSeal.h"

namespace {

class BackupTest : public ToolTest {
 protected:
  // A table laid down by hand, as a host may have made it: its schema file sealed, its directory.
  void handMadeTable(const std::string& name, const std::string& line) const {
    char seal[TalDB::kFingerprintSize];
    TalDB::SchemaFingerprint(line.c_str(), line.size(), seal);
    writeFile("db/tal/schema/" + name, line + "\n" + seal);
    makeDir(data(name));
  }
  // Every file under a root, keyed by its path below it.
  std::map<std::string, std::string> files(const std::string& root) const {
    std::map<std::string, std::string> found;
    for (const auto& entry : snapshot(root))
      found[entry.first.substr(root.size() + 1)] = entry.second;
    return found;
  }
};

TEST_F(BackupTest, EveryValueARecordFileHoldsComesBackByteForByte) {
  createDatabase();
  // Values through the tool's own writes: add, put, update, import, seed.
  writeFile("rows.csv", "n,size,note\n-1,-9223372036854775808,\"say \"\"hi\"\" %41\"\n");
  writeFile("seed.ini", "[sizes]\nrec_1 = 9, 5, -1, seeded {{$talid}}\n");
  expectRows({{{"add-table", "sizes", "id(int), n(int), size(bigint), note(varchar)"}, 0, "added"},
              {{"add-table", "words", "id(int), a(varchar), b(varchar)"}, 0, "added"},
              {{"add", "sizes", "2147483647", "9223372036854775807", "-"}, 0, "1\n"},
              {{"put", "sizes", "2", "0", "1", "caf\xC3\xA9 \xFF\x01"}, 0, "wrote"},
              {{"update", "sizes", "2", "note={{$talhost}}%"}, 0, "updated"},
              {{"-q", "import", "sizes", at("rows.csv")}, 0, "3\n"},
              {{"seed", "sizes", at("seed.ini")}, 0, "seeded"},
              {{"put", "notes", "9", ""}, 0, "wrote"}});
  // Values only a host writes (commas, blanks at the ends, an empty last value, control bytes),
  // names that are no ids, and tables that neither AddTable nor a description file would make
  // with the same schema line.
  const std::vector<Names> records = {{"words/1", " lead,and trail ||"},
                                      {"words/2", "{{$talid}}|%25 -|"},
                                      {"words/3", "\xFF\xFE\x80|\xC2\x85\r\t\x7F\x1B|"},
                                      {"words/4", "-|%|"},
                                      {"words/5", std::string(2047, 'x') + "|y|"},
                                      {"words/007", "odd|x|"},
                                      {"words/a b,c", "spaced, name|-5|"},
                                      {"words/-5", "neg||"},
                                      {" odd/1", "12| x |"},
                                      {"spaced/1", "v|"}};
  handMadeTable(" odd", "id[int]|my v[bigint]|w[varchar]");
  handMadeTable("spaced", "id[int]|my col[varchar]");
  for (const Names& r : records) writeFile(data(r[0]), r[1]);

  expectRows({{{"backup", at("b.txt")}, 0, "backed up 6 tables, 17 records to "}});
  std::string text = readFile("b.txt");
  // One line for the header, each table, each record and the end; UTF-8 whatever the bytes.
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 6 + 17 + 1);
  EXPECT_TRUE(taldb_cli::isUtf8(text));
  EXPECT_NE(text.find("\nrecord 4 %2D %25\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nend tables=6 records=17 left-out=0\n"), std::string::npos);
  expectRows({{{"--root", at("copy"), "restore", at("b.txt")},
               0,
               "restored 6 tables, 17 records under " + at("copy") + " from " + at("b.txt"),
               true}});
  EXPECT_EQ(files("copy"), files("db"));
  // Through standard input and output alike.
  Result piped = run({"backup", "-"});
  EXPECT_EQ(piped.out, text);
  EXPECT_EQ(piped.err, "taldb: backed up 6 tables, 17 records\n");
  expectRows({{{"--root", at("piped"), "restore", "-"}, 0, "from standard input", true}},
             piped.out);
  EXPECT_EQ(files("piped"), files("db"));
  // A root that holds a database, or part of one, is not restored into.
  expectRows({{{"--root", at("copy"), "restore", at("b.txt")}, 1, "holds a database already", true},
              {{"restore", at("b.txt")}, 1, "holds a database already"}});
}

TEST_F(BackupTest, RestoreChecksTheWholeFileBeforeWritingAnything) {
  const std::string head = "taldb-backup 1\ntable t id[int]|a[varchar]\n",
                    end = "end tables=1 records=";
  for (const Names& c : std::vector<Names>{
           {"", "line 0: the file is empty"},
           {"name,port\n", "line 1: not a taldb backup"},
           {"taldb-backup 2\n",
            "line 1: the backup is of format version 2; this taldb reads version 1"},
           {head + "record 1 x\n", "line 3: the file ends before its end line: it is cut short"},
           {head + "record 1 x\n" + end + "2 left-out=0\n",
            "line 4: the end line counts 1 table and 2"},
           {head + end + "0 left-out=0\nmore\n", "line 4: there is text after the end line"},
           {head + end + "0 left-out=1\n", "the backup left 1 entry out when it was written"},
           {head + "end 1 0 0\n", "the end line is not 'end tables=N records=N left-out=N'"},
           {"taldb-backup 1\nrecord 1 x\n", "line 2: a record comes before any table line"},
           {head + "frob\n", "a line begins with 'table', 'record' or 'end', not 'frob'"},
           {head + "record 1 x y\n", "3 fields after 'record' where table t has 2 columns"},
           {head + "record 1 x\nrecord 1 y\n", "line 4: the record '1' of table t comes twice"},
           {head + "table t id[int]\n", "the table 't' comes twice"},
           {head + "record 1  x\n", "field 3 '' is not written as a backup writes a field"},
           {head + "record 1 a%G0\n", "field 3 'a%G0' is not written"},
           {head + "record 1 a\r\n", "field 3 'a\r' is not written"},
           {head + "record 1 a%7Cb\n", "holds '|', a line feed or NUL"},
           {head + "record 1 a%00b\n", "holds '|', a line feed or NUL"},
           {head + "record 1 " + std::string(2048, 'x') + "\n", "is longer than the 2047 bytes"},
           {head + "record 4.ADD x\n", "the record name '4.ADD' holds '.ADD'"},
           {head + "record 4.tmp x\n", "ends in '.tmp'"},
           {head + "record .. x\n", "the record name '..' is empty, '.' or '..'"},
           {head + "record a%2Fb x\n", "the record name 'a/b' holds '/'"},
           {"taldb-backup 1\ntable .. id[int]\n", "the table name '..' is empty"},
           {"taldb-backup 1\ntable t id[int]|a\n",
            "does not load whole (1 of 2 column definitions"}}) {
    Result got = expectRows(
        {{{"--root", at("copy"), "restore", "-"}, 1, "restore: standard input ", true}}, c[0]);
    EXPECT_NE(got.err.find(c[1]), std::string::npos) << c[1] << "\n" << got.err;
    EXPECT_NE(got.err.find("; nothing was written\n"), std::string::npos) << got.err;
    EXPECT_FALSE(exists("copy")) << c[1];
  }
}

// A backup replaces only a regular file, whole or not at all; a FIFO or a character device is
// written in place and a symbolic link stays one. Nothing is left under a temporary name, and no
// success line stands beside a failure.
TEST_F(BackupTest, OutputFilesAreReplacedOnlyWhenRegularAndWrittenInPlaceOtherwise) {
  createDatabase();
  std::string text = run({"backup", "-"}).out;
  writeFile("old.txt", "old");
  chmod(at("old.txt").c_str(), 0640);
  writeFile("target.txt", "old");
  ASSERT_EQ(symlink("target.txt", at("link").c_str()), 0);
  // Devices only through links here: a fault must never replace the machine's own.
  ASSERT_EQ(symlink("/dev/null", at("null").c_str()), 0);
  ASSERT_EQ(symlink("/dev/full", at("full").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", at("dangling").c_str()), 0);
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  makeDir("dir");
  // The file, the status, what the output or the error says, where the backup then is (or "")
  // and what the name must still be.
  struct Case {
    std::string file;
    int status;
    std::string says, holder;
    mode_t kind;
  };
  for (const Case& c : std::vector<Case>{
           {at("new.txt"), 0, "backed up 2 tables, 2 records to", "new.txt", S_IFREG},
           {at("old.txt"), 0, "backed up", "old.txt", S_IFREG},
           {at("link"), 0, "backed up", "target.txt", S_IFLNK},
           {at("null"), 0, "backed up", "", S_IFLNK},
           {at("fifo"), 0, "backed up", "", S_IFIFO},
           {at("dangling"), 1, "is a symbolic link to nowhere, which does not exist", "", S_IFLNK},
           {at("dir"), 1, "is a directory; backup writes a regular file, a FIFO", "", S_IFDIR},
           {at("full"), 1, "full: No space left on device; what it received", "", S_IFLNK}}) {
    std::string fromFifo;
    std::thread reader;
    if (c.kind == S_IFIFO) reader = std::thread([&] { fromFifo = readFile("fifo"); });
    Result got = expectRows({{{"backup", c.file}, c.status, c.says}});
    if (reader.joinable()) reader.join();
    EXPECT_EQ(got.out.empty(), c.status != 0) << c.file;
    EXPECT_EQ(c.holder.empty() ? text : readFile(c.holder), text) << c.file;
    EXPECT_EQ(fromFifo, c.kind == S_IFIFO ? text : "") << c.file;
    struct stat st;
    EXPECT_TRUE(lstat(c.file.c_str(), &st) == 0 && (st.st_mode & S_IFMT) == c.kind) << c.file;
    EXPECT_EQ(list("").size(), 11u) << c.file;  // nothing left beside, nothing new but new.txt
  }
  struct stat st;
  EXPECT_TRUE(stat(at("old.txt").c_str(), &st) == 0 && (st.st_mode & 0777) == 0640);
  // Standard output that cannot be written fails without the success line.
  std::ostream unwritable(nullptr);
  std::ostringstream err;
  EXPECT_EQ(taldb_cli::RunTool({"--root", db_, "backup", "-"}, unwritable, err), 1);
  EXPECT_EQ(err.str().find("taldb: backup: cannot write standard output; what it received"), 0u);
}

// restore reads a pipe or a FIFO once; one that stops part way leaves a root that the same
// restore goes on with, to the same database as a restore that never stopped.
TEST_F(BackupTest, RestoreReadsAPipeOrAFifoOnceAndGoesOnAfterAStop) {
  createDatabase();
  std::string rows = "name,port\n";
  for (int i = 1; i <= 4500; ++i) rows += "n" + std::to_string(i) + "," + std::to_string(i) + "\n";
  writeFile("rows.csv", rows);
  expectRows({{{"-q", "import", "hosts", at("rows.csv")}, 0, ""},
              {{"put", "notes", "5", "a, comma"}, 0, "wrote"},
              {{"backup", at("b.txt")}, 0, "4503 records"}});
  std::string text = readFile("b.txt");
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  for (const std::string& input : {at("fifo"), "/dev/fd/" + std::to_string(ends[0])}) {
    std::thread writer([&] {
      if (input == at("fifo")) {
        std::ofstream(at("fifo"), std::ios::binary) << text;
      } else {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(ends[1]);
      }
    });
    expectRows({{{"--root", at("copy"), "restore", input}, 0, "4503 records under", true}});
    writer.join();
    EXPECT_EQ(files("copy"), files("db")) << input;
    expectRows({{{"--root", at("copy"), "drop", "--yes"}, 0, "dropped", true}});
  }
  close(ends[0]);

  // The 2,100th record's rename fails: a stop part way, with a temporary file left.
  fault::failCall(fault::kRename, EIO, 2100, "hosts/");
  Result stopped = expectRows({{{"--root", at("copy"), "restore", at("b.txt")},
                                1,
                                " of 4,503 records written under ",
                                true}});
  EXPECT_NE(stopped.err.find("; to go on, run the same command again (taldb --root " + at("copy") +
                             " restore " + at("b.txt") + "); to start over instead: taldb --root " +
                             at("copy") + " drop --yes, then restore\n"),
            std::string::npos)
      << stopped.err;
  // Another backup does not go on with it; the same one does, through any input.
  writeFile("other.txt", "taldb-backup 1\nend tables=0 records=0 left-out=0\n");
  expectRows({{{"--root", at("copy"), "restore", at("other.txt")},
               1,
               "holds a restore of another backup, stopped before it was whole",
               true},
              {{"--root", at("copy"), "restore", "-"}, 0, "going on from an earlier run: ", true}},
             text);
  EXPECT_EQ(files("copy"), files("db"));
}

// Every format of dump, and backup, write what they can, name each entry they leave out and why,
// then fail, unless --allow-partial asks for a partial copy. A symbolic link is never followed.
TEST_F(BackupTest, CopiesNameWhatTheyLeaveOutAndFailUnlessAPartialCopyIsAsked) {
  createDatabase();
  writeFile("secret", "SECRET|1|");
  makeDir(data("hosts/sub"));
  makeDir(data("orphan"));
  ASSERT_EQ(symlink(at("secret").c_str(), at(data("hosts/7")).c_str()), 0);
  for (const Names& f : std::vector<Names>{{"hosts/4.ADD", "x|1|"},
                                           {"hosts/9.tmp", "z|9|"},
                                           {"hosts/5", ""},
                                           {"hosts/6", "only|"},
                                           {"hosts/10", "h|1|extra|"},
                                           {"hosts/11", "h|1|\nmore"},
                                           {"hosts/12", "h12|12|\n"},
                                           {"notes/3", std::string(2048, 'n') + "|"}})
    writeFile(data(f[0]), f[1]);
  const Names leftOut = {
      "skipped hosts/4.ADD: a marked name",
      "skipped hosts/5: record file is empty",
      "skipped hosts/10: record has more fields than its table has columns after the first (3 "
      "for 2); a copy would lose the rest",
      "skipped hosts/11: the record file holds more than one line; a copy would lose the rest",
      "skipped hosts/6: record has too few fields (1 of 2)",
      "skipped hosts/7: a symbolic link where only record files belong; it is never followed",
      "skipped hosts/9.tmp: the temporary file",
      "skipped hosts/sub: a directory",
      "skipped notes/3: the value of column text is longer than the 2047 bytes",
      "skipped tal/database/orphan: a table directory without a schema file",
      "10 entries were left out (named above)"};
  const std::map<std::string, std::string> written = {{"table", "1   h1    8080"},
                                                      {"csv", "1,h1,8080"},
                                                      {"json", "\"name\": \"h1\""},
                                                      {"ini", "rec_1 = 1, h1, 8080"},
                                                      {"sql", "VALUES (1, 'h1', 8080)"}};
  for (const auto& format : written) {
    for (bool partial : {false, true}) {
      Names args = {"dump", "--format", format.first};
      if (partial) args.push_back("--allow-partial");
      Result got = run(args);
      EXPECT_EQ(got.status, partial ? 0 : 1) << format.first << got.err;
      EXPECT_NE(got.out.find(format.second), std::string::npos) << format.first << got.out;
      EXPECT_EQ(got.out.find("SECRET"), std::string::npos) << format.first;
      EXPECT_EQ(got.err.find("hosts/12"), std::string::npos) << format.first;
      for (const std::string& line : leftOut)
        EXPECT_NE(got.err.find("taldb: " + std::string(line[0] == 's' ? "" : "dump: ") + line),
                  std::string::npos)
            << format.first << " " << line << "\n"
            << got.err;
      EXPECT_NE(got.err.find(partial ? "a partial copy, as --allow-partial asks"
                                     : "this dump is not whole"),
                std::string::npos)
          << got.err;
    }
  }
  expectRows({{{"dump", "hosts"}, 1, "dump: 8 entries were left out"}});

  // A backup that is not whole is not written, unless asked for; then restore takes it only
  // when asked as well.
  Result refused =
      expectRows({{{"backup", at("b.txt")}, 1, "no backup was written to " + at("b.txt")}});
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(list(""), Names({"db", "secret", "test.ini"}));
  Result partial = run({"backup", at("b.txt"), "--allow-partial"});
  EXPECT_EQ(partial.status, 0);
  EXPECT_EQ(partial.out, "backed up 2 tables, 3 records to " + at("b.txt") + "\n");
  EXPECT_NE(partial.err.find("backup: 10 entries were left out (named above); a partial copy"),
            std::string::npos)
      << partial.err;
  expectRows({{{"--root", at("copy"), "restore", at("b.txt")}, 1, "left 10 entries out", true},
              {{"--root", at("copy"), "restore", at("b.txt"), "--allow-partial"},
               0,
               "3 records under " + at("copy") + " from " + at("b.txt") +
                   " (a partial backup: 10 "
                   "entries were left out when it was written)",
               true}});
  EXPECT_EQ(readFile("b.txt").find("SECRET"), std::string::npos);

  // check names the link with what repair does about it; lookups and updates do not follow it.
  Result check = expectRows({{{"check"}, 1, ""}});
  EXPECT_NE(check.out.find("database/hosts/7: a symbolic link where only record files belong: dump "
                           "and backup leave it out and never follow it; 'taldb repair' leaves it "
                           "alone: remove the link by hand\n"),
            std::string::npos)
      << check.out;
  EXPECT_EQ(check.out.find("SECRET"), std::string::npos);
  expectRows({{{"get", "hosts", "7"}, 1, "get hosts 7: 7 is a symbolic link, not a record file"},
              {{"update", "hosts", "7", "port=2"}, 1, "7 is a symbolic link"}});
  EXPECT_EQ(run({"list", "hosts"}).out.find("SECRET"), std::string::npos);
  EXPECT_EQ(readFile("secret"), "SECRET|1|");
  struct stat link;
  EXPECT_TRUE(lstat(at(data("hosts/7")).c_str(), &link) == 0 && S_ISLNK(link.st_mode));
}

// A FIFO (or a device) is never opened, nor read through a link named as a leftover of a write:
// reading one would wait for a writer forever.
TEST_F(BackupTest, AFifoInATableIsNamedNeverOpened) {
  createDatabase();
  ASSERT_EQ(mkfifo(at(data("hosts/8")).c_str(), 0600), 0);
  ASSERT_EQ(symlink(at(data("hosts/8")).c_str(), at(data("hosts/9.tmp")).c_str()), 0);
  expectRows(
      {{{"dump", "hosts"}, 1, "skipped hosts/8: a FIFO, socket or device where only record"}});
  Result check = run({"check"});
  for (const char* line :
       {"database/hosts/8: a FIFO, socket or device where only record files",
        "database/hosts/9.tmp: a symbolic link where only record files belong: "
        "dump and backup leave it out and never follow it; 'taldb repair' leaves "
        "it alone"})
    EXPECT_NE(check.out.find(line), std::string::npos) << line << "\n" << check.out;
  // Repair neither reads through the link (the FIFO would never answer) nor removes it.
  expectRows({{{"repair"}, 0, "repaired 2 tables: 0 files changed"}});
  EXPECT_TRUE(exists(data("hosts/9.tmp")));
}

// The description file dump writes is what create and seed read: it comes back, or the dump fails
// naming the record.
TEST_F(BackupTest, IniDumpIsReadBackBySeedOrRefusedNamingTheRecord) {
  createDatabase();
  expectRows({{{"put", "notes", "4", "a = b; #c"}, 0, "wrote"}});
  Result dump =
      expectRows({{{"dump", "--format", "ini"}, 0, "[notes]\nschema = id[int]|text[varchar]\n"}});
  writeFile("dump.ini", dump.out);
  auto before = snapshot("db");
  expectRows({{{"clear", "notes"}, 0, "1 record removed"},
              {{"seed", "notes", at("dump.ini")}, 0, "1 record"}});
  EXPECT_EQ(snapshot("db"), before);
  writeFile(data("notes/5"), std::string(2048, 'n') + "|");
  // What was written then ends with a section create refuses, so it cannot pass for a whole copy.
  dump = expectRows({{{"dump", "notes", "--format", "ini"},
                      1,
                      "skipped notes/5: the value of column text is longer"}});
  writeFile("cut.ini", dump.out);
  expectRows({{{"--root", at("copy"), "create", at("cut.ini")}, 2, "invalid table name 'dump/"}});
  EXPECT_FALSE(exists("copy"));
}

}  // namespace
