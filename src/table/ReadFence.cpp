#include "table/ReadFence.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include "table/RecordNames.h"
#include "util/FileSystem.h"
#include "util/Shortcuts.h"

namespace TalDB {

ReadFence::ReadFence(CDirIterator& stream)
    : m_stream(stream),
      m_state(ShortcutsOn() ? StreamAccess::walkState(stream) : nullptr),
      m_fd(StreamDescriptor(stream)) {}

// Without locks on this file system there is nothing to wait for; the walk
// reads as it always has.
bool ReadFence::lock() { return m_fd >= 0 && LockFile(m_fd, true); }

void ReadFence::unlock() { UnlockFile(m_fd); }

// The next entries of the directory into the walk's buffer; false at the
// end of the directory or on a failed read, which ends the walk as the end of
// the stream does.
bool ReadFence::fill() {
  bool locked = lock();
  ssize_t got = getdents64(m_fd, m_state->buffer, m_state->capacity);
  if (locked) unlock();
  m_state->offset = 0;
  m_state->size = got > 0 ? static_cast<size_t>(got) : 0;
  return got > 0;
}

struct dirent* ReadFence::read() {
  if (m_state == nullptr) {
    // The plain way, and the way without memory for a buffer: the stream's
    // own reads, under the lock for each entry.
    bool locked = lock();
    struct dirent* entry = m_stream.read();
    if (locked) unlock();
    return entry;
  }
  for (;;) {
    if (m_state->offset >= m_state->size && !fill()) return nullptr;
    auto* entry = reinterpret_cast<struct dirent*>(m_state->buffer + m_state->offset);
    m_state->offset += entry->d_reclen;
    // An entry without an inode is a removed one, passed over as the stream does.
    if (entry->d_ino != 0) return entry;
  }
}

const char* ReadFence::nextName() {
  return NextRecordNameOf([this] { return read(); });
}

// A walk meets names only on an open stream, whose descriptor looks them up.
bool ReadFence::exists(const char* name) const {
  struct stat st;
  return m_fd >= 0 && fstatat(m_fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0;
}

const char* ReadFence::temporary(const char* name, char* out) {
  bool locked = lock();
  const char* found = name;
  if (!exists(name)) {
    size_t length = strlen(name) - (sizeof(kTempSuffix) - 1);
    found = nullptr;
    if (length + 1 <= kNameSize) {
      memcpy(out, name, length);
      out[length] = '\0';
      if (exists(out)) found = out;
    }
  }
  if (locked) unlock();
  return found;
}

}  // namespace TalDB
