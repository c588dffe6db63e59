// Writing records durably, allocating ids, and changing records.
#include <errno.h>
#include <unistd.h>

#include "TableFixture.h"

using WriteTest = TableTest;

TEST_F(WriteTest, EachStepOfTheDurableWriteCanFail) {
  const std::string p = recordPath("3"), tmp = p + ".tmp", kAbsent = "(absent)";
  const LogLine removed = Info(0, "remove old record file " + p + ".");
  const std::string renameFailed =
      "safe_save: failed to rename record file from [" + tmp + "] to [" + p + "] (";
  // Every write call hands over two bytes at most, so the failing write of the
  // second case leaves a part of the content behind. The old file is removed,
  // and says so, only once the new one is complete.
  struct Case {
    fault::Call call;
    int err, nth, code;
    std::string message, file, leftover;
  } cases[] = {
      {fault::kOpen, EACCES, 1, 8,
       "safe_save: failed to create record file " + tmp + " (Permission denied)", "old|0|",
       kAbsent},
      {fault::kWrite, ENOSPC, 2, 20,
       "safe_save: safe_write to file " + tmp + " failed (No space left on device)", "old|0|",
       "ne"},
      {fault::kFsync, EIO, 1, 20,
       "safe_save: error during safe_fsync of " + tmp + " (Input/output error)", "old|0|",
       "new|1|"},
      {fault::kRename, EXDEV, 1, 20, renameFailed + "Invalid cross-device link).", kAbsent,
       "new|1|"},
      {fault::kFsync, EIO, 2, 20, renameFailed + "Input/output error).", "new|1|", kAbsent},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    lay("3:old|0|");
    fault::limitWrite(2);
    fault::failCall(c.call, c.err, c.nth);
    EXPECT_EQ(table->safe_save(p.c_str(), "new|1|", 6), -1);
    fault::reset();
    Logs expected{Err(c.code, c.message)};
    if (c.file != "old|0|") expected.insert(expected.begin(), removed);
    EXPECT_EQ(log_.take(), expected);
    EXPECT_EQ(content("3"), c.file);
    EXPECT_EQ(content("3.tmp"), c.leftover);
  }
  // Through a record operation the failure gets one more line and code 20;
  // the next write of the same record reuses the leftover.
  fault::failCall(fault::kFsync, EIO);
  EXPECT_EQ(table->addRecord("3,web,1", nullptr, 0), 20);
  EXPECT_EQ(log_.take().back(), Err(20, "Error occur when saving record!"));
  EXPECT_EQ(table->addRecord("3,web,2", nullptr, 0), 0);
  EXPECT_EQ(contents(), "3:web|2|");
  struct stat st;
  ASSERT_EQ(stat(recordPath("3").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0077 & ~0640, 0u) << "no more than owner rw, group r";

  // A name without a directory part cannot have its directory flushed: the
  // write stops before it removes anything.
  log_.take();
  char saved[4096];
  ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
  ASSERT_EQ(chdir(at("tal/database/hosts").c_str()), 0);
  EXPECT_EQ(table->safe_save("3", "new|", 4), -1);
  ASSERT_EQ(chdir(saved), 0);
  EXPECT_EQ(log_.take(), (Logs{Err(20, "safe_save: Locate Slash in file name [3.tmp] failed.")}));
  EXPECT_EQ(content("3"), "web|2|");
  EXPECT_EQ(content("3.tmp"), "new|");
}

TEST_F(WriteTest, AddRecordWithGivenAndAllocatedIds) {
  int id = -7;
  EXPECT_EQ(table->addRecord(" 3 , web01 , 8080 ", nullptr, 0), 0);
  EXPECT_EQ(table->addRecord("web02,8081", &id, 0), 0);
  EXPECT_EQ(id, 4);
  EXPECT_EQ(table->addRecord("web03,8082", &id, 4), 15);
  EXPECT_EQ(id, 4);
  EXPECT_EQ(table->addRecord("web05,8085,", &id, 5), 0);  // a trailing comma adds no token
  EXPECT_EQ(id, 5);
  EXPECT_EQ(table->addRecord("3,,8080", nullptr, 0), 0);  // replaces 3
  EXPECT_EQ(log_.take(),
            (Logs{Err(15, "The new record's id(5) is greater than specified max id(4)."),
                  Info(0, "remove old record file " + recordPath("3") + ".")}));
  EXPECT_EQ(contents(), "3:|8080| 4:web02|8081| 5:web05|8085|");
  // The value count must match the columns, with or without the id; how values are counted is
  // the record text fuzz target's.
  for (auto [text, allocate] : {std::pair{"web01", true}, {"1,a,b,c", false}}) {
    EXPECT_EQ(table->addRecord(text, allocate ? &id : nullptr, 0), 11) << text;
    EXPECT_EQ(log_.take(), (Logs{Err(11, "record's syntax error ")})) << text;
  }
  EXPECT_EQ(files(), (Values{"3", "4", "5"}));
  // Deleting an absent record succeeds; the id of a deleted highest record comes back.
  EXPECT_EQ(table->deleteRecord("5"), 0);
  EXPECT_EQ(table->deleteRecord("5"), 0);
  EXPECT_EQ(table->deleteRecord("4"), 0);
  EXPECT_EQ(files(), (Values{"3"}));
  ASSERT_EQ(table->addRecord("web06,1", &id, 0), 0);
  EXPECT_EQ(id, 4);
}

// The assignment rules themselves are the assignments fuzz target's.
TEST_F(WriteTest, UpdateRecordAppliesAssignments) {
  struct Case {
    const char* name;
    const char* values;
    int rc;
    std::string file;  // of record 4 afterwards
    Logs logged;
  } cases[] = {
      {"4", " po rt = 9090 ", 0, "web02|9090|", {}},
      {"4", "colour=red", 11, "web02|8081|", {Err(11, "can't get column by key [colour]")}},
      {"4", "port=1,,name=x", 11, "web02|8081|", {Err(11, "syntax error: no key")}},
      {"4", nullptr, 18, "web02|8081|", {Err(18, "no memory")}},
      {"99", "port=1", 7, "web02|8081|", {Err(7, "file not found [" + recordPath("99") + "]")}},
      {"0", "port=1", 16, "web02|8081|", {Err(16, "record length is 0, error")}},
  };
  put("0", "");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.values ? c.values : "(null)");
    put("4", "web02|8081|");
    EXPECT_EQ(table->updateRecord(c.name, c.values), c.rc);
    EXPECT_EQ(content("4"), c.file);
    Logs logged = log_.take();
    if (c.rc == 0) logged.erase(logged.begin());  // "remove old record file"
    EXPECT_EQ(logged, c.logged);
  }
  EXPECT_EQ(files(), (Values{"0", "4"}));
  // A failed assignment leaves the earlier ones applied in memory only.
  EXPECT_EQ(table->updateRecord("4", "port=7,bad=1"), 11);
  EXPECT_STREQ(table->getcolumn("port")->data(), "7");
  EXPECT_EQ(content("4"), "web02|8081|");
}
