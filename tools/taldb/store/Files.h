// The door to the library's own rules for files, paths and locks. The tool
// reaches the library's internal headers only through this folder, so that a
// change inside the library meets the tool here and nowhere else: the path
// formatting and its cut, the store's file-system calls, the directory lock,
// reading a record or schema line with one read.
#ifndef TALDB_TOOL_STORE_FILES_H
#define TALDB_TOOL_STORE_FILES_H

#include <taldb/taldb.h>

#include "util/DirLock.h"
#include "util/FileSystem.h"
#include "util/LineReader.h"
#include "util/Path.h"
#include "util/TextBuffer.h"

namespace taldb_cli {

// Holds a table directory still while the tool reads it or checks what a
// command did: a write under way in any process is waited for, and writers
// wait until the scope ends, so a check never sees a record half written
// (the old file removed, the new one not yet renamed). Never held across a
// write of the store, which takes the same lock exclusively and would wait
// for this one forever.
class SettledTable {
 public:
  explicit SettledTable(const TalDB::CTable& table) { lock_.lockPath(table.path(), true); }

 private:
  TalDB::DirLock lock_;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_STORE_FILES_H
