#include "table/RecordCondition.h"

#include <stdlib.h>
#include <string.h>

#include <new>

#include "gux.h"
#include "taldb/CUtils.h"
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
  char* cursor = m_text;
  char* out = m_values;
  while (char* term = StringGetNextA(&cursor, ',')) {
    char* value = term;
    char* name = StringGetNextA(&value, '=');
    if (name == nullptr || value == nullptr) break;
    CUtils::strstrip(name);
    CUtils::trim(value);
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
