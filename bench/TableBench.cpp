// The paths that run once per record: a full listing, a lookup by id (a scan
// that stops at its record), a conditional listing, and an allocating add.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <string>

#include "gux.h"
#include "taldb/taldb.h"

namespace {

void Quiet(int, int, const char*, void*) {}

// A database root holding one table "hosts" with `records` records.
class BenchRoot {
 public:
  explicit BenchRoot(int records) {
    char pattern[] = "/tmp/taldb-bench-XXXXXX";
    root_ = mkdtemp(pattern);
    gux_set_log_sink(&Quiet, nullptr);
    db_.open(root_.c_str());
    std::string ini = root_ + "/bench.ini";
    FILE* f = fopen(ini.c_str(), "w");
    fputs("[db]\n[hosts]\nschema = id[int]|name[varchar]|port[int]|note[varchar]\n", f);
    fclose(f);
    db_.Create(ini.c_str(), 1, nullptr);
    db_.open();
    table_ = db_.GetTable("hosts");
    for (int i = 1; i <= records; ++i) {
      std::string text = std::to_string(i) + ",web" + std::to_string(i) + "," +
                         std::to_string(8000 + i) + ",a note of some length";
      table_->addRecord(text.c_str(), nullptr, 0);
    }
  }
  ~BenchRoot() {
    DeleteTreeA(root_.c_str());
    gux_set_log_sink(nullptr, nullptr);
  }
  TalDB::CTable* table() { return table_; }

 private:
  std::string root_;
  TalDB::CTalDatabase db_;
  TalDB::CTable* table_ = nullptr;
};

void BM_ListAll(benchmark::State& state) {
  BenchRoot root(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    int found = 0;
    for (int rc = root.table()->ListRecordsStart(nullptr); rc == 0;
         rc = root.table()->ListRecordsNext(nullptr)) {
      ++found;
    }
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListAll)->Arg(100)->Arg(1000);

void BM_ListWithCondition(benchmark::State& state) {
  BenchRoot root(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(root.table()->ListRecordsStart("name = nosuch , port=1"));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListWithCondition)->Arg(100)->Arg(1000);

void BM_GetValById(benchmark::State& state) {
  BenchRoot root(static_cast<int>(state.range(0)));
  std::string id = std::to_string(state.range(0) / 2);
  char value[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(root.table()->GetValStr(id.c_str(), "name", value, sizeof(value)));
  }
}
BENCHMARK(BM_GetValById)->Arg(100)->Arg(1000);

void BM_AddAllocated(benchmark::State& state) {
  BenchRoot root(static_cast<int>(state.range(0)));
  int id = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(root.table()->addRecord("web,80,note", &id, 0));
  }
}
BENCHMARK(BM_AddAllocated)->Arg(100);

}  // namespace

BENCHMARK_MAIN();
