// Writers in several processes and threads on one table object: no
// acknowledged record is lost, and every call waits for the directory lock.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "TableFixture.h"

using ConcurrencyTest = TableTest;

// Four processes add 250 records each with allocated ids (two one by one, two
// in batches) while two others update two columns of one record 200 times
// each: every acknowledged add is on disk with its payload, and the record
// keeps both last values.
TEST_F(ConcurrencyTest, ProcessesWritingOneTableLoseNothing) {
  put("0", "start|0|");
  std::vector<pid_t> children;
  for (int p = 0; p < 6; ++p) {
    pid_t pid = fork();
    if (pid == 0) {
      {
        int out = open(at("report").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        TalDB::CTable own(root_.c_str(), "hosts");  // as another process makes it
        if (own.Open() != 0) _exit(2);
        for (int i = 1; p >= 4 && i <= 200; ++i) {
          std::string assignment = (p == 4 ? "name=" : "port=") + std::to_string(i);
          if (own.updateRecord("0", assignment.c_str()) != 0) _exit(5);
        }
        // Two add one record at a time, two in batches of five through the
        // group write's value form, which takes its ids without a scan while
        // nothing else changed the directory.
        for (int i = 0; p < 4 && i < 250; i += 5) {
          std::string name[5], port[5];
          const char* values[5][2];
          const char* const* batch[5];
          int allocated[5];
          for (int k = 0; k < 5; ++k) {
            name[k] = "p" + std::to_string(p) + (p < 2 ? "-" : ", ") + std::to_string(i + k);
            port[k] = std::to_string(i + k);
            values[k][0] = name[k].c_str(), values[k][1] = port[k].c_str(), batch[k] = values[k];
            if (p < 2 && own.addRecord((name[k] + "," + port[k]).c_str(), &allocated[k], 0) != 0)
              _exit(4);
          }
          if (p >= 2 && own.addRecordValues(batch, 5, allocated, true, 0, nullptr) != 0) _exit(4);
          std::this_thread::yield();
          // One appending write per line, so that the reports never interleave.
          for (int k = 0; k < 5; ++k) {
            std::string line = std::to_string(allocated[k]) + " " + name[k] + "|" + port[k] + "|\n";
            if (write(out, line.data(), line.size()) != ssize_t(line.size())) _exit(3);
          }
        }
      }
      _exit(0);
    }
    ASSERT_GT(pid, 0);
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0) == pid ? status : -1, 0);
  }
  std::map<std::string, std::string> acknowledged;
  std::istringstream report(readFile("report"));
  for (std::string line; std::getline(report, line);) {
    std::string id = line.substr(0, line.find(' '));
    EXPECT_TRUE(acknowledged.emplace(id, line.substr(line.find(' ') + 1)).second) << id;
  }
  EXPECT_EQ(acknowledged.size(), 1000u);
  EXPECT_EQ(files().size(), 1001u);
  for (const auto& record : acknowledged)
    EXPECT_EQ(readFile(this->record(record.first)), record.second);
  EXPECT_EQ(readFile(record("0")), "200|200|");
}

// Lookups by id against updates on the same table object: every value read
// belongs to the record asked for.
TEST_F(ConcurrencyTest, LookupsByIdSeeOnlyTheirOwnRecord) {
  for (int id = 1; id <= 12; ++id) put(std::to_string(id), "n" + std::to_string(id) + "|0|");
  std::atomic<bool> done{false};
  std::thread updater([&] {
    for (int i = 0; !done; ++i) table->updateRecord(std::to_string(i % 12 + 1).c_str(), "port=1");
  });
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r) {
    readers.emplace_back([&, r] {
      char value[64];
      for (int i = 0; i < 600; ++i) {
        std::string id = std::to_string((i * 5 + r) % 12 + 1);
        if (table->GetValStr(id.c_str(), "name", value, sizeof value) != 0 || "n" + id != value)
          ++wrong;
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
  done = true;
  updater.join();
  EXPECT_EQ(wrong, 0);
}

// Every call that writes or reads the table directory waits for a writer that
// holds its lock in another process (or through another table object).
TEST_F(ConcurrencyTest, CallsWaitForAWriterHoldingTheDirectoryLock) {
  put("1", "a|1|");
  std::vector<TalDB::CColumn*> found;
  int id = 0;
  struct Case {
    const char* what;
    std::function<int()> call;
  } cases[] = {
      {"allocating add", [&] { return table->addRecord("b,2", &id, 0); }},
      {"add with its id", [&] { return table->addRecord("7,b,2", nullptr, 0); }},
      {"update", [&] { return table->updateRecord("1", "port=3"); }},
      {"delete", [&] { return table->deleteRecord("7"); }},
      {"recover", [&] { return table->recover(); }},
      {"clear", [&] { return table->clear(); }},
      {"repair", [&] { return table->repair(); }},
      {"listing", [&] { return table->ListRecordsStart(nullptr); }},
      {"lookup by id", [&] { return table->GetRecord("1", found); }},
      {"count", [&] { return table->records() < 0 ? -1 : 0; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    int held = open(at("tal/database/hosts").c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    std::atomic<bool> finished{false};
    std::thread worker([&] {
      c.call();
      finished = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_FALSE(finished.load());
    close(held);
    worker.join();
  }
}
