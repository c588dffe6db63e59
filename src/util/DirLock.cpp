#include "util/DirLock.h"

#include <dirent.h>

#include "taldb/CDirIterator.h"
#include "util/FileSystem.h"
#include "util/StreamAccess.h"

namespace TalDB {

DirLock::~DirLock() {
  if (m_fd < 0) return;
  UnlockFile(m_fd);
  if (m_ownsFd) CloseFile(m_fd);
}

void DirLock::lockPath(const char* path, bool shared) {
  int fd = OpenDirectoryForLock(path);
  if (fd < 0) return;
  if (!LockFile(fd, shared)) {
    CloseFile(fd);
    return;
  }
  m_fd = fd;
  m_ownsFd = true;
}

int DirLock::flush(const char* path) const {
  return m_fd >= 0 ? FlushFile(m_fd) : FlushDirectory(path);
}

void DirLock::lockStream(CDirIterator& stream) {
  int fd = StreamDescriptor(stream);
  if (fd >= 0 && LockFile(fd)) m_fd = fd;
}

}  // namespace TalDB
