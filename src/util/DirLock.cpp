#include "util/DirLock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "taldb/CDirIterator.h"

namespace TalDB {

DirLock::~DirLock() {
  if (m_fd < 0) return;
  flock(m_fd, LOCK_UN);
  if (m_ownsFd) ::close(m_fd);
}

bool DirLock::lockDescriptor(int fd) {
  int rc;
  do {
    rc = flock(fd, LOCK_EX);
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

void DirLock::lockPath(const char* path) {
  int fd = openat(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  if (!lockDescriptor(fd)) {
    ::close(fd);
    return;
  }
  m_fd = fd;
  m_ownsFd = true;
}

void DirLock::lockStream(CDirIterator& stream) {
  int fd = StreamDescriptor(stream);
  if (fd >= 0 && lockDescriptor(fd)) m_fd = fd;
}

}  // namespace TalDB
