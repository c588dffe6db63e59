// Reading one record, conditions, looking values up, walks and listings
// while a writer is at work, and telling directories apart.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "TableFixture.h"
#include "table/ReadFence.h"
#include "util/StreamAccess.h"

TEST_F(TableTest, ConditionRules) {
  put("5", "x y|a=b|");
  ASSERT_EQ(table->readRecord("5"), 0);
  // The term rules are the condition fuzz target's; here the table applies them to its record.
  EXPECT_TRUE(table->MatchColumn("na me = x y ,port=a=b,junk,id=6"));
  EXPECT_FALSE(table->MatchColumn("id=5,name=X Y"));
  EXPECT_TRUE(log_.take().empty());
  EXPECT_FALSE(table->MatchColumn(nullptr));
  EXPECT_EQ(log_.take(), (Logs{Info(-1, "no condition")}));

  // The listing applies the same rules, with each call's own condition.
  put("6", "y|1|");
  put("7", "x y|2|");
  ASSERT_EQ(table->ListRecordsStart("name=x y"), 0);
  std::string found = table->columns()[0]->data();
  ASSERT_EQ(table->ListRecordsNext("name=x y"), 0);
  EXPECT_NE(table->columns()[0]->data(), found);
  EXPECT_EQ(table->ListRecordsNext("name=x y"), 12);
  EXPECT_EQ(table->ListRecordsStart("port=2"), 0);
  EXPECT_STREQ(table->columns()[0]->data(), "7");
}

TEST_F(TableTest, LookupsByIdAndKey) {
  lay("1:web01|9000000000| 2:web02|12abc| 3:web03||");
  char buf[4] = "xyz";
  long big = -1;
  int small = -1;
  EXPECT_EQ(table->GetValStr("1", "name", buf, sizeof buf), 0);
  EXPECT_STREQ(buf, "web");
  EXPECT_EQ(table->GetValBigInt("1", "port", big), 0);
  EXPECT_EQ(big, 9000000000L);
  EXPECT_EQ(table->GetValInt("2", "port", small), 20);
  EXPECT_EQ(small, 12);
  EXPECT_EQ(table->GetValBigInt("port", big), 20);  // by key, on the current record
  EXPECT_EQ(big, 12);
  EXPECT_EQ(table->GetValBigInt("3", "port", big), 0);
  EXPECT_EQ(big, 0);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "GetDataInt Error: invalid data [12abc]"),
                               Err(20, "GetDataBigInt Error: invalid data [12abc]")}));

  EXPECT_EQ(table->GetValStr("nope", nullptr, 0), 13);
  EXPECT_EQ(table->GetValStr("name", nullptr, 0), 20);
  EXPECT_EQ(table->GetValBigInt("nope", big), 13);
  EXPECT_EQ(table->GetValInt("1", "nope", small), 13);
  EXPECT_EQ(table->GetValStr("9", "name", buf, sizeof buf), 12);
  EXPECT_EQ(log_.take(), (Logs{Info(-1, "can't find column by key [nope]"),
                               Err(20, "GetDataStr Error: invalid parameter"),
                               Info(13, "can't find column by key [nope]"),
                               Info(13, "can't find column by key [nope]")}));
}

