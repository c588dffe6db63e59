// How walks read (records opened relative to the walk's own stream, a
// listing that meets another process's write in flight), lookups, and copies
// of a table object.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "TableFixture.h"

using TalDB::CTable;
#include "table/ReadFence.h"
#include "util/StreamAccess.h"

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

// Lookups: the codes and log lines a host's own log shows for them.
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

// Copies of a table object share its lock and hold values of their own.
TEST_F(TableTest, CopiesShareTheLockAndOwnTheirValues) {
  put("1", "web01|80|");
  ASSERT_EQ(table->ListRecordsStart(nullptr), 0);
  auto* copy = new CTable(*table);
  CTable assigned;
  assigned = *table;
  assigned = assigned;
  EXPECT_EQ(assigned.path(), at("tal/database/hosts"));
  EXPECT_EQ(copy->ListRecordsNext(nullptr), 12);  // a copy has a stream of its own
  put("2", "web02|81|");
  ASSERT_EQ(table->GetValStr("2", "name", nullptr, 0), 20);
  EXPECT_STREQ(copy->getcolumn("name")->data(), "web01");
  EXPECT_STREQ(assigned.getcolumn("name")->data(), "web01");
  // The lock outlives a copy that goes first, and the source stays usable.
  delete copy;
  EXPECT_EQ(table->records(), 2);
  EXPECT_EQ(assigned.records(), 2);
}
