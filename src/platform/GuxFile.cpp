// File operations. Everything that creates, writes, flushes, renames or
// removes goes through the C library's open, write, fsync, rename, unlink,
// mkdir and rmdir, so that a test program can fail any of them.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "gux.h"

int gux_access(const char* path, int mode) { return access(path, mode); }

ssize_t safe_write(int fd, const void* buffer, size_t count) {
  const char* bytes = static_cast<const char*>(buffer);
  size_t written = 0;
  while (written < count) {
    ssize_t n = write(fd, bytes + written, count - written);
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (n == 0) {
      errno = EIO;
      break;
    }
    written += n;
  }
  return static_cast<ssize_t>(written);
}

int safe_fsync(int fd) {
  int rc;
  do {
    rc = fsync(fd);
  } while (rc == -1 && errno == EINTR);
  return rc == -1 ? -1 : 0;
}

int rename_dirfsync(const char* from, const char* to, const char* dir, int /*flags*/) {
  if (rename(from, to) == -1) return -1;
  // The rename is durable only once the directory that holds it is flushed.
  int fd = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return -1;
  int rc = safe_fsync(fd);
  int error = errno;
  close(fd);
  errno = error;
  return rc;
}

bool CreateTreeA(const char* path, mode_t mode) {
  if (path == nullptr || path[0] == '\0') {
    errno = ENOENT;
    return false;
  }
  std::string partial;
  const char* at = path;
  // Each prefix ending before a "/" is a directory to have, then the path itself.
  for (;;) {
    const char* slash = strchr(at, '/');
    partial.assign(path, slash != nullptr ? slash - path : strlen(path));
    if (!partial.empty()) {
      if (mkdir(partial.c_str(), mode) == -1) {
        int error = errno;
        struct stat st;
        if (error != EEXIST || stat(partial.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
          errno = error == EEXIST ? ENOTDIR : error;
          return false;
        }
      }
    }
    if (slash == nullptr) return true;
    at = slash + 1;
  }
}

bool DeleteTreeA(const char* path) {
  struct stat st;
  if (path == nullptr) {
    errno = EINVAL;
    return false;
  }
  if (lstat(path, &st) != 0) return errno == ENOENT;
  // A symbolic link is removed itself, never followed.
  if (!S_ISDIR(st.st_mode)) return unlink(path) == 0;
  DIR* dir = opendir(path);
  if (dir == nullptr) return false;
  bool ok = true;
  std::string child;
  while (struct dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
    child.assign(path).append("/").append(name);
    if (!DeleteTreeA(child.c_str())) {
      ok = false;
      break;
    }
  }
  int error = errno;
  closedir(dir);
  if (!ok) {
    errno = error;
    return false;
  }
  return rmdir(path) == 0;
}
