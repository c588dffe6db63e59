// The schema line: "name[type]" definitions joined by "|". Whatever prefix of
// definitions parses must survive being written out again: the columns read
// back from the re-serialised line have the same names and types, in order.
#include <algorithm>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"

namespace {

const char* const kTypeWords[] = {"int", "bigint", "varchar"};

struct Columns {
  std::vector<TalDB::CColumn*> list;
  ~Columns() {
    for (TalDB::CColumn* column : list) delete column;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string line = fuzz::CText(data, size);
  // Each definition takes at least its "[", so there is never a column more
  // than the line has "["s.
  size_t brackets = std::count(line.begin(), line.end(), '[');
  Columns parsed;
  FUZZ_CHECK(TalDB::ParseSchemaLine(&line[0], parsed.list) == 0);
  FUZZ_CHECK(parsed.list.size() <= brackets);

  std::string again;
  for (const TalDB::CColumn* column : parsed.list) {
    FUZZ_CHECK(column->type() >= 0 && column->type() <= 2);
    FUZZ_CHECK(strpbrk(column->name(), "|[") == nullptr);
    if (!again.empty()) again += '|';
    again += std::string(column->name()) + "[" + kTypeWords[column->type()] + "]";
  }
  Columns reread;
  FUZZ_CHECK(TalDB::ParseSchemaLine(&again[0], reread.list) == 0);
  FUZZ_CHECK(reread.list.size() == parsed.list.size());
  for (size_t i = 0; i < parsed.list.size(); ++i) {
    FUZZ_CHECK(strcmp(reread.list[i]->name(), parsed.list[i]->name()) == 0);
    FUZZ_CHECK(reread.list[i]->type() == parsed.list[i]->type());
  }
  return 0;
}
