#include "table/RepairPlan.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "gux.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/SchemaSeal.h"
#include "util/FileSystem.h"
#include "util/LineReader.h"
#include "util/Path.h"
#include "util/Status.h"

namespace TalDB {

namespace {

// The record path a leftover belongs to: its own path without ".tmp".
bool RecordPathOf(const char* dir, const char* name, char* out) {
  if (!IsTempName(name)) return false;
  size_t length = strlen(name), suffix = strlen(kTempSuffix);
  snprintf(out, kPathLimit, "%s%s%.*s", dir, "/", static_cast<int>(length - suffix), name);
  return true;
}

}  // namespace

RepairAction PlanRepair(const char* dir, const char* name, size_t columns) {
  if (IsDotEntry(name)) return RepairAction::kNone;
  if (IsMarkedName(name)) return RepairAction::kRemoveMarked;
  char record[kPathLimit];
  if (!RecordPathOf(dir, name, record)) return RepairAction::kNone;
  // A durable write's temporary file is a plain file: a link, a FIFO or a
  // directory of that name is someone else's, and is neither read (a FIFO
  // would never answer) nor removed.
  char leftover[kPathLimit];
  JoinPath(leftover, dir, name);
  if (!IsPlainFile(leftover)) return RepairAction::kNone;
  if (gux_access(record, 0) == 0) return RepairAction::kDropStale;
  LineReader line;
  // Every durable write flushes its temporary file before it removes or
  // renames anything, so a leftover that is not whole was never the only copy
  // of an acknowledged record.
  if (line.read(leftover) != LineReader::kRead) return RepairAction::kDropTorn;
  return IsWholeRecord(line.data(), line.size(), columns) ? RepairAction::kFinishWrite
                                                          : RepairAction::kDropTorn;
}

const char* RepairOutcome(RepairAction action, bool done) {
  switch (action) {
    case RepairAction::kFinishWrite:
      return done ? "renamed into place: its record was missing"
                  : "would be renamed into place: its record is missing";
    case RepairAction::kDropStale:
      return done ? "removed: its record exists, so this write never completed"
                  : "would be removed: its record exists, so this write never completed";
    case RepairAction::kDropTorn:
      return done ? "removed: not a whole record, so this write was never acknowledged"
                  : "would be removed: not a whole record, so this write was never acknowledged";
    case RepairAction::kRemoveMarked:
      return done ? "removed: a marked name, never a record"
                  : "would be removed: a marked name, never a record";
    case RepairAction::kNone:
      break;
  }
  return "left alone";
}

int ApplyRepair(const char* dir, const char* name, RepairAction action) {
  char path[kPathLimit];
  JoinPath(path, dir, name);
  char record[kPathLimit];
  switch (action) {
    case RepairAction::kNone:
      return 0;
    case RepairAction::kRemoveMarked:
      if (RemoveFile(path) == 0) InfoA(0, "%s: %s", path, RepairOutcome(action, true));
      return 0;
    case RepairAction::kDropTorn:
    case RepairAction::kDropStale:
      if (RemoveFile(path) != 0)
        return Fail(20, "%s: cannot be removed (%s)", path, strerror(errno));
      break;
    case RepairAction::kFinishWrite:
      // The same rename and directory flush that end every durable write.
      RecordPathOf(dir, name, record);
      if (rename_dirfsync(path, record, dir, 0) == -1)
        return Fail(20, "%s: cannot be renamed into place (%s)", path, strerror(errno));
      break;
  }
  InfoA(0, "%s: %s", path, RepairOutcome(action, true));
  return 0;
}

namespace {

// The directory above path, into parent; false when path has no "/".
bool ParentOf(const char* path, char* parent) {
  const char* slash = strrchr(path, '/');
  if (slash == nullptr) return false;
  guxstrncpy(parent, path, kPathLimit, slash - path);
  return true;
}

}  // namespace

bool RepairTableCreation(const char* schemaPath, const char* tableDir) {
  bool whole = CheckSchemaSeal(schemaPath) == SchemaSeal::kWhole;
  const char* made = whole ? tableDir : schemaPath;
  char parent[kPathLimit];
  if (!ParentOf(made, parent)) return false;
  if (whole ? MakeDirectory(tableDir, 0775) != 0 : RemoveFile(schemaPath) != 0) return false;
  if (FlushDirectory(parent) != 0) return false;
  InfoA(0,
        whole ? "%s: made: the table's creation was cut short before its directory was"
              : "%s: removed: the table's creation was cut short while its schema was written",
        made);
  return true;
}

bool RepairDataDirectory(const char* dataDir) {
  if (gux_access(dataDir, 0) == 0) return true;
  char container[kPathLimit];
  if (!ParentOf(dataDir, container)) return false;
  if (MakeDirectory(dataDir, 0700) != 0 || FlushDirectory(container) != 0) return false;
  InfoA(0, "%s: made: the database's creation was cut short before its data directory was",
        dataDir);
  return true;
}

}  // namespace TalDB
