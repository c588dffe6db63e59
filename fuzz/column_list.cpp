// The column specification of AddTable: "name(type)" items separated by ",",
// white space anywhere ignored. The first item that starts with "(" or ")"
// gives 11, one whose type (from its "(", or its start, up to a later ")" or
// its end) is neither "int" nor "varchar" gives 1, each as it comes in the
// list; an empty item has no type. An accepted column list gives a schema line
// without white space that reads back as one int or varchar column per item,
// each named by the text before the item's "(" (the whole item without one),
// as long as no name holds "|" or "[", the schema line's own delimiters; and
// the line is exactly those columns written out.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string spec = fuzz::CText(data, size);
  std::string copy = spec;
  TalDB::TextBuffer schema;
  int rc = TalDB::ColumnSpecToSchema(&copy[0], schema);
  int expected = 0;
  for (const std::string& item : fuzz::Items(fuzz::Strip(spec), ',')) {
    size_t open = item.find('('), close = item.find(')');
    size_t typeStart = open == std::string::npos ? 0 : open + 1;
    size_t typeEnd = close != std::string::npos && close >= typeStart ? close : item.size();
    std::string type = item.substr(typeStart, typeEnd - typeStart);
    expected = open == 0 || close == 0 ? 11 : type != "int" && type != "varchar" ? 1 : 0;
    if (expected != 0) break;
  }
  FUZZ_CHECK(rc == expected);
  if (rc != 0) return 0;
  FUZZ_CHECK(fuzz::Strip(schema.data()) == schema.data());

  std::vector<std::string> names;
  for (const std::string& item : fuzz::Items(fuzz::Strip(spec), ',')) {
    names.push_back(item.substr(0, item.find('(')));
    if (names.back().find_first_of("|[") != std::string::npos) return 0;
  }
  std::string line = schema.data();
  fuzz::Columns columns;
  FUZZ_CHECK(TalDB::ParseSchemaLine(&line[0], columns.list) == 0);
  FUZZ_CHECK(columns.list.size() == names.size());
  std::string again;
  for (size_t i = 0; i < names.size(); ++i) {
    int type = columns.list[i]->type();
    FUZZ_CHECK(names[i] == columns.list[i]->name());
    FUZZ_CHECK(type == TalDB::TYPE_INT || type == TalDB::TYPE_VARCHAR);
    again += (i > 0 ? "|" : "") + names[i] + (type == TalDB::TYPE_INT ? "[int]" : "[varchar]");
  }
  FUZZ_CHECK(again == schema.data());
  return 0;
}
