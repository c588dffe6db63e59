// Reads one table over and over through the public interface and prints how
// long that took, in microseconds. against-revision builds it against two
// builds of the library in turn, so that the reads of one revision can be
// timed against another's on the same table in one run.
//
//   read_driver make ROOT RECORDS   a database ROOT with a table "hosts" of RECORDS records
//   read_driver list ROOT TIMES     TIMES full listings
//   read_driver lookup ROOT TIMES   TIMES lookups of the record in the middle of the id range
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <string>

#include "gux.h"
#include "taldb/taldb.h"

namespace {

int Make(const std::string& root, int records) {
  std::string table = root + "/tal/database/hosts", schema = root + "/tal/schema";
  if (!CreateTreeA(table.c_str(), 0700) || !CreateTreeA(schema.c_str(), 0700)) return 1;
  FILE* f = fopen((schema + "/hosts").c_str(), "w");
  if (f == nullptr) return 1;
  fputs("id[int]|name[varchar]|port[int]|note[varchar]\n", f);
  fclose(f);
  for (int i = 1; i <= records; ++i) {
    f = fopen((table + "/" + std::to_string(i)).c_str(), "w");
    if (f == nullptr) return 1;
    fprintf(f, "web%d|%d|a note of some length|", i, 8000 + i);
    fclose(f);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: read_driver make|list|lookup ROOT N\n");
    return 2;
  }
  const char* mode = argv[1];
  int n = atoi(argv[3]);
  if (strcmp(mode, "make") == 0) return Make(argv[2], n);
  TalDB::CTable table(argv[2], "hosts");
  if (table.Open() != 0) return 1;
  int records = table.records();
  std::string middle = std::to_string(records / 2);
  char value[64];
  long found = 0;
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < n; ++i) {
    if (strcmp(mode, "list") == 0) {
      for (int rc = table.ListRecordsStart(nullptr); rc == 0; rc = table.ListRecordsNext(nullptr))
        ++found;
    } else {
      found += table.GetValStr(middle.c_str(), "port", value, sizeof value) == 0;
    }
  }
  auto elapsed = std::chrono::steady_clock::now() - start;
  // What was found is checked by the caller's eye only; printing it keeps the
  // loop from being optimised away.
  printf("%lld %ld\n",
         static_cast<long long>(
             std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()),
         found);
  return 0;
}
