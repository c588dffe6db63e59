#include "table/RecordCondition.h"

#include <stdlib.h>
#include <string.h>

#include "gux.h"
#include "table/RecordFormat.h"
#include "util/Path.h"

namespace TalDB {

RecordCondition::RecordCondition(const char* condition) {
  size_t length = strlen(condition);
  m_text = strdup(condition);
  if (m_text == nullptr) return;
  // Each term "name=value," becomes "name\0value\0": white space is only ever
  // removed and unescaping never lengthens a value, so the terms fit in a
  // block of the condition's size.
  char* terms = static_cast<char*>(malloc(length + 1));
  if (terms == nullptr) return;
  TermList list(m_text);
  char* out = terms;
  char* name;
  char* value;
  // Evaluation ends at the first term without a value, an empty one included.
  while (list.next(&name, &value) && name != nullptr && value != nullptr) {
    size_t nameSize = strlen(name) + 1;
    memcpy(out, name, nameSize);
    out += nameSize;
    size_t room = strlen(value) + 1;
    if (room > kValueLimit) room = kValueLimit;
    KwStringUnescapeA(value, out, room);
    out += strlen(out) + 1;
    ++m_count;
  }
  m_terms = terms;
}

RecordCondition::~RecordCondition() {
  free(m_text);
  free(m_terms);
}

bool RecordCondition::matches(const std::vector<CColumn*>& columns) const {
  if (m_terms == nullptr || m_count == 0) return false;
  const char* term = m_terms;
  for (size_t i = 0; i < m_count; ++i) {
    const char* value = term + strlen(term) + 1;
    bool found = false;
    for (const CColumn* column : columns) {
      const char* held = column->data() != nullptr ? column->data() : "";
      if (strcmp(column->name(), term) == 0 && strcmp(held, value) == 0) {
        found = true;
        break;
      }
    }
    if (!found) return false;
    term = value + strlen(value) + 1;
  }
  return true;
}

bool MatchCondition(const char* condition, const std::vector<CColumn*>& columns) {
  RecordCondition parsed(condition);
  if (!parsed.parsed()) {
    // A match that cannot be made is a mismatch, logged with -1 rather than
    // as a failure of its own.
    ErrorA(-1, "no memory");
    return false;
  }
  return parsed.matches(columns);
}

}  // namespace TalDB
