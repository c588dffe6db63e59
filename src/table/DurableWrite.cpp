#include "table/DurableWrite.h"

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

// Creates, writes, flushes and closes the temporary file.
int WriteTemporary(const char* temporary, const char* content, int length) {
  int fd = CreateForWrite(temporary, kRecordMode);
  if (fd < 0) {
    // Logged with 8, the code of a record file that cannot be opened; the
    // write as a whole fails with -1.
    ErrorA(8, "%s: failed to create record file %s (%s)", "safe_save", temporary, strerror(errno));
    return -1;
  }
  int failed = 0;
  if (safe_write(fd, content, length) != length) {
    failed =
        Fail(20, "%s: safe_write to file %s failed (%s)", "safe_save", temporary, strerror(errno));
  } else if (safe_fsync(fd) == -1) {
    failed =
        Fail(20, "%s: error during safe_fsync of %s (%s)", "safe_save", temporary, strerror(errno));
  }
  CloseFile(fd);
  return failed != 0 ? -1 : 0;
}

}  // namespace

int DurableWrite(const char* path, const char* content, int length) {
  char temporary[kPathLimit];
  snprintf(temporary, sizeof(temporary), "%s%s", path, kTempSuffix);
  if (WriteTemporary(temporary, content, length) != 0) return -1;

  const char* slash = strrchr(temporary, '/');
  if (slash == nullptr) {
    Fail(20, "%s: Locate Slash in file name [%s] failed.", "safe_save", temporary);
    return -1;
  }
  char directory[kPathLimit];
  guxstrncpy(directory, temporary, sizeof(directory), slash - temporary);

  if (gux_access(path, 0) == 0) {
    InfoA(0, "remove old record file %s.", path);
    RemoveFile(path);
  }
  if (rename_dirfsync(temporary, path, directory, 0) == -1) {
    Fail(20, "%s: failed to rename record file from [%s] to [%s] (%s).", "safe_save", temporary,
         path, strerror(errno));
    return -1;
  }
  return 0;
}

}  // namespace TalDB
