// What a walk of a table directory does about writes in other processes. A
// durable write removes the old record and then renames its temporary file
// into place: a read of the directory in between sees "N.tmp" and no "N", and
// an open of "N" just after its removal finds nothing. In one process the
// table's mutex keeps writers out of a walk, so neither happens; across
// processes the walk takes the directory lock shared, which waits for the
// writer in flight and keeps the next one out while it is held.
//
// The walk holds the lock whenever it reads the directory itself: it fills a
// buffer of entries of its own (kept with the stream, see WalkState) under
// the lock, and takes names from it without. It holds it again while it looks
// at a trace of a write: a temporary file, or a record gone between the
// reading of its name and its open. Never while it reads an ordinary record,
// which may block (a FIFO) and must not keep writers of this process out
// meanwhile. So a listing costs one lock per buffer of entries, not one per
// record.
#ifndef TALDB_TABLE_READFENCE_H
#define TALDB_TABLE_READFENCE_H

#include <dirent.h>
#include <stddef.h>

#include "taldb/CDirIterator.h"
#include "util/StreamAccess.h"

namespace TalDB {

class ReadFence {
 public:
  // stream: the table's stream being walked, opened by StreamAccess::openOn.
  explicit ReadFence(CDirIterator& stream);
  ReadFence(const ReadFence&) = delete;
  ReadFence& operator=(const ReadFence&) = delete;

  // The next record name of the stream (the entries NextRecordName gives),
  // every read of the directory made under the lock.
  const char* nextName();

  // Waits for any write in flight to finish and keeps writers out until
  // unlock(). False when there is no lock to take (no stream, or a file
  // system without locks): there is nothing to wait for.
  bool lock();
  void unlock();

  // For a temporary file ("N.tmp") met by the walk: the name to read in its
  // place, after waiting for writers. The name itself while the file is still
  // there (a leftover of an interrupted write, read as any entry is); "N",
  // written into out (of kNameSize bytes), when the write finished meanwhile
  // and made it the record; null when nothing of it is left.
  static constexpr size_t kNameSize = 256;
  const char* temporary(const char* name, char* out);

 private:
  struct dirent* read();
  bool fill();
  bool exists(const char* name) const;

  CDirIterator& m_stream;
  WalkState* m_state;
  int m_fd;
};

}  // namespace TalDB

#endif  // TALDB_TABLE_READFENCE_H
