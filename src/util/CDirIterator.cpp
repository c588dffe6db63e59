#include "taldb/CDirIterator.h"

#include <stdlib.h>
#include <string.h>

namespace TalDB {

CDirIterator::CDirIterator() : m_path(strdup("")), m_dir(nullptr) {}

CDirIterator::CDirIterator(const char* path)
    : m_path(strdup(path != nullptr ? path : "")), m_dir(nullptr) {}

CDirIterator::~CDirIterator() {
  close();
  free(m_path);
}

int CDirIterator::open(const char* path) {
  close();
  if (path == nullptr) return -1;
  m_dir = opendir(path);
  return m_dir != nullptr ? 0 : -1;
}

int CDirIterator::open() { return open(m_path != nullptr ? m_path : ""); }

void CDirIterator::close() {
  if (m_dir != nullptr) {
    closedir(m_dir);
    m_dir = nullptr;
  }
}

struct dirent* CDirIterator::read() {
  return m_dir != nullptr ? readdir(m_dir) : nullptr;
}

int CDirIterator::read(struct dirent* entry, struct dirent** result) {
  if (m_dir == nullptr) return 0;
    // The reentrant form is part of the interface hosts use, deprecated or not.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  return readdir_r(m_dir, entry, result);
#pragma GCC diagnostic pop
}

long CDirIterator::tell() { return m_dir != nullptr ? telldir(m_dir) : 0; }

void CDirIterator::seek(long position) {
  if (m_dir != nullptr) seekdir(m_dir, position);
}

void CDirIterator::rewind() {
  if (m_dir != nullptr) rewinddir(m_dir);
}

}  // namespace TalDB
