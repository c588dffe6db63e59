// What a walk of a table directory does about writes in other processes. A
// durable write removes the old record and then renames its temporary file
// into place: a walk that reads the directory in between sees "N.tmp" and no
// "N", and one that opens "N" just after its removal finds nothing. In one
// process the table's mutex keeps writers out of a walk, so neither happens;
// across processes the walk takes the directory lock shared, but only when it
// meets one of these traces, so that an ordinary walk costs no lock at all.
// Holding it, the walk waits for the writer to finish, then looks again.
#ifndef TALDB_TABLE_READFENCE_H
#define TALDB_TABLE_READFENCE_H

#include <stddef.h>

namespace TalDB {

class ReadFence {
 public:
  // dirFd: the descriptor of the directory stream being walked (-1: none);
  // dir: the table directory, by which names are read.
  ReadFence(int dirFd, const char* dir) : m_fd(dirFd), m_dir(dir) {}
  // Releases the lock at the end of the walk step.
  ~ReadFence();
  ReadFence(const ReadFence&) = delete;
  ReadFence& operator=(const ReadFence&) = delete;

  // Waits for any write in flight to finish and keeps writers out until the
  // end of the step. False when it had waited already: nothing new to see.
  bool settle();

  // For a temporary file ("N.tmp") met by the walk: the name to read in its
  // place, after waiting for writers. The name itself while the file is still
  // there (a leftover of an interrupted write, read as any entry is); "N",
  // written into out (of kNameSize bytes), when the write finished meanwhile
  // and made it the record; null when nothing of it is left.
  static constexpr size_t kNameSize = 256;
  const char* temporary(const char* name, char* out);

 private:
  bool exists(const char* name) const;

  int m_fd;
  const char* m_dir;
  bool m_locked = false;
};

}  // namespace TalDB

#endif  // TALDB_TABLE_READFENCE_H
