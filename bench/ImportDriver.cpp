// Times `taldb import` run in-process, as the tool runs it, on fresh databases
// under a scratch directory that it removes afterwards:
//
//   import_driver commas DIR [ROWS]   ROWS rows (20,000) of which one in five
//                                     holds a comma, against the same rows
//                                     without: the seconds of each import
//   import_driver growth DIR [ROWS]   one import of ROWS rows (200,000): the
//                                     per-row cost of its last batch of 2,000
//                                     against its first
//
// A batch ends when the tool flushes its ids, so the times of the flushes of
// standard output mark the batches. The growth import checks batch by batch
// (--batch-check), so that its first batch is not also charged with the check
// of the whole file. Each batch's flush of the file system waits for whatever
// else the disk has to write, so the growth is given in processor time too
// (user and system, which holds the reading of the directory), which that
// waiting does not stretch. A single run: the ratios are what the targets are
// about.
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <istream>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "Tool.h"
#include "gux.h"

namespace {

using Clock = std::chrono::steady_clock;

// The processor time of this process so far, in seconds.
double ProcessorSeconds() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
         (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Standard output of the tool: dropped, each flush timed.
class FlushTimes : public std::streambuf {
 public:
  std::vector<Clock::time_point> times;
  std::vector<double> processor;
  void mark() {
    times.push_back(Clock::now());
    processor.push_back(ProcessorSeconds());
  }

 protected:
  int overflow(int c) override { return c; }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
  int sync() override {
    mark();
    return 0;
  }
};

double Seconds(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// A database at root with a table hosts of four columns, and a CSV file of
// rows for it; one row in commaEvery holds a comma (0: none).
bool Prepare(const std::string& root, const std::string& csv, int rows, int commaEvery) {
  std::string ini = root + ".ini";
  std::ofstream(ini)
      << "[database]\n[hosts]\nschema = id[int]|name[varchar]|port[int]|note[varchar]\n";
  std::ostringstream out, err;
  if (taldb_cli::RunTool({"--root", root, "-q", "create", ini}, out, err) != 0) {
    fprintf(stderr, "create: %s", err.str().c_str());
    return false;
  }
  std::ofstream file(csv);
  file << "name,port,note\n";
  for (int i = 1; i <= rows; ++i) {
    if (commaEvery > 0 && i % commaEvery == 0)
      file << "\"Smith, John " << i << "\"," << 8000 + i % 1000 << ",\"a note, of some length\"\n";
    else
      file << "Smith John " << i << "," << 8000 + i % 1000 << ",a note of some length\n";
  }
  if (!file.flush()) return false;
  // What was just written is flushed now, so that the first batch's flush of
  // the file system is not charged with it.
  sync();
  return true;
}

// Imports csv into root; the flush times in flushes, the first of them the
// start.
bool Import(const std::string& root, const std::string& csv, bool batchCheck, FlushTimes& flushes) {
  std::ostream out(&flushes);
  std::ostringstream err;
  std::vector<std::string> args = {"--root", root, "-q", "import", "hosts", csv};
  if (batchCheck) args.push_back("--batch-check");
  flushes.mark();
  int status = taldb_cli::RunTool(args, out, err);
  flushes.mark();
  if (status != 0) fprintf(stderr, "import: %s", err.str().c_str());
  return status == 0;
}

// An import of 2,000 rows into a database of its own, untimed: the first
// files made after many were removed (the scratch databases of a run before)
// cost ext4 a search of its inode tables for inodes not freed recently, which
// is no cost of the rows measured after it.
bool WarmUp(const std::string& dir) {
  std::string root = dir + "/warm-up";
  FlushTimes flushes;
  return Prepare(root, root + ".csv", 2000, 0) && Import(root, root + ".csv", false, flushes);
}

int Commas(const std::string& dir, int rows) {
  if (!WarmUp(dir)) return 1;
  double seconds[2], processor[2];
  for (int commas = 0; commas < 2; ++commas) {
    std::string root = dir + (commas ? "/commas" : "/plain");
    if (!Prepare(root, root + ".csv", rows, commas ? 5 : 0)) return 1;
    FlushTimes flushes;
    if (!Import(root, root + ".csv", false, flushes)) return 1;
    seconds[commas] = Seconds(flushes.times.front(), flushes.times.back());
    processor[commas] = flushes.processor.back() - flushes.processor.front();
  }
  printf("import of %d rows, without commas against one row in five with a comma:\n", rows);
  printf("  wall clock %.2f s, %.2f s: %.2fx\n", seconds[0], seconds[1], seconds[1] / seconds[0]);
  printf("  processor  %.2f s, %.2f s: %.2fx\n", processor[0], processor[1],
         processor[1] / processor[0]);
  return 0;
}

int Growth(const std::string& dir, int rows) {
  const int kBatch = 2000;
  std::string root = dir + "/growth";
  if (!WarmUp(dir) || !Prepare(root, root + ".csv", rows, 0)) return 1;
  FlushTimes flushes;
  if (!Import(root, root + ".csv", true, flushes)) return 1;
  // The start, one flush per batch, then the summary's and the one at the end.
  const std::vector<Clock::time_point>& t = flushes.times;
  const std::vector<double>& cpu = flushes.processor;
  size_t batches = static_cast<size_t>((rows + kBatch - 1) / kBatch);
  if (t.size() < batches + 2) {
    fprintf(stderr, "%zu flushes for %zu batches\n", t.size() - 1, batches);
    return 1;
  }
  // Microseconds per row of the batches from..to (1 the first), wall-clock
  // and processor time.
  auto wall = [&](size_t from, size_t to) {
    return Seconds(t[from - 1], t[to]) / ((to - from + 1) * kBatch) * 1e6;
  };
  auto processor = [&](size_t from, size_t to) {
    return (cpu[to] - cpu[from - 1]) / ((to - from + 1) * kBatch) * 1e6;
  };
  printf("import of %d rows in %.1f s; per row, first %d rows against the last %d:\n", rows,
         Seconds(t.front(), t.back()), kBatch, kBatch);
  printf("  wall clock %.1f us, %.1f us: %.2fx\n", wall(1, 1), wall(batches, batches),
         wall(batches, batches) / wall(1, 1));
  printf("  processor  %.1f us, %.1f us: %.2fx\n", processor(1, 1), processor(batches, batches),
         processor(batches, batches) / processor(1, 1));
  // One batch is a fraction of a second, which the disk's other work can
  // stretch: the ten after the first against the last ten say it steadier.
  if (batches >= 21) {
    size_t n = batches;
    printf(
        "  batches 2 to 11 against the last ten: wall clock %.1f us, %.1f us: %.2fx; "
        "processor %.1f us, %.1f us: %.2fx\n",
        wall(2, 11), wall(n - 9, n), wall(n - 9, n) / wall(2, 11), processor(2, 11),
        processor(n - 9, n), processor(n - 9, n) / processor(2, 11));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    fprintf(stderr, "usage: import_driver commas|growth DIR [ROWS]\n");
    return 2;
  }
  std::string mode = argv[1], dir = argv[2];
  if (!CreateTreeA(dir.c_str(), 0700)) {
    perror(dir.c_str());
    return 1;
  }
  int status = 2;
  if (mode == "commas") status = Commas(dir, argc > 3 ? atoi(argv[3]) : 20000);
  if (mode == "growth") status = Growth(dir, argc > 3 ? atoi(argv[3]) : 200000);
  if (!DeleteTreeA(dir.c_str())) perror(dir.c_str());
  return status;
}
