#include "table/GroupWrite.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "gux.h"
#include "table/RecordNames.h"
#include "util/FileSystem.h"
#include "util/Path.h"
#include "util/Status.h"

namespace TalDB {

namespace {

constexpr mode_t kRecordMode = 0640;
constexpr const char kWho[] = "addRecords";

// The record's path and its temporary file's, each cut at the path limit as
// every path of the store is.
void EntryPaths(const char* dir, unsigned int id, char* path, char* temporary) {
  if (snprintf(path, kPathLimit, "%s%s%i", dir, "/", static_cast<int>(id)) < 0) path[0] = '\0';
  if (snprintf(temporary, kPathLimit, "%s%s", path, kTempSuffix) < 0) temporary[0] = '\0';
}

int WriteTemporary(const char* temporary, const GroupEntry& entry) {
  int fd = CreateForWrite(temporary, kRecordMode);
  if (fd < 0)
    return Fail(20, "%s: failed to create record file %s (%s)", kWho, temporary, strerror(errno));
  int failed = 0;
  if (safe_write(fd, entry.content, entry.length) != static_cast<ssize_t>(entry.length))
    failed = Fail(20, "%s: write to file %s failed (%s)", kWho, temporary, strerror(errno));
  CloseFile(fd);
  return failed;
}

// Removes the temporary files of the entries from `from` on.
void RemoveTemporaries(const char* dir, const GroupEntry* entries, size_t from, size_t count) {
  char path[kPathLimit], temporary[kPathLimit];
  for (size_t i = from; i < count; ++i) {
    if (entries[i].skip) continue;
    EntryPaths(dir, entries[i].id, path, temporary);
    RemoveFile(temporary);
  }
}

}  // namespace

size_t DurableGroupWrite(const char* dir, int dirFd, const GroupEntry* entries, size_t count,
                         bool absent, int* status) {
  char path[kPathLimit], temporary[kPathLimit];
  *status = 0;
  for (size_t i = 0; i < count; ++i) {
    if (entries[i].skip) continue;
    EntryPaths(dir, entries[i].id, path, temporary);
    if ((*status = WriteTemporary(temporary, entries[i])) != 0) {
      RemoveTemporaries(dir, entries, 0, i + 1);
      return 0;
    }
  }
  // One flush of the file system puts every temporary file's data on disk
  // before any of them is renamed: a rename that survives a power cut never
  // names a file whose data did not.
  int flushFd = dirFd >= 0 ? dirFd : OpenDirectoryForLock(dir);
  int flushed = FlushFileSystem(flushFd);
  if (flushFd != dirFd && flushFd >= 0) CloseFile(flushFd);
  if (flushFd < 0 || flushed != 0) {
    *status = Fail(20, "%s: flushing the records of %s failed (%s)", kWho, dir, strerror(errno));
    RemoveTemporaries(dir, entries, 0, count);
    return 0;
  }
  size_t renamed = 0;
  for (; renamed < count; ++renamed) {
    if (entries[renamed].skip) continue;
    EntryPaths(dir, entries[renamed].id, path, temporary);
    // As in a single write, the old file goes first so that the rename never
    // has to replace one.
    if (!absent && gux_access(path, 0) == 0) RemoveFile(path);
    if (rename(temporary, path) != 0) {
      *status = Fail(20, "%s: failed to rename record file from [%s] to [%s] (%s).", kWho,
                     temporary, path, strerror(errno));
      RemoveTemporaries(dir, entries, renamed, count);
      break;
    }
  }
  if (FlushDirectory(dir) != 0) {
    // Renamed but not known to be on disk: none of them is reported written.
    *status = Fail(20, "%s: flushing the directory %s failed (%s)", kWho, dir, strerror(errno));
    return 0;
  }
  return renamed;
}

namespace {

void ReadMark(const struct stat& status, IdMark& mark) {
  mark.device = status.st_dev;
  mark.inode = status.st_ino;
  mark.links = status.st_nlink;
  mark.size = status.st_size;
  mark.modified[0] = status.st_mtim.tv_sec, mark.modified[1] = status.st_mtim.tv_nsec;
  mark.changed[0] = status.st_ctim.tv_sec, mark.changed[1] = status.st_ctim.tv_nsec;
}

}  // namespace

bool MarkHolds(const IdMark& mark, int dirFd) {
  struct stat status;
  if (!mark.set || dirFd < 0 || StatFile(dirFd, &status) != 0) return false;
  IdMark now = mark;
  ReadMark(status, now);
  return now.device == mark.device && now.inode == mark.inode && now.links == mark.links &&
         now.size == mark.size && now.modified[0] == mark.modified[0] &&
         now.modified[1] == mark.modified[1] && now.changed[0] == mark.changed[0] &&
         now.changed[1] == mark.changed[1];
}

void SetMark(IdMark& mark, int dirFd, unsigned int largest) {
  struct stat status;
  mark.set = dirFd >= 0 && StatFile(dirFd, &status) == 0;
  if (!mark.set) return;
  ReadMark(status, mark);
  mark.largest = largest;
}

bool AnyInPlace(const char* dir, const GroupEntry* entries, size_t count) {
  char path[kPathLimit], temporary[kPathLimit];
  for (size_t i = 0; i < count; ++i) {
    EntryPaths(dir, entries[i].id, path, temporary);
    if (gux_access(path, 0) == 0) return true;
  }
  return false;
}

}  // namespace TalDB
