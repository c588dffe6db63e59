// import of a long file: written in batches, each on disk before its ids are
// printed; one that fails part way says how far it got, and --from-line goes
// on from there without writing a row twice.
#include <errno.h>
#include <sys/stat.h>

#include <thread>

#include "ToolFixture.h"

namespace {

TEST_F(ToolTest, ImportInBatchesSaysHowFarItGotAndGoesOnFromThere) {
  createDatabase();
  std::string rows = "name,port\n";
  for (int i = 1; i <= 2500; ++i) rows += "n" + std::to_string(i) + "," + std::to_string(i) + "\n";
  writeFile("rows.csv", rows);
  // The 2,100th record's rename fails: the first batch of 2,000 and 99 of
  // the second are on disk.
  fault::failCall(fault::kRename, EIO, 2100, "hosts/");
  Result failed = expectRows({{{"-q", "import", "hosts", at("rows.csv")},
                               1,
                               ": 2,099 of 2,500 rows written, the last from line 2,100; rows "
                               "after it not written: failed (status 20): addRecords: failed to "
                               "rename record file"}});
  EXPECT_NE(failed.err.find("; add --from-line 2101 to go on from there\n"), std::string::npos);
  EXPECT_EQ(failed.out.substr(failed.out.size() - 5), "2101\n");  // ids 3 to 2101
  EXPECT_EQ(list(data("hosts")).size(), 2101u);
  Result rest =
      expectRows({{{"-q", "import", "hosts", at("rows.csv"), "--from-line", "2101"}, 0, ""}});
  EXPECT_EQ(rest.out.substr(0, 5), "2102\n");
  EXPECT_EQ(list(data("hosts")).size(), 2502u);
  EXPECT_EQ(readFile(data("hosts/2502")), "n2500|2500|");
  // Checked batch by batch, a bad row ends the import with the batches
  // before it written.
  writeFile("bad.csv", rows + "x|y,1\n");
  expectRows({{{"-q", "import", "hosts", at("bad.csv"), "--batch-check"},
               1,
               "line 2502: invalid value 'x|y'"}});
  EXPECT_EQ(list(data("hosts")).size(), 4502u);
}

// Input that cannot be read twice (a FIFO here, as a pipe, standard input and /dev/fd/N) is read
// once, a row with a comma in the same batch as the others; output that fails ends the import
// saying how far it got, as an interruption does.
TEST_F(ToolTest, ImportReadsAFifoOnceAndSaysHowFarItGotWhenItsOutputFails) {
  createDatabase();
  ASSERT_EQ(mkfifo(at("rows.csv").c_str(), 0600), 0);
  std::thread writer([&] { writeFile("rows.csv", "name,port\na,1\n\"b, \"\"c\"\"\",2\n"); });
  // The copy kept for the second reading goes with the import.
  makeDir("tmp");
  const char* tmpdir = getenv("TMPDIR");
  std::string saved = tmpdir != nullptr ? tmpdir : "";
  setenv("TMPDIR", at("tmp").c_str(), 1);
  Result got = run({"-q", "import", "hosts", at("rows.csv")});
  tmpdir != nullptr ? setenv("TMPDIR", saved.c_str(), 1) : unsetenv("TMPDIR");
  writer.join();
  EXPECT_EQ(got.out + got.err, "3\n4\n");
  EXPECT_TRUE(list("tmp").empty());
  EXPECT_EQ(readFile(data("hosts/4")), "b, \"c\"|2|");
  writeFile("more.csv", "name,port\nd,1\n");
  // Standard output whose reader went away, as after "| head -1".
  struct ClosedPipe : std::streambuf {
    int overflow(int) override { return errno = EPIPE, EOF; }
  } pipe;
  std::ostream closed(&pipe);
  std::ostringstream err;
  EXPECT_EQ(taldb_cli::RunTool({"--root", db_, "import", "hosts", at("more.csv")}, closed, err), 1);
  EXPECT_EQ(err.str(), "taldb: import hosts (" + at("more.csv") +
                           "): 1 of 1 rows written, the last from line 2; rows after it not "
                           "written: standard output could not be written (Broken pipe); add "
                           "--from-line 3 to go on from there\n");
  EXPECT_EQ(readFile(data("hosts/5")), "d|1|");
}

}  // namespace

namespace {

// seed checks every record before it writes one, then writes them as a group.
TEST_F(ToolTest, SeedChecksEveryRecordBeforeWritingAny) {
  createDatabase();
  writeFile("bad.ini", "[hosts]\nrec_1 = 7, a, 1\nrec_2 = 8, b\n");
  writeFile("good.ini", "[hosts]\nrec_1 = 7, {{$talhost}}, 1\nrec_2 = 2, {{$talversion}}, 3\n");
  auto before = snapshot();
  expectRows({{{"seed", "hosts", at("bad.ini")}, 2, "bad.ini: rec_2: "}});
  EXPECT_EQ(snapshot(), before);
  expectRows({{{"seed", "hosts", at("good.ini")}, 0, ": 3 records (2 before)\n"}});
  EXPECT_EQ(readFile(data("hosts/7")) + readFile(data("hosts/2")), "127.0.0.1|1|1.0|3|");
}

}  // namespace

namespace {

// import and seed hold int and bigint columns to their numbers as add does.
TEST_F(ToolTest, ImportAndSeedTakeOnlyNumbersInNumberColumns) {
  createDatabase();
  writeFile("seed.ini", "[hosts]\nrec_1 = 7, a, 08\n");
  auto before = snapshot();
  expectRows({{{"import", "hosts", "-"}, 2, "line 3: "},
              {{"seed", "hosts", at("seed.ini")}, 2, "rec_1: "}},
             "name,port\na,1\nb,x1\n");
  expectRows({{{"import", "hosts", "-"}, 2, "line 2: "}}, "name,port\nleft out\n");
  EXPECT_EQ(snapshot(), before);
}

}  // namespace
