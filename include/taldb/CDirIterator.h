// A thin owner of one POSIX directory stream: it closes the stream when it
// is reopened, closed or destroyed. Not thread-safe: one stream, one user at a
// time. Without an open stream every operation does nothing and reads null.
#ifndef TALDB_CDIRITERATOR_H
#define TALDB_CDIRITERATOR_H

#include <dirent.h>

#include "taldb/Export.h"

namespace TalDB {

class CDirIterator {
 public:
  TALDB_EXPORT CDirIterator();
  TALDB_EXPORT explicit CDirIterator(const char* path);
  TALDB_EXPORT ~CDirIterator();
  CDirIterator(const CDirIterator&) = delete;
  CDirIterator& operator=(const CDirIterator&) = delete;

  // Closes any open stream, then opens path; 0, or -1 when opendir fails.
  TALDB_EXPORT int open(const char* path);
  // The same on the path given to the constructor.
  TALDB_EXPORT int open();
  TALDB_EXPORT void close();
  // The next entry, or null at the end or without a stream.
  TALDB_EXPORT struct dirent* read();
  // readdir_r; 0 without touching result when no stream is open.
  TALDB_EXPORT int read(struct dirent* entry, struct dirent** result);
  TALDB_EXPORT long tell();
  TALDB_EXPORT void seek(long position);
  TALDB_EXPORT void rewind();

 private:
  // The library's own walks and directory lock reach the descriptor of the
  // open stream; not part of the interface hosts use.
  friend class StreamAccess;

  char* m_path;
  DIR* m_dir;
};

}  // namespace TalDB

#endif  // TALDB_CDIRITERATOR_H
