// The group write: a batch of records, each through its own temporary file,
// with the flushes shared; checked whole before anything is written, and
// nothing of a failed batch left in place beyond what it reports written.
#include <errno.h>

#include "TableFixture.h"

using Batch = std::vector<const char*>;

class GroupWriteTest : public TableTest {
 protected:
  // Adds the batch; returns the status, with the ids in ids and the count
  // written in written.
  int add(Batch texts, bool allocate) {
    ids.assign(texts.size(), -1);
    written = -1;
    return table->addRecords(texts.data(), static_cast<int>(texts.size()), ids.data(), allocate,
                             &written);
  }
  std::vector<int> ids;
  int written = -1;
};

TEST_F(GroupWriteTest, WritesEveryRecordAsAddRecordWouldWithOneScanForTheIds) {
  lay("2:a|1| 10:b|2| 11.ADD:x|");
  ASSERT_EQ(add({" web1 , 80 ", "web2,81", "web3, "}, true), 0);
  // A marked name is no record: its number is not taken into account.
  EXPECT_EQ(ids, (std::vector<int>{11, 12, 13}));
  EXPECT_EQ(written, 3);
  EXPECT_EQ(contents(), "10:b|2| 11:web1|80| 11.ADD:x| 12:web2|81| 13:web3|| 2:a|1|");
  // The scan reports a marked name once, as every scan does.
  EXPECT_EQ(log_.take(), (Logs{Err(16, "invalid record name found: 11.ADD.")}));

  // Given ids replace what is there; an id given twice keeps its last record.
  ASSERT_EQ(add({"2,new,1", "20,x,2", "2,newer,3"}, false), 0);
  EXPECT_EQ(ids, (std::vector<int>{2, 20, 2}));
  EXPECT_EQ(written, 3);
  EXPECT_EQ(contents(), "10:b|2| 11:web1|80| 11.ADD:x| 12:web2|81| 13:web3|| 2:newer|3| 20:x|2|");
}

TEST_F(GroupWriteTest, ABatchWithAWrongRecordWritesNothing) {
  const std::pair<Batch, bool> refused[] = {
      {{"a,1", "b,2", "c"}, true},    // the last has too few values
      {{"1,a,1", "2,b,2,3"}, false},  // too many
      {{"a,1", "5,b,2"}, true},       // an id where ids are allocated
  };
  for (const auto& [batch, allocate] : refused) {
    EXPECT_EQ(add(batch, allocate), 11) << batch.back();
    EXPECT_EQ(written, 0);
    EXPECT_EQ(files(), Values{});
    EXPECT_EQ(log_.take(), (Logs{Err(11, "record's syntax error ")}));
  }
}

// A failed step leaves in place only the records reported written, or, when
// the directory flush fails, reports none written though they may be there:
// never a temporary file that repair could later finish into a record
// reported lost.
TEST_F(GroupWriteTest, AFailedStepLeavesOnlyWhatItReportsWritten) {
  struct Case {
    const char* what;
    fault::Call call;
    int nth;
    int written;
    std::string left;
  } cases[] = {
      {"the second temporary file cannot be made", fault::kOpen, 2, 0, ""},
      {"the second temporary file cannot be written", fault::kWrite, 2, 0, ""},
      {"the file system cannot be flushed", fault::kSyncfs, 1, 0, ""},
      {"the third rename fails", fault::kRename, 3, 2, "1:a|1| 2:b|2|"},
      {"the directory cannot be flushed", fault::kFdatasync, 1, 0, "1:a|1| 2:b|2| 3:c|3| 4:d|4|"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    lay("");
    fault::failCall(c.call, EIO, c.nth, "hosts");
    EXPECT_EQ(add({"a,1", "b,2", "c,3", "d,4"}, true), 20);
    EXPECT_EQ(written, c.written);
    EXPECT_EQ(contents(), c.left);
    Logs logs = log_.take();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_EQ(logs[0].code, 20);
    EXPECT_NE(logs[0].text.find("addRecords: "), std::string::npos) << logs[0].text;
    fault::reset();
  }
}

// The value form stores each value as given (commas, quotes, blanks, an empty
// last value) in the same batch, and a value the record line would not keep
// refuses the whole batch, and so do ids past the limit. A batch after a file
// appeared at the next id, which the mark of the batch before does not know
// of, takes the ids after it.
TEST_F(GroupWriteTest, TakesValuesAsGivenAndRefusesABatchWithOneTheLineCannotKeep) {
  lay("4:a|1|");
  const char* first[] = {"Smith, John", " \"q\" "};
  const char* second[] = {"x", ""};
  const char* const* batch[] = {first, second};
  ids.assign(2, -1);
  ASSERT_EQ(table->addRecordValues(batch, 2, ids.data(), true, 0, &written), 0);
  EXPECT_EQ(ids, (std::vector<int>{5, 6}));
  EXPECT_EQ(written, 2);
  // Ids past the limit refuse the batch, as addRecord refuses one record.
  EXPECT_EQ(table->addRecordValues(batch, 2, ids.data(), true, 7, &written), 15);
  EXPECT_EQ(log_.take().size(), 1u);
  put("7", "other|2|");
  ASSERT_EQ(table->addRecordValues(batch + 1, 1, ids.data(), true, 0, &written), 0);
  EXPECT_EQ(ids[0], 8);
  const char* given[] = {"4", "a,b", ""};
  const char* const* replace[] = {given};
  ASSERT_EQ(table->addRecordValues(replace, 1, nullptr, false, 0, &written), 0);
  const std::string laid = "4:a,b|| 5:Smith, John| \"q\" | 6:x|| 7:other|2| 8:x||";
  EXPECT_EQ(contents(), laid);
  std::string longValue(2048, 'x');
  for (const char* bad : {"a|b", "a\nb", longValue.c_str()}) {
    const char* wrong[] = {"ok", bad};
    const char* const* refused[] = {first, wrong};
    EXPECT_EQ(table->addRecordValues(refused, 2, nullptr, true, 0, &written), 11);
    EXPECT_EQ(written, 0);
    EXPECT_EQ(contents(), laid);
    Logs logs = log_.take();
    EXPECT_TRUE(logs.size() == 1 && logs[0].code == 11) << bad;
  }
}
