#include "table/RecordCondition.h"

#include <stdlib.h>
#include <string.h>

#include <new>

#include "gux.h"
#include "table/RecordFormat.h"
#include "util/Path.h"

namespace TalDB {

RecordCondition::RecordCondition(const char* condition) {
  size_t length = strlen(condition);
  m_text = strdup(condition);
  // Unescaping never lengthens a value, so the values fit beside each other in
  // a block of the condition's size.
  m_values = static_cast<char*>(malloc(length + 1));
  if (m_text == nullptr || m_values == nullptr) {
    m_noMemory = true;
    return;
  }
  TermList terms(m_text);
  char* out = m_values;
  char* name;
  char* value;
  // Evaluation ends at the first term without a value, an empty one included.
  while (terms.next(&name, &value) && name != nullptr && value != nullptr) {
    size_t room = strlen(value) + 1;
    if (room > kValueLimit) room = kValueLimit;
    KwStringUnescapeA(value, out, room);
    try {
      m_terms.push_back({name, out});
    } catch (const std::bad_alloc&) {
      m_noMemory = true;
      return;
    }
    out += strlen(out) + 1;
  }
}

RecordCondition::~RecordCondition() {
  free(m_text);
  free(m_values);
}

bool RecordCondition::matches(const std::vector<CColumn*>& columns) const {
  if (m_noMemory) {
    // A match that cannot be made is a mismatch, logged with -1 rather than
    // as a failure of its own.
    ErrorA(-1, "no memory");
    return false;
  }
  if (m_terms.empty()) return false;
  for (const Term& term : m_terms) {
    bool found = false;
    for (const CColumn* column : columns) {
      const char* value = column->data() != nullptr ? column->data() : "";
      if (strcmp(column->name(), term.name) == 0 && strcmp(value, term.value) == 0) {
        found = true;
        break;
      }
    }
    if (!found) return false;
  }
  return true;
}

}  // namespace TalDB
