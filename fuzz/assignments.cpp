// The assignment list of an update: "name=value" items separated by ",". It
// is applied to a table's current record item by item and stops at the first
// item that is empty or names no column (11). Each applied item sets its
// column to the trimmed value (the empty text without "="); the name loses
// all white space. The outcome must be exactly that.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "taldb/CTable.h"

namespace {

const char* const kBefore[] = {"7", "web01", "8080", "old note"};

TalDB::CTable& Table() {
  static TalDB::CTable table;
  static const bool loaded = [] {
    std::string path = fuzz::WriteScratch(
        "schema", "id[int]|name[varchar]|port[int]|note[varchar]\n(no fingerprint)");
    return table.readSchema(path.c_str()) == 0 && table.columns().size() == 4;
  }();
  FUZZ_CHECK(loaded);
  return table;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TalDB::CTable& table = Table();
  const std::vector<TalDB::CColumn*>& columns = table.columns();
  std::vector<std::string> expected(kBefore, kBefore + 4);
  for (size_t i = 0; i < columns.size(); ++i) columns[i]->SetData(kBefore[i]);

  std::string text = fuzz::CText(data, size);
  int expectedRc = 0;
  for (const std::string& item : fuzz::Items(text, ',')) {
    size_t equals = item.find('=');
    std::string name = fuzz::Strip(item.substr(0, equals));
    size_t column = 0;
    while (column < columns.size() && name != columns[column]->name()) ++column;
    if (item.empty() || column == columns.size()) {
      expectedRc = 11;
      break;
    }
    expected[column] = equals == std::string::npos ? "" : fuzz::Trim(item.substr(equals + 1));
  }

  FUZZ_CHECK(table.update_col(strdup(text.c_str())) == expectedRc);
  for (size_t i = 0; i < columns.size(); ++i) FUZZ_CHECK(expected[i] == columns[i]->data());
  return 0;
}
