// A thin owner of one POSIX directory stream.
#ifndef TALDB_CDIRITERATOR_H
#define TALDB_CDIRITERATOR_H

#include <dirent.h>

#include "taldb/Export.h"

namespace TalDB {

class TALDB_EXPORT CDirIterator {
 public:
  CDirIterator();
  explicit CDirIterator(const char* path);
  ~CDirIterator();
  CDirIterator(const CDirIterator&) = delete;
  CDirIterator& operator=(const CDirIterator&) = delete;

  // Closes any open stream, then opens path; 0, or -1 when opendir fails.
  int open(const char* path);
  // The same on the path given to the constructor.
  int open();
  void close();
  // The next entry, or null at the end or without a stream.
  struct dirent* read();
  // readdir_r; 0 without touching result when no stream is open.
  int read(struct dirent* entry, struct dirent** result);
  long tell();
  void seek(long position);
  void rewind();

 private:
  // The descriptor of the open stream (-1 without one), for the library's own
  // directory lock; not part of the interface hosts use.
  friend int StreamDescriptor(const CDirIterator& stream);

  char* m_path;
  DIR* m_dir;
};

}  // namespace TalDB

#endif  // TALDB_CDIRITERATOR_H