// The shortcut is taken: a walk opens its records relative to its stream, so
// no record is opened by its path, also after the table object was turned
// into another table and back; and a walk that meets a temporary file reads
// what is there once writers are done.
TEST_F(TableTest, WalksOpenRecordsRelativeToTheirStream) {
  makeTable("other", "id[int]|name[varchar]|port[int]");
  put("1", "a|1|");
  auto recordOpens = [&] {
    fault::startRecording();
    for (int rc = table->ListRecordsStart(nullptr); rc == 0; rc = table->ListRecordsNext(nullptr)) {
    }
    char value[8];
    EXPECT_EQ(table->GetValStr("1", "name", value, sizeof value), 0);
    int opens = 0;
    for (const std::string& call : fault::stopRecording())
      opens += call.rfind("open " + recordPath("1"), 0) == 0;
    return opens;
  };
  EXPECT_EQ(recordOpens(), 0);
  ASSERT_EQ(table->Open("other"), 0);
  ASSERT_EQ(table->Open("hosts"), 0);
  EXPECT_EQ(recordOpens(), 0);

  char settled[TalDB::ReadFence::kNameSize];
  std::fill(settled, settled + sizeof settled, 'x');
  put("2", "b|2|");
  put("3.tmp", "c|3|");
  TalDB::CDirIterator stream;
  ASSERT_EQ(TalDB::StreamAccess::openOn(stream, at("tal/database/hosts").c_str()), 0);
  TalDB::ReadFence fence(stream);
  EXPECT_STREQ(fence.temporary("3.tmp", settled), "3.tmp");  // a leftover stays itself
  EXPECT_STREQ(fence.temporary("2.tmp", settled), "2");      // a write that finished
  EXPECT_EQ(fence.temporary("4.tmp", settled), nullptr);     // nothing left of it
}

// A writer elsewhere holds the directory lock (between the removal of a record
// and the rename of its new file, which leaves no trace a reader could see).
// A listing step whose stream fills its buffer again reads that fill only once
// the writer is done.
TEST_F(TableTest, AListingWaitsForAWriterInFlightAtEachFillOfItsStream) {
  const int records = 3000;  // entries for more than one fill of a stream's buffer
  for (int i = 1; i <= records; ++i) put(std::to_string(i), "a|1|");
  ASSERT_EQ(table->ListRecordsStart(nullptr), 0);  // the first fill, before the writer
  int writer = open(at("tal/database/hosts").c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(writer, LOCK_EX), 0);
  const auto hold = std::chrono::milliseconds(300);
  std::thread done([&] {
    std::this_thread::sleep_for(hold);
    flock(writer, LOCK_UN);
  });
  auto start = std::chrono::steady_clock::now();
  int listed = 1;
  while (table->ListRecordsNext(nullptr) == 0) ++listed;
  EXPECT_GE(std::chrono::steady_clock::now() - start, hold);
  done.join();
  EXPECT_EQ(listed, records);
  close(writer);
}

// What the columns hold after a record line is read is the record line fuzz target's; here the
// codes' log lines, a missing file and a name that is no id.
TEST_F(TableTest, ReadRecordFillsColumnsOrLeavesTheDocumentedState) {
  for (auto [content, logged] : {std::pair{"a|", "can't readRecord: record's content error"},
                                 {"\na|b|", "record length is 0, error"}}) {
    put("7", content);
    EXPECT_EQ(table->readRecord("7"), 16);
    EXPECT_EQ(log_.take(), (Logs{Err(16, logged)}));
  }
  put("0", "old|1|");
  ASSERT_EQ(table->readRecord("0"), 0);
  EXPECT_EQ(table->readRecord("missing"), 8);
  EXPECT_EQ(current(), (Values{"0", "old", "1"}));
  EXPECT_EQ(log_.take(), (Logs{Err(8, "failed to open record file: " + recordPath("missing"))}));
  put("12.tmp", "x|9|");
  EXPECT_EQ(table->readRecord("12.tmp"), 0);
  EXPECT_EQ(current(), (Values{"12.tmp", "x", "9"}));
}

TEST_F(TableTest, IsDirFollowsLinks) {
  makeDir(record("sub"));
  put("file", "a|b|");
  ASSERT_EQ(symlink(at(record("sub")).c_str(), recordPath("link").c_str()), 0);
  struct dirent entry = {};
  char dir[4096];
  snprintf(dir, sizeof dir, "%s", table->path());
  for (auto [name, isDir] :
       {std::pair{"sub", true}, {"link", true}, {"file", false}, {"absent", false}}) {
    snprintf(entry.d_name, sizeof entry.d_name, "%s", name);
    EXPECT_EQ(table->IsDir(&entry, dir), isDir) << name;
  }
}
