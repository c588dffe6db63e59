// A host of TalDB: opens the database under ROOT and prints every record of
// one table. Usage: taldb_host ROOT [TABLE]   (TABLE defaults to "hosts")
#include <taldb/taldb.h>

#include <cstdio>
#include <string>

#include "gux.h"

namespace {

// The store logs through the utility library; a host routes the messages
// into its own log. This one prefixes them and writes them to stderr.
void logToStderr(int level, int code, const char* message, void*) {
  std::fprintf(stderr, "taldb_host: [%s %d] %s\n", level == GUX_LOG_ERROR ? "error" : "info", code,
               message);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: taldb_host ROOT [TABLE]\n");
    return 2;
  }
  const char* tableName = argc == 3 ? argv[2] : "hosts";
  gux_set_log_sink(logToStderr, nullptr);

  TalDB::CTalDatabase* db = TalDB::CTalDatabase::Instance();
  int status = db->open(argv[1]);
  if (status != 0) {
    std::fprintf(stderr, "taldb_host: cannot open %s (status %d)\n", argv[1], status);
    TalDB::CTalDatabase::Delete();
    return 1;
  }
  TalDB::CTable* table = db->GetTable(tableName);
  if (table == nullptr) {
    std::fprintf(stderr, "taldb_host: no table %s\n", tableName);
    TalDB::CTalDatabase::Delete();
    return 1;
  }

  std::printf("%s: %d records\n", tableName, table->records());
  int rows = 0;
  for (int rc = table->ListRecordsStart(nullptr); rc == 0; rc = table->ListRecordsNext(nullptr)) {
    std::string line;
    for (const TalDB::CColumn* column : table->columns())
      line += std::string(column->name()) + "=" + (column->data() ? column->data() : "") + " ";
    std::printf("  %s\n", line.c_str());
    ++rows;
  }
  TalDB::CTalDatabase::Delete();
  return rows > 0 ? 0 : 1;
}
