#include "table/RecordFormat.h"

#include <stdlib.h>
#include <string.h>

#include <new>

#include "gux.h"
#include "table/RecordNames.h"
#include "taldb/CUtils.h"
#include "util/Status.h"

namespace TalDB {

namespace {

// One item of a column specification, "id(int)", appended to the schema line
// as "id[int]". Returns 0, 1 or 11 as ColumnSpecToSchema does.
int AppendColumnItem(const char* item, bool first, TextBuffer& schema) {
  size_t length = strlen(item);
  const char* open = strchr(item, '(');
  const char* close = strchr(item, ')');
  if (open == item || close == item) return 11;
  const char* nameEnd = open != nullptr ? open : item + length;
  const char* typeStart = open != nullptr ? open + 1 : item;
  const char* typeEnd = (close != nullptr && close >= typeStart) ? close : item + length;
  size_t typeLength = typeEnd - typeStart;
  bool known = (typeLength == 3 && strncmp(typeStart, "int", 3) == 0) ||
               (typeLength == 7 && strncmp(typeStart, "varchar", 7) == 0);
  if (!known) return 1;
  bool stored = (first || schema.append('|')) && schema.append(item, nameEnd - item) &&
                schema.append('[') && schema.append(typeStart, typeLength) && schema.append(']');
  return stored ? 0 : NoMemory();
}

}  // namespace

int ParseSchemaLine(char* line, std::vector<CColumn*>& columns) {
  char* cursor = line;
  while (char* definition = StringGetNextA(&cursor, '|')) {
    CColumn* column = new (std::nothrow) CColumn();
    if (column == nullptr) return NoMemory();
    if (column->SetInfo(definition) != 0) {
      delete column;
      break;
    }
    try {
      columns.push_back(column);
    } catch (const std::bad_alloc&) {
      delete column;
      return NoMemory();
    }
  }
  return 0;
}

bool SerializeRecord(const std::vector<CColumn*>& columns, TextBuffer& out) {
  for (size_t i = 1; i < columns.size(); ++i) {
    const char* value = columns[i]->data();
    if (!out.append(value != nullptr ? value : "") || !out.append('|')) return false;
  }
  return true;
}

const char* RecordFields::next() {
  char* field = StringGetNextA(&m_cursor, '|');
  if (field == nullptr) return nullptr;
  KwStringUnescapeA(field, m_value, sizeof(m_value));
  return m_value;
}

bool IsWholeRecord(const char* line, size_t length, size_t columns) {
  size_t fields = columns > 1 ? columns - 1 : 0;
  if (fields == 0) return length == 0;
  if (length == 0 || line[length - 1] != '|') return false;
  size_t closed = 0;
  for (size_t i = 0; i < length; ++i) closed += line[i] == '|';
  return closed >= fields;
}

long FirstCutField(char* line) {
  char* cursor = line;
  long position = 0;
  for (; char* field = StringGetNextA(&cursor, '|'); ++position)
    if (!IsWholeValue(strlen(field))) return position;
  return -1;
}

char* RecordValues::next() {
  char* item = StringGetNextA(&m_cursor, ',');
  if (item != nullptr) CUtils::trim(item);
  return item;
}

bool ParseRecordText(const char* text, bool idFirst, RecordText& out) {
  char* copy = strdup(text);
  if (copy == nullptr) return false;
  bool stored = true;
  char token[kValueLimit];
  RecordValues values(copy);
  while (char* item = values.next()) {
    guxstrcpy(token, item, sizeof(token));
    if (++out.values == 1 && idFirst) {
      out.id = RecordNumber(token);
    } else if (!out.content.append(token) || !out.content.append('|')) {
      stored = false;
      break;
    }
  }
  free(copy);
  return stored;
}

int ParseRecordValues(const char* const* values, long count, bool idFirst, RecordText& out) {
  out.values = count;
  for (long i = 0; i < count; ++i) {
    const char* value = values[i];
    if (i == 0 && idFirst) {
      out.id = RecordNumber(value);
      continue;
    }
    size_t length = strcspn(value, "|\n");
    if (value[length] != '\0' || !IsWholeValue(length)) {
      return Fail(11, "record value %ld holds \"|\" or a line feed, or is longer than %zu bytes",
                  i + 1, kValueLimit - 1);
    }
    if (!out.content.append(value, length) || !out.content.append('|')) return NoMemory();
  }
  return 0;
}

char* SplitTerm(char* item, char** value) {
  *value = item;
  char* name = StringGetNextA(value, '=');
  if (name == nullptr) return nullptr;
  CUtils::strstrip(name);
  CUtils::trim(*value);
  return name;
}

bool TermList::next(char** name, char** value) {
  char* item = StringGetNextA(&m_cursor, ',');
  if (item == nullptr) return false;
  *name = SplitTerm(item, value);
  return true;
}

int ColumnSpecToSchema(char* spec, TextBuffer& schema) {
  CUtils::strstrip(spec);
  char* cursor = spec;
  for (bool first = true; char* item = StringGetNextA(&cursor, ','); first = false) {
    int rc = AppendColumnItem(item, first, schema);
    if (rc != 0) return rc;
  }
  return 0;
}

size_t SetColumns(const std::vector<CColumn*>& columns, const char* name, char* line) {
  if (columns[0]->SetData(name) != 0) return 0;
  RecordFields fields(line);
  size_t set = 1;
  for (; set < columns.size(); ++set) {
    const char* value = fields.next();
    if (value == nullptr || columns[set]->SetData(value) != 0) break;
  }
  return set;
}

}  // namespace TalDB
