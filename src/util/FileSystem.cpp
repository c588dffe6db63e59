#include "util/FileSystem.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TalDB {

int CreateForWrite(const char* path, mode_t mode) {
  return ::open(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int CreateFile(const char* path, mode_t mode) {
  return ::open(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int OpenForRead(const char* path) { return ::open(path, O_RDONLY | O_CLOEXEC); }

int OpenForReadAt(int dirFd, const char* name) {
  return ::openat(dirFd, name, O_RDONLY | O_CLOEXEC);
}

ssize_t ReadSome(int fd, void* buffer, size_t size) {
  ssize_t got;
  do {
    got = ::read(fd, buffer, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

void CloseFile(int fd) { ::close(fd); }

int RemoveFile(const char* path) { return ::unlink(path); }

int MakeDirectory(const char* path, mode_t mode) { return ::mkdir(path, mode); }

int RemoveDirectory(const char* path) { return ::rmdir(path); }

bool IsDirectory(const char* path) {
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

int FlushFile(int fd) {
  int rc;
  do {
    rc = ::fdatasync(fd);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

int FlushFileSystem(int fd) { return ::syncfs(fd); }

int StatFile(int fd, struct stat* status) { return ::fstat(fd, status); }

int FlushDirectory(const char* path) {
  int fd = OpenDirectoryForLock(path);
  if (fd < 0) return -1;
  int rc = FlushFile(fd);
  int saved = errno;
  ::close(fd);
  errno = saved;
  return rc;
}

bool IsPlainFile(const char* path) {
  struct stat st;
  return ::lstat(path, &st) == 0 && S_ISREG(st.st_mode);
}

int OpenDirectoryForLock(const char* path) {
  return ::openat(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

bool LockFile(int fd, bool shared) {
  int rc;
  do {
    rc = ::flock(fd, shared ? LOCK_SH : LOCK_EX);
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

void UnlockFile(int fd) { ::flock(fd, LOCK_UN); }

}  // namespace TalDB
