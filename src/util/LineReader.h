// Reads the first line of a small file: the bytes before its first line feed.
// Record files and schema files are both read this way. The common case, a line
// of a few hundred bytes, costs one open, one read and one close and no heap
// memory: a read that returns less than it was offered has met the end of the
// file, so no second read is spent to see it. A longer line grows a heap
// buffer as far as it goes.
#ifndef TALDB_UTIL_LINEREADER_H
#define TALDB_UTIL_LINEREADER_H

#include <stddef.h>

namespace TalDB {

class LineReader {
 public:
  enum Result { kRead, kCannotOpen, kNoMemory };

  LineReader() = default;
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  Result read(const char* path);
  // The same for the file `name` of the open directory dirFd.
  Result readAt(int dirFd, const char* name);

  // The line, NUL-terminated and writable, so that it can be split in place.
  char* data() { return m_line; }
  // Its length in bytes (a NUL byte inside the line counts).
  size_t size() const { return m_size; }

 private:
  bool grow();
  Result readOpen(int fd);

  char m_inline[4096];
  char* m_heap = nullptr;
  char* m_line = m_inline;
  size_t m_capacity = sizeof(m_inline);
  size_t m_size = 0;
};

}  // namespace TalDB

#endif  // TALDB_UTIL_LINEREADER_H
