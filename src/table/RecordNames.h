// Which entries of a table directory are records. Counting, listing, id
// allocation and recovery all go by this one rule.
#ifndef TALDB_TABLE_RECORDNAMES_H
#define TALDB_TABLE_RECORDNAMES_H

#include <dirent.h>
#include <stdlib.h>
#include <string.h>

#include "taldb/CDirIterator.h"

namespace TalDB {

inline bool IsDotEntry(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// A name holding ".ADD" or ".UPDATE" is never a record; recovery removes it.
// Both marks begin with a dot, and most record names have none.
inline bool IsMarkedName(const char* name) {
  const char* dot = strchr(name, '.');
  return dot != nullptr && (strstr(dot, ".ADD") != nullptr || strstr(dot, ".UPDATE") != nullptr);
}

// What the durable write appends to a record's path for its temporary file.
constexpr const char kTempSuffix[] = ".tmp";

// Whether a name is a durable write's temporary file ("12.tmp"): a leftover
// of an interrupted write, never a record of its own.
inline bool IsTempName(const char* name) {
  size_t length = strlen(name), suffix = sizeof(kTempSuffix) - 1;
  return length > suffix && strcmp(name + length - suffix, kTempSuffix) == 0;
}

// Logs the line every scan gives a marked name.
void ReportMarkedName(const char* name);

// The next record name among the entries that read() gives, or null at their
// end. "." and ".." are passed over silently, marked names with their report.
// The name stays valid until read() is called again.
template <class Read>
const char* NextRecordNameOf(Read read) {
  while (struct dirent* entry = read()) {
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

// The same, of an open directory stream.
inline const char* NextRecordName(CDirIterator& dir) {
  return NextRecordNameOf([&dir] { return dir.read(); });
}

// The numeric value of a record name for id allocation: what atol makes of it,
// cut to its low 32 bits ("12.tmp" is 12, "abc" is 0, "-1" is 4294967295).
inline unsigned int RecordNumber(const char* name) { return static_cast<unsigned int>(atol(name)); }

}  // namespace TalDB

#endif  // TALDB_TABLE_RECORDNAMES_H
