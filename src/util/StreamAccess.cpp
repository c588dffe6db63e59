#include "util/StreamAccess.h"

#include <dirent.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

namespace TalDB {

namespace {

// The walk state lives in the same block as the stored path, just after it,
// so that the stream's own release of its path releases it too.
size_t StateOffset(size_t pathLength) {
  size_t align = alignof(WalkState);
  return (pathLength + 1 + align - 1) / align * align;
}

// How much a directory stream reads at a time: the directory's block size as
// a hint, between 32 KiB and 1 MiB, as the C library's streams do.
size_t StreamReadSize(int fd) {
  const size_t least = 32768, most = 1048576;
  struct stat st;
  if (fd < 0 || fstat(fd, &st) != 0) return least;
  size_t hint = st.st_blksize > 0 ? static_cast<size_t>(st.st_blksize) : 0;
  return std::min(std::max(hint, least), most);
}

}  // namespace

int StreamAccess::descriptor(const CDirIterator& stream) {
  return stream.m_dir != nullptr ? dirfd(stream.m_dir) : -1;
}

int StreamAccess::openOn(CDirIterator& stream, const char* path) {
  int opened = stream.open(path);
  // The stored path changes only when the table's path did (or its directory
  // now reads in other steps): a table walks the same directory over and
  // over, and that costs no allocation. Without memory the stored path is
  // dropped, and the walk opens names by their whole path and reads the
  // stream's own entries. The empty path a stream is made with has no room
  // for a walk state, so an empty path is never kept.
  size_t capacity = StreamReadSize(descriptor(stream));
  WalkState* state = walkState(stream);
  if (stream.m_path == nullptr || path[0] == '\0' || strcmp(stream.m_path, path) != 0 ||
      state == nullptr || state->capacity != capacity) {
    size_t length = strlen(path);
    size_t offset = StateOffset(length);
    char* copy = static_cast<char*>(malloc(offset + offsetof(WalkState, buffer) + capacity));
    if (copy != nullptr) {
      memcpy(copy, path, length + 1);
      reinterpret_cast<WalkState*>(copy + offset)->capacity = capacity;
    }
    free(stream.m_path);
    stream.m_path = copy;
  }
  if ((state = walkState(stream)) != nullptr) state->size = state->offset = 0;
  return opened;
}

int StreamAccess::descriptorOn(const CDirIterator& stream, const char* path) {
  if (stream.m_dir == nullptr || stream.m_path == nullptr || strcmp(stream.m_path, path) != 0)
    return -1;
  return dirfd(stream.m_dir);
}

WalkState* StreamAccess::walkState(const CDirIterator& stream) {
  // A stream that is not open was either never opened here (its stored path
  // is the one it was made with) or failed to open: there is nothing to read.
  if (stream.m_path == nullptr || stream.m_dir == nullptr) return nullptr;
  return reinterpret_cast<WalkState*>(stream.m_path + StateOffset(strlen(stream.m_path)));
}

}  // namespace TalDB
