#include "session/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

bool readDirectory(const std::string& path, std::vector<std::string>& names) {
  // Opened with open() and read through fdopendir(), so that what failed is
  // one call whose errno the caller can report.
  int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = fd >= 0 ? fdopendir(fd) : nullptr;
  if (dir == nullptr) {
    int error = errno;
    if (fd >= 0) close(fd);
    errno = error;
    return false;
  }
  while (const struct dirent* entry = readdir(dir))
    if (!TalDB::IsDotEntry(entry->d_name)) names.push_back(entry->d_name);
  closedir(dir);
  std::sort(names.begin(), names.end());
  return true;
}

int directoryError(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno;
  close(fd);
  return 0;
}

// The number of "|"-separated pieces of the first line of a schema or record
// file, split as the store splits it; -1 when the file cannot be read.
long countFields(const std::string& path) {
  TalDB::LineReader reader;
  if (reader.read(path.c_str()) != TalDB::LineReader::kRead) return -1;
  TalDB::RecordFields fields(reader.data());
  long count = 0;
  while (fields.next() != nullptr) ++count;
  return count;
}

bool pathExists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

FileIdentity fileIdentity(const std::string& path) {
  struct stat info;
  FileIdentity identity;
  if (lstat(path.c_str(), &info) != 0) return identity;
  identity.exists = true;
  identity.device = info.st_dev;
  identity.inode = info.st_ino;
  identity.changedSeconds = info.st_ctim.tv_sec;
  identity.changedNanoseconds = info.st_ctim.tv_nsec;
  return identity;
}

std::string joinPath(const std::string& dir, const std::string& name) {
  char path[TalDB::kPathLimit];
  TalDB::JoinPath(path, dir.c_str(), name.c_str());
  return path;
}

std::vector<std::string> markedNames(const std::string& directory) {
  std::vector<std::string> names;
  readDirectory(directory, names);
  names.erase(
      std::remove_if(names.begin(), names.end(),
                     [](const std::string& name) { return !TalDB::IsMarkedName(name.c_str()); }),
      names.end());
  return names;
}

std::string entryKind(unsigned mode) {
  if (S_ISLNK(mode)) return "a symbolic link";
  if (S_ISDIR(mode)) return "a directory";
  return S_ISREG(mode) ? "a file" : "a FIFO, socket or device";
}

bool isSymbolicLink(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

bool readFileLine(const std::string& path, std::string& line, std::string& kind, bool* beyond) {
  line.clear();
  kind.clear();
  if (beyond != nullptr) *beyond = false;
  // Looked at before it is opened, so that a device is never opened at all;
  // then opened without following a link and looked at again through the
  // descriptor, so that an entry swapped for a link in between is not read.
  struct stat seen;
  if (lstat(path.c_str(), &seen) != 0) return false;
  if (!S_ISREG(seen.st_mode)) {
    kind = entryKind(seen.st_mode);
    return false;
  }
  int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ELOOP) kind = entryKind(S_IFLNK);
    return false;
  }
  struct stat opened;
  bool known = fstat(fd, &opened) == 0;
  bool regular = known && S_ISREG(opened.st_mode);
  if (known && !regular) kind = entryKind(opened.st_mode);
  // As the store reads it: the bytes before the first line feed, and an
  // unreadable rest counts as the end of the file. Past the line feed only
  // whether anything follows is of interest.
  char buffer[4096];
  bool ended = false;
  while (regular) {
    ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    size_t skip = 0;
    if (!ended) {
      const void* feed = std::memchr(buffer, '\n', static_cast<size_t>(got));
      skip = feed != nullptr ? static_cast<const char*>(feed) - buffer + 1 : got;
      line.append(buffer, feed != nullptr ? skip - 1 : skip);
      ended = feed != nullptr;
    }
    if (ended && (beyond == nullptr || static_cast<size_t>(got) > skip)) {
      if (beyond != nullptr) *beyond = static_cast<size_t>(got) > skip;
      break;
    }
  }
  close(fd);
  return regular;
}

// "; cannot write DIR: reason" when this user may not make or remove entries
// in the directory, else "".
std::string unwritable(const std::string& dir) {
  if (access(dir.c_str(), W_OK | X_OK) == 0) return "";
  return "; cannot write " + dir + ": " + std::strerror(errno);
}

}  // namespace taldb_cli
