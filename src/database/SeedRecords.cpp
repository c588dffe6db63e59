#include "database/SeedRecords.h"

#include <stdio.h>

#include "gux.h"

namespace TalDB {

SeedRecords::SeedRecords(const char* table, const char* iniFile, int id, const char* host)
    : m_table(table),
      m_iniFile(iniFile),
      m_placeholders{{"{{$talid}}", m_idText}, {"{{$talhost}}", host}, {"{{$talversion}}", "1.0"}} {
  snprintf(m_idText, sizeof(m_idText), "%i", id);
}

SeedRecords::Result SeedRecords::next(char* record, const char** placeholder) {
  char key[32];
  snprintf(key, sizeof(key), "rec_%i", m_next++);
  if (InifileGetValueA(m_table, key, record, kRecordSize, nullptr, m_iniFile) < 1) return kEnd;
  // In this order, each over the text the ones before it left.
  for (const Placeholder& each : m_placeholders) {
    if (StringFindAndReplaceA(record, kRecordSize, each.text, each.replacement) == 0) {
      *placeholder = each.text;
      return kCannotReplace;
    }
  }
  return kRecord;
}

}  // namespace TalDB
