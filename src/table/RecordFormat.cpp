#include "table/RecordFormat.h"

namespace TalDB {

bool SerializeRecord(const std::vector<CColumn*>& columns, TextBuffer& out) {
  for (size_t i = 1; i < columns.size(); ++i) {
    const char* value = columns[i]->data();
    if (!out.append(value != nullptr ? value : "") || !out.append('|')) return false;
  }
  return true;
}

bool IsWholeRecord(const char* line, size_t length, size_t columns) {
  size_t fields = columns > 1 ? columns - 1 : 0;
  if (fields == 0) return length == 0;
  if (length == 0 || line[length - 1] != '|') return false;
  size_t closed = 0;
  for (size_t i = 0; i < length; ++i) closed += line[i] == '|';
  return closed >= fields;
}

}  // namespace TalDB
