// The record line: each value but the first column's, followed by "|". Values
// taken from the input (split at "|" and line feeds, so that they hold
// neither) are written into a record line and must read back equal, and the
// line must pass as a whole record while a line cut short must not. The raw
// input is also read as a stored line, whose fields never exceed the limit,
// and as the record file "7" of a table (id, a, b) whose current record was
// "0" ("old|1|"): the record line is the file up to its first line feed. An
// empty one gives 16 and changes nothing. Otherwise the id becomes "7" and
// each further column the next field of the line (up to any NUL byte) cut to
// the limit; a line of fewer fields than that gives 16, and the columns left
// over keep the old record's values.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"
#include "taldb/CTable.h"

namespace {

TalDB::CTable& Table() {
  static TalDB::CTable table(fuzz::ScratchDir(), "t");
  static const bool opened = [] {
    std::string root = fuzz::ScratchDir();
    CreateTreeA((root + "/tal/schema").c_str(), 0700);
    CreateTreeA((root + "/tal/database/t").c_str(), 0700);
    fuzz::WriteScratch("tal/schema/t", "id[int]|a[varchar]|b[varchar]\n");
    fuzz::WriteScratch("tal/database/t/0", "old|1|");
    return table.Open() == 0;
  }();
  FUZZ_CHECK(opened);
  return table;
}

// The table's current record after reading input as its record file "7".
void CheckRecordFile(const std::string& input) {
  TalDB::CTable& table = Table();
  fuzz::WriteScratch("tal/database/t/7", input);
  FUZZ_CHECK(table.readRecord("0") == 0);
  std::vector<std::string> expected = {"0", "old", "1"};
  std::string line = input.substr(0, input.find('\n'));
  size_t fields = 0;
  if (!line.empty()) {
    expected[0] = "7";
    std::vector<std::string> items = fuzz::Items(line.substr(0, line.find('\0')), '|');
    fields = items.size();
    for (size_t i = 0; i < 2 && i < fields; ++i)
      expected[i + 1] = items[i].substr(0, TalDB::kValueLimit - 1);
  }
  FUZZ_CHECK(table.readRecord("7") == (fields >= 2 ? 0 : 16));
  for (size_t i = 0; i < expected.size(); ++i)
    FUZZ_CHECK(expected[i] == table.columns()[i]->data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckRecordFile(std::string(reinterpret_cast<const char*>(data), size));
  std::string input = fuzz::CText(data, size);

  std::string stored = input;
  TalDB::RecordFields raw(&stored[0]);
  while (const char* field = raw.next()) FUZZ_CHECK(strlen(field) < TalDB::kValueLimit);

  // Every value of the input, the empty ones included, each cut to what a
  // record keeps.
  std::vector<std::string> values;
  for (size_t start = 0;;) {
    size_t end = input.find_first_of("|\n", start);
    std::string value = input.substr(start, end == std::string::npos ? end : end - start);
    values.push_back(value.substr(0, TalDB::kValueLimit - 1));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  fuzz::Columns record;
  record.list.push_back(new TalDB::CColumn("id"));
  record.list[0]->SetData("1");
  for (const std::string& value : values) {
    record.list.push_back(new TalDB::CColumn("v"));
    FUZZ_CHECK(record.list.back()->SetData(value.c_str()) == 0);
  }

  TalDB::TextBuffer line;
  FUZZ_CHECK(TalDB::SerializeRecord(record.list, line));
  FUZZ_CHECK(TalDB::IsWholeRecord(line.data(), line.size(), record.list.size()));
  FUZZ_CHECK(!TalDB::IsWholeRecord(line.data(), line.size() - 1, record.list.size()));
  // Cut after the last but one value's "|", where a write may also stop.
  size_t lastValue = line.size() - 1 - values.back().size();
  FUZZ_CHECK(!TalDB::IsWholeRecord(line.data(), lastValue, record.list.size()));
  // A record of a wider table cut inside its last value has enough "|"s but
  // is not whole either.
  std::string wider = std::string(line.data(), line.size()) + "x";
  FUZZ_CHECK(!TalDB::IsWholeRecord(wider.data(), wider.size(), record.list.size()));

  std::string copy(line.data(), line.size());
  TalDB::RecordFields fields(&copy[0]);
  for (const std::string& value : values) {
    const char* field = fields.next();
    FUZZ_CHECK(field != nullptr && value == field);
  }
  FUZZ_CHECK(fields.next() == nullptr);
  return 0;
}
