// TalDB against a plain C loop of the same design, in one run, on the same
// table: full listing and lookup by id (100, 1,000 and 10,000 records), an
// allocating add, an update, a lookup by key and the group write of 1,000
// records; and one-at-a-time adds against the group write of as many. After
// the runs it prints the ratio of each pair: below 1 the first is faster.
//
// The tables live under $TALDB_BENCH_DIR, or /tmp (a real disk, where flushes
// cost what they cost in production).
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gux.h"
#include "taldb/taldb.h"

namespace {

void Quiet(int, int, const char*, void*) {}

const char kSchema[] = "id[int]|name[varchar]|port[int]|note[varchar]";

std::string Content(int i) {
  return "web" + std::to_string(i) + "|" + std::to_string(8000 + i) + "|a note of some length|";
}

// A database root with one table "hosts" of `records` records, written
// directly (setting up needs no flushes), and the table opened on it.
class Fixture {
 public:
  explicit Fixture(int records) {
    const char* base = getenv("TALDB_BENCH_DIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/taldb-bench-XXXXXX";
    root_ = mkdtemp(&pattern[0]);
    dir_ = root_ + "/tal/database/hosts";
    CreateTreeA(dir_.c_str(), 0700);
    CreateTreeA((root_ + "/tal/schema").c_str(), 0700);
    WriteFile(root_ + "/tal/schema/hosts", std::string(kSchema) + "\n");
    for (int i = 1; i <= records; ++i) WriteFile(dir_ + "/" + std::to_string(i), Content(i));
    table_.reset(new TalDB::CTable(root_.c_str(), "hosts"));
    table_->Open();
  }
  ~Fixture() { DeleteTreeA(root_.c_str()); }
  TalDB::CTable& table() { return *table_; }
  const std::string& dir() const { return dir_; }

 private:
  static void WriteFile(const std::string& path, const std::string& content) {
    FILE* f = fopen(path.c_str(), "w");
    fputs(content.c_str(), f);
    fclose(f);
  }

  std::string root_, dir_;
  std::unique_ptr<TalDB::CTable> table_;
};

// One fixture per size for the whole run, so that both sides of a pair read
// the same directory.
Fixture& Shared(int records) {
  static std::map<int, std::unique_ptr<Fixture>> fixtures;
  auto& slot = fixtures[records];
  if (!slot) slot.reset(new Fixture(records));
  return *slot;
}

// ---- The plain loop: opendir/readdir, then per entry an open relative to the
// directory's descriptor (the kernel resolves one name, as cheaply as any
// design that opens every record can), one read, close. It stops at `stopAt`
// when given, after reading it.
int PlainScan(const std::string& dir, const char* stopAt) {
  DIR* d = opendir(dir.c_str());
  int read = 0;
  char buffer[4096];
  while (struct dirent* e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    int fd = openat(dirfd(d), e->d_name, O_RDONLY);
    if (fd < 0) continue;
    if (::read(fd, buffer, sizeof buffer) > 0) ++read;
    close(fd);
    if (stopAt != nullptr && strcmp(e->d_name, stopAt) == 0) break;
  }
  closedir(d);
  return read;
}

// The durable write as plain calls: temporary file, write, flush, rename,
// directory flush (an old file is removed first, as the store does).
void PlainDurableWrite(const std::string& dir, const std::string& name,
                       const std::string& content) {
  std::string path = dir + "/" + name, tmp = path + ".tmp";
  int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0640);
  if (write(fd, content.data(), content.size()) < 0) abort();
  fsync(fd);
  close(fd);
  if (access(path.c_str(), F_OK) == 0) unlink(path.c_str());
  rename(tmp.c_str(), path.c_str());
  int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  fsync(dfd);
  close(dfd);
}

// A group of records written durably as plain calls: each to its temporary
// file, one flush of the file system, each renamed into place, one flush of
// the directory. The floor for any durable bulk load of one file per record.
void PlainGroupWrite(const std::string& dir, unsigned first, int count) {
  for (int i = 0; i < count; ++i) {
    std::string tmp = dir + "/" + std::to_string(first + i) + ".tmp";
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0640);
    if (write(fd, "webx|9000|a note of some length|", 32) < 0) abort();
    close(fd);
  }
  int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  syncfs(dfd);
  for (int i = 0; i < count; ++i) {
    std::string path = dir + "/" + std::to_string(first + i);
    rename((path + ".tmp").c_str(), path.c_str());
  }
  fsync(dfd);
  close(dfd);
}

