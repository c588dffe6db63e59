// The schema line: "name[type]" definitions joined by "|". The columns are
// the definitions up to the first one that does not parse, each as a column
// parses it alone (by the definition rule, written out below); and they survive being written out
// again: the columns read back from the re-serialised line have the same names and types, in order.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"

namespace {

const char* const kTypeWords[] = {"int", "bigint", "varchar"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string line = fuzz::CText(data, size);
  std::vector<std::string> definitions = fuzz::Items(line, '|');
  fuzz::Columns parsed;
  FUZZ_CHECK(TalDB::ParseSchemaLine(&line[0], parsed.list) == 0);
  FUZZ_CHECK(parsed.list.size() <= definitions.size());
  for (size_t i = 0; i < definitions.size() && i <= parsed.list.size(); ++i) {
    TalDB::CColumn alone("?");
    int rc = alone.SetInfo(definitions[i].c_str());
    FUZZ_CHECK((rc == 0) == (i < parsed.list.size()));
    // A definition alone: the name is the text before the first "[" and the
    // type word runs from there to the next "]" or the end, matched exactly;
    // without a "[" the column stays as it was.
    const std::string& definition = definitions[i];
    size_t open = definition.find('[');
    if (open == std::string::npos) {
      FUZZ_CHECK(rc == 2 && strcmp(alone.name(), "?") == 0 && alone.type() == TalDB::TYPE_NONE);
      continue;
    }
    std::string word = definition.substr(open + 1, definition.find(']', open) - open - 1);
    int type = TalDB::TYPE_NONE;
    for (int t = 0; t < 3; ++t)
      if (word == kTypeWords[t]) type = t;
    FUZZ_CHECK(definition.substr(0, open) == alone.name() && alone.type() == type);
    FUZZ_CHECK(rc == (type == TalDB::TYPE_NONE ? 1 : 0));
    if (rc == 0) {
      FUZZ_CHECK(strcmp(alone.name(), parsed.list[i]->name()) == 0);
      FUZZ_CHECK(alone.type() == parsed.list[i]->type());
    }
  }

  std::string again;
  for (const TalDB::CColumn* column : parsed.list) {
    FUZZ_CHECK(column->type() >= 0 && column->type() <= 2);
    FUZZ_CHECK(strpbrk(column->name(), "|[") == nullptr);
    if (!again.empty()) again += '|';
    again += std::string(column->name()) + "[" + kTypeWords[column->type()] + "]";
  }
  fuzz::Columns reread;
  FUZZ_CHECK(TalDB::ParseSchemaLine(&again[0], reread.list) == 0);
  FUZZ_CHECK(reread.list.size() == parsed.list.size());
  for (size_t i = 0; i < parsed.list.size(); ++i) {
    FUZZ_CHECK(strcmp(reread.list[i]->name(), parsed.list[i]->name()) == 0);
    FUZZ_CHECK(reread.list[i]->type() == parsed.list[i]->type());
  }
  return 0;
}
