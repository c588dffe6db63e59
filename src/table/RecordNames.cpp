#include "table/RecordNames.h"

#include "gux.h"

namespace TalDB {

void ReportMarkedName(const char* name) { ErrorA(16, "invalid record name found: %s.", name); }

const char* NextRecordName(CDirIterator& dir) {
  while (struct dirent* entry = dir.read()) {
    const char* name = entry->d_name;
    if (IsDotEntry(name)) continue;
    if (IsMarkedName(name)) {
      ReportMarkedName(name);
      continue;
    }
    return name;
  }
  return nullptr;
}

}  // namespace TalDB