unsigned PlainLargestName(const std::string& dir) {
  DIR* d = opendir(dir.c_str());
  unsigned largest = 0;
  while (struct dirent* e = readdir(d)) {
    if (e->d_name[0] == '.' || strstr(e->d_name, ".ADD") || strstr(e->d_name, ".UPDATE")) continue;
    unsigned n = static_cast<unsigned>(atol(e->d_name));
    if (n > largest) largest = n;
  }
  closedir(d);
  return largest;
}

// ---- Pairs. Each iteration runs the TalDB operation and its plain
// counterpart once each, in alternating order, and times them apart: both
// meet the same disk and cache conditions, which on a shared machine drift
// far more between runs than the difference being measured. The medians and
// their ratio become the benchmark's counters.

using Clock = std::chrono::steady_clock;

double Median(std::vector<double>& v) {
  std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
  return v[v.size() / 2];
}

template <class TalDBOp, class PlainOp>
void RunPair(benchmark::State& state, TalDBOp taldb, PlainOp plain) {
  std::vector<double> a, b;
  bool taldbFirst = true;
  auto timed = [](auto& op, std::vector<double>& into) {
    Clock::time_point start = Clock::now();
    op();
    into.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  };
  for (auto _ : state) {
    if (taldbFirst) timed(taldb, a), timed(plain, b);
    if (!taldbFirst) timed(plain, b), timed(taldb, a);
    taldbFirst = !taldbFirst;
  }
  double ta = Median(a), tb = Median(b);
  state.counters["taldb_us"] = ta;
  state.counters["plain_us"] = tb;
  state.counters["ratio"] = ta / tb;
}

void List(benchmark::State& state) {
  Fixture& f = Shared(state.range(0));
  RunPair(
      state,
      [&] {
        int rc = f.table().ListRecordsStart(nullptr);
        while (rc == 0) rc = f.table().ListRecordsNext(nullptr);
      },
      [&] { benchmark::DoNotOptimize(PlainScan(f.dir(), nullptr)); });
}

// The record in the middle of the id range; both scans stop at it in
// directory order.
void LookupById(benchmark::State& state) {
  Fixture& f = Shared(state.range(0));
  std::string id = std::to_string(state.range(0) / 2);
  char value[64];
  RunPair(
      state, [&] { f.table().GetValStr(id.c_str(), "port", value, sizeof value); },
      [&] { benchmark::DoNotOptimize(PlainScan(f.dir(), id.c_str())); });
}

void AllocatingAdd(benchmark::State& state) {
  Fixture taldb(100), plain(100);
  int id = 0;
  RunPair(
      state, [&] { taldb.table().addRecord("webx,9000,a note of some length", &id, 0); },
      [&] {
        unsigned next = PlainLargestName(plain.dir()) + 1;
        PlainDurableWrite(plain.dir(), std::to_string(next), "webx|9000|a note of some length|");
      });
}

void Update(benchmark::State& state) {
  Fixture taldb(100), plain(100);
  char buffer[4096];
  RunPair(
      state, [&] { taldb.table().updateRecord("50", "port=9001"); },
      [&] {
        std::string path = plain.dir() + "/50";
        int fd = open(path.c_str(), O_RDONLY);
        benchmark::DoNotOptimize(::read(fd, buffer, sizeof buffer));
        close(fd);
        PlainDurableWrite(plain.dir(), "50", "web50|9001|a note of some length|");
      });
}

