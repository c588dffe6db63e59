#include "taldb/CColumn.h"

#include <stdlib.h>
#include <string.h>

#include "column/TypeWords.h"
#include "gux.h"
#include "util/Status.h"

namespace TalDB {

CColumn::CColumn() : m_name(strdup("")), m_type(TYPE_NONE), m_primaryKey(false), m_data(nullptr) {}

CColumn::CColumn(const char* name)
    : m_name(strdup(name != nullptr ? name : "")),
      m_type(TYPE_NONE),
      m_primaryKey(false),
      m_data(nullptr) {}

CColumn::CColumn(const CColumn& other)
    : m_name(strdup(other.name())),
      m_type(other.m_type),
      m_primaryKey(other.m_primaryKey),
      m_data(strdup(other.valueText())) {
  if (m_data == nullptr) NoMemory();
}

CColumn::~CColumn() {
  free(m_data);
  free(m_name);
}

int CColumn::SetInfo(const char* definition) {
  if (definition == nullptr) return 2;
  const char* open = strchr(definition, '[');
  if (open == nullptr) return 2;

  // The name is set before the type word is judged: an unknown type still
  // renames the column.
  char* name = strndup(definition, open - definition);
  if (name == nullptr) return NoMemory();
  free(m_name);
  m_name = name;

  const char* word = open + 1;
  const char* close = strchr(word, ']');
  size_t length = close != nullptr ? size_t(close - word) : strlen(word);
  for (const TypeWord& type : kTypeWords) {
    if (strlen(type.word) == length && strncmp(type.word, word, length) == 0) {
      m_type = type.code;
      return 0;
    }
  }
  InfoA(1, "invalid data type");
  return 1;
}

int CColumn::SetData(const char* value) {
  const char* text = value != nullptr ? value : "";
  size_t length = strlen(text);
  // Always a fresh copy, never the old buffer refilled: a value that cannot
  // be copied must fail whatever the column held before.
  free(m_data);
  m_data = static_cast<char*>(malloc(length + 1));
  if (m_data != nullptr) memcpy(m_data, text, length + 1);
  return m_data != nullptr ? 0 : NoMemory();
}

int CColumn::GetDataStr(char* buf, unsigned int size) {
  if (buf == nullptr || size == 0) {
    ErrorA(20, "GetDataStr Error: invalid parameter");
    return 20;
  }
  guxstrcpy(buf, valueText(), size);
  return 0;
}

int CColumn::GetDataBigInt(int64_t& out) {
  const char* value = valueText();
  char* end = nullptr;
  out = strtoll(value, &end, 10);
  if (*end != '\0') {
    ErrorA(20, "GetDataBigInt Error: invalid data [%s]", value);
    return 20;
  }
  return 0;
}

int CColumn::GetDataInt(int& out) {
  const char* value = valueText();
  char* end = nullptr;
  out = static_cast<int>(gux_strtol(value, &end, 10));
  if (*end != '\0') {
    ErrorA(20, "GetDataInt Error: invalid data [%s]", value);
    return 20;
  }
  return 0;
}

bool CColumn::isPrimaryKey() const { return m_primaryKey; }

const char* CColumn::data() const { return m_data; }

const char* CColumn::name() const { return m_name != nullptr ? m_name : ""; }

int CColumn::type() const { return m_type; }

const char* CColumn::valueText() const { return m_data != nullptr ? m_data : ""; }

}  // namespace TalDB
