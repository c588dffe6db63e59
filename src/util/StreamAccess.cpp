#include "util/StreamAccess.h"

#include <dirent.h>
#include <stdlib.h>
#include <string.h>

namespace TalDB {

namespace {

// The walk state lives in the same block as the stored path, just after it,
// so that the stream's own release of its path releases it too.
size_t StateOffset(size_t pathLength) {
  size_t align = alignof(WalkState);
  return (pathLength + 1 + align - 1) / align * align;
}

}  // namespace

int StreamAccess::descriptor(const CDirIterator& stream) {
  return stream.m_dir != nullptr ? dirfd(stream.m_dir) : -1;
}

int StreamAccess::openOn(CDirIterator& stream, const char* path) {
  // The stored path changes only when the table's path did: a table walks the
  // same directory over and over, and that costs no allocation. Without memory
  // the stored path is dropped, and the walk opens names by their whole path.
  // The empty path a stream is made with has no room for a walk state, so an
  // empty path is never kept (no directory opens under it anyway).
  if (stream.m_path == nullptr || path[0] == '\0' || strcmp(stream.m_path, path) != 0) {
    size_t length = strlen(path);
    char* copy = static_cast<char*>(malloc(StateOffset(length) + sizeof(WalkState)));
    if (copy != nullptr) memcpy(copy, path, length + 1);
    free(stream.m_path);
    stream.m_path = copy;
  }
  int opened = stream.open(path);
  if (WalkState* state = walkState(stream)) state->size = state->offset = 0;
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