// A batch of `count` records, as the group write takes it.
struct Batch {
  explicit Batch(int count) : text("webx,9000,a note of some length"), texts(count, text.c_str()) {}
  // Writes the batch with allocated ids.
  void addTo(TalDB::CTable& table) {
    std::vector<int> ids(texts.size());
    table.addRecords(texts.data(), static_cast<int>(texts.size()), ids.data(), true, nullptr);
  }
  std::string text;
  std::vector<const char*> texts;
};

// The group write of a batch against the plain loop that writes the same
// files as one group.
void GroupWrite(benchmark::State& state) {
  Fixture taldb(100), plain(100);
  int count = static_cast<int>(state.range(0));
  Batch batch(count);
  unsigned next = 101;
  RunPair(
      state, [&] { batch.addTo(taldb.table()); },
      [&] {
        PlainGroupWrite(plain.dir(), next, count);
        next += count;
      });
}

// One-at-a-time adds against the group write of as many records.
void OneAtATime(benchmark::State& state) {
  Fixture single(100), group(100);
  Batch batch(static_cast<int>(state.range(0)));
  RunPair(
      state,
      [&] {
        int id = 0;
        for (const char* text : batch.texts) single.table().addRecord(text, &id, 0);
      },
      [&] { batch.addTo(group.table()); });
}

void LookupByKey(benchmark::State& state) {
  TalDB::CTable& table = Shared(100).table();
  std::vector<TalDB::CColumn*> columns;
  table.GetRecord("7", columns);
  std::vector<std::pair<std::string, std::string>> record = {
      {"id", "7"}, {"name", "web7"}, {"port", "8007"}, {"note", "a note of some length"}};
  char value[64];
  // Single lookups are too short to time apart; each side does a thousand.
  RunPair(
      state,
      [&] {
        for (int i = 0; i < 1000; ++i) table.GetValStr("note", value, sizeof value);
      },
      [&] {
        for (int i = 0; i < 1000; ++i) {
          for (const auto& column : record) {
            if (strcmp(column.first.c_str(), "note") == 0) {
              snprintf(value, sizeof value, "%s", column.second.c_str());
              break;
            }
          }
          benchmark::DoNotOptimize(value);
        }
      });
}

BENCHMARK(List)->Arg(100)->Arg(1000)->Arg(10000)->MinTime(0.3)->Unit(benchmark::kMicrosecond);
BENCHMARK(LookupById)->Arg(100)->Arg(1000)->Arg(10000)->MinTime(0.3)->Unit(benchmark::kMicrosecond);
BENCHMARK(AllocatingAdd)->MinTime(0.6)->Unit(benchmark::kMicrosecond);
BENCHMARK(Update)->MinTime(0.6)->Unit(benchmark::kMicrosecond);
BENCHMARK(LookupByKey)->MinTime(0.3)->Unit(benchmark::kMicrosecond);
BENCHMARK(GroupWrite)->Arg(1000)->Iterations(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(OneAtATime)->Arg(200)->Iterations(6)->Unit(benchmark::kMicrosecond);

// Prints, after the usual report, one line per pair: the medians and ratio.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) rows_.push_back(run);
  }
  void PrintRatios() const {
    printf("\n%-22s %14s %14s %7s\n", "work", "TalDB (us)", "plain (us)", "ratio");
    for (const Run& run : rows_) {
      auto counter = [&](const char* name) { return run.counters.at(name).value; };
      std::string name = run.benchmark_name();
      name = name.substr(0, name.find("/min_time"));
      printf("%-22s %14.2f %14.2f %7.2f\n", name.c_str(), counter("taldb_us"), counter("plain_us"),
             counter("ratio"));
    }
  }

 private:
  std::vector<Run> rows_;
};

}  // namespace

int main(int argc, char** argv) {
  gux_set_log_sink(&Quiet, nullptr);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
