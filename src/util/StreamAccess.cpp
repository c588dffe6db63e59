#include "util/StreamAccess.h"

#include <dirent.h>
#include <stdlib.h>
#include <string.h>

namespace TalDB {

int StreamAccess::descriptor(const CDirIterator& stream) {
  return stream.m_dir != nullptr ? dirfd(stream.m_dir) : -1;
}

int StreamAccess::openOn(CDirIterator& stream, const char* path) {
  // The stored path changes only when the table's path did: a table walks the
  // same directory over and over, and that costs no allocation. Without memory
  // the stored path is dropped, and the walk opens names by their whole path.
  if (stream.m_path == nullptr || strcmp(stream.m_path, path) != 0) {
    char* copy = strdup(path);
    free(stream.m_path);
    stream.m_path = copy;
  }
  return stream.open(path);
}

int StreamAccess::descriptorOn(const CDirIterator& stream, const char* path) {
  if (stream.m_dir == nullptr || stream.m_path == nullptr || strcmp(stream.m_path, path) != 0)
    return -1;
  return dirfd(stream.m_dir);
}

}  // namespace TalDB
