// The listing condition: "name=value" terms separated by ",", read up to the
// first term that is empty or has no "=". A record built to hold every term's
// value under its name must match, in any column order; without a column of
// the first term's name it must not, nor with another value there (values
// compare exactly); and a condition without a complete term matches nothing.
#include <algorithm>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "table/RecordCondition.h"
#include "util/Path.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text = fuzz::CText(data, size);
  TalDB::RecordCondition condition(text.c_str());

  // The complete terms: the name loses all white space, the value is trimmed
  // and cut to what a record can hold.
  fuzz::Columns record;
  for (const std::string& item : fuzz::Items(text, ',')) {
    size_t equals = item.find('=');
    if (equals == std::string::npos) break;  // an empty item too
    std::string value = fuzz::Trim(item.substr(equals + 1)).substr(0, TalDB::kValueLimit - 1);
    record.list.push_back(new TalDB::CColumn(fuzz::Strip(item.substr(0, equals)).c_str()));
    FUZZ_CHECK(record.list.back()->SetData(value.c_str()) == 0);
  }
  if (record.list.empty()) {
    FUZZ_CHECK(!condition.matches(record.list));
    return 0;
  }
  FUZZ_CHECK(condition.matches(record.list));
  std::vector<TalDB::CColumn*> reversed(record.list.rbegin(), record.list.rend());
  FUZZ_CHECK(condition.matches(reversed));

  std::string first = record.list[0]->name();
  std::vector<TalDB::CColumn*> without;
  for (TalDB::CColumn* column : record.list)
    if (first != column->name()) without.push_back(column);
  FUZZ_CHECK(!condition.matches(without));

  std::string value = record.list[0]->data();
  std::string other = value.size() + 1 < TalDB::kValueLimit
                          ? value + "x"
                          : value.substr(0, value.size() - 1) + (value.back() == 'x' ? "y" : "x");
  for (TalDB::CColumn* column : record.list)
    if (first == column->name()) column->SetData(other.c_str());
  FUZZ_CHECK(!condition.matches(record.list));
  return 0;
}
