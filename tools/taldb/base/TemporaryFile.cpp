#include "base/TemporaryFile.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/Errors.h"

namespace taldb_cli {

std::string temporaryPattern(const std::string& what) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir != nullptr && *dir ? dir : "/tmp") + "/taldb-" + what + "-XXXXXX";
}

TemporaryFile::TemporaryFile(const std::string& what, const std::string& text,
                             const std::string& action)
    : path_(temporaryPattern(what)) {
  int fd = mkstemp(&path_[0]);
  ssize_t wrote = fd >= 0 ? ::write(fd, text.data(), text.size()) : -1;
  // A short write without an error is a full disk.
  int error = wrote >= 0 ? ENOSPC : errno;
  if (fd >= 0 && close(fd) != 0 && wrote == static_cast<ssize_t>(text.size())) {
    error = errno;
    wrote = -1;
  }
  if (wrote != static_cast<ssize_t>(text.size())) {
    if (fd >= 0) unlink(path_.c_str());
    throw Failure(action + ": cannot write a temporary file " + path_ + ": " +
                  std::strerror(error));
  }
}

TemporaryFile::~TemporaryFile() { unlink(path_.c_str()); }

}  // namespace taldb_cli
