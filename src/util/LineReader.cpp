#include "util/LineReader.h"

#include <stdlib.h>
#include <string.h>

#include "util/FileSystem.h"

namespace TalDB {

LineReader::~LineReader() { free(m_heap); }

bool LineReader::grow() {
  size_t capacity = m_capacity * 2;
  char* grown = static_cast<char*>(realloc(m_heap, capacity));
  if (grown == nullptr) return false;
  if (m_heap == nullptr) memcpy(grown, m_inline, m_size);
  m_heap = grown;
  m_line = grown;
  m_capacity = capacity;
  return true;
}

LineReader::Result LineReader::read(const char* path) {
  m_size = 0;
  m_line[0] = '\0';
  int fd = OpenForRead(path);
  return fd < 0 ? kCannotOpen : readOpen(fd);
}

LineReader::Result LineReader::readAt(int dirFd, const char* name) {
  m_size = 0;
  m_line[0] = '\0';
  int fd = OpenForReadAt(dirFd, name);
  return fd < 0 ? kCannotOpen : readOpen(fd);
}

LineReader::Result LineReader::readOpen(int fd) {
  Result result = kRead;
  for (;;) {
    // One byte stays free for the terminating NUL.
    if (m_size + 1 == m_capacity && !grow()) {
      result = kNoMemory;
      break;
    }
    size_t offered = m_capacity - 1 - m_size;
    ssize_t got = ReadSome(fd, m_line + m_size, offered);
    // An unreadable rest counts as the end of the file: what was read stands.
    if (got <= 0) break;
    const char* feed = static_cast<const char*>(memchr(m_line + m_size, '\n', got));
    if (feed != nullptr) {
      m_size = feed - m_line;
      break;
    }
    m_size += got;
    if (static_cast<size_t>(got) < offered) break;
  }
  CloseFile(fd);
  m_line[m_size] = '\0';
  return result;
}

}  // namespace TalDB
