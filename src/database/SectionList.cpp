#include "database/SectionList.h"

#include <stdlib.h>

#include "gux.h"
#include "util/Status.h"

namespace TalDB {

SectionList::~SectionList() { free(m_large); }

int SectionList::read(const char* iniFile) {
  int length = InifileGetValueA(nullptr, nullptr, m_fixed, sizeof(m_fixed), nullptr, iniFile);
  if (length < 1) return Fail(12, "Can't get value [%s]", iniFile);
  if (length > static_cast<int>(sizeof(m_fixed))) {
    m_large = static_cast<char*>(malloc(length + 1));
    if (m_large == nullptr) return NoMemory();
    InifileGetValueA(nullptr, nullptr, m_large, length, nullptr, iniFile);
  }
  m_cursor = m_large != nullptr ? m_large : m_fixed;
  return 0;
}

char* SectionList::next() { return StringGetNextA(&m_cursor, '\0'); }

}  // namespace TalDB
