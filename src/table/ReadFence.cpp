#include "table/ReadFence.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "table/RecordNames.h"
#include "util/FileSystem.h"
#include "util/Path.h"

namespace TalDB {

ReadFence::~ReadFence() {
  if (m_locked) UnlockFile(m_fd);
}

bool ReadFence::settle() {
  if (m_locked || m_fd < 0) return false;
  // Without locks on this file system there is nothing to wait for; the walk
  // reads as it always has.
  m_locked = LockFile(m_fd, true);
  return m_locked;
}

bool ReadFence::exists(const char* name) const {
  struct stat st;
  if (m_fd >= 0) return fstatat(m_fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0;
  char path[kPathLimit];
  JoinPath(path, m_dir, name);
  return lstat(path, &st) == 0;
}

const char* ReadFence::temporary(const char* name, char* out) {
  settle();
  if (exists(name)) return name;
  size_t length = strlen(name) - (sizeof(kTempSuffix) - 1);
  if (length + 1 > kNameSize) return nullptr;
  memcpy(out, name, length);
  out[length] = '\0';
  return exists(out) ? out : nullptr;
}

}  // namespace TalDB
