// The record line: each value but the first column's, followed by "|". Values
// taken from the input (split at "|" and line feeds, so that they hold
// neither) are written into a record line and must read back equal, and the
// line must pass as a whole record while a line cut short must not. The raw
// input is also read as a stored line, whose fields never exceed the limit.
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
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
