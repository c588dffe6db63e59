// The record text of addRecord: values separated by ",", each trimmed (a
// trailing "," adds none), every value counted. The stored ones are cut to
// what a record keeps and written as a record line; with the id first, the
// first value is not stored but read as the record's number, as atol reads it.
#include <stdlib.h>

#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text = fuzz::CText(data, size);
  std::vector<std::string> values = fuzz::Items(text, ',');
  for (bool idFirst : {false, true}) {
    TalDB::RecordText record;
    FUZZ_CHECK(TalDB::ParseRecordText(text.c_str(), idFirst, record));
    FUZZ_CHECK(record.values == static_cast<long>(values.size()));
    std::string line;
    for (size_t i = 0; i < values.size(); ++i) {
      std::string value = fuzz::Trim(values[i]).substr(0, TalDB::kValueLimit - 1);
      if (i == 0 && idFirst)
        FUZZ_CHECK(record.id == static_cast<unsigned int>(atol(value.c_str())));
      else
        line += value + "|";
    }
    FUZZ_CHECK(line == std::string(record.content.data(), record.content.size()));
  }
  return 0;
}
