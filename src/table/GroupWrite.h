// The durable write of a batch of records into one table directory: each
// record goes to its own NAME.tmp and is renamed into its own NAME, exactly
// as a single durable write does, but the flushes are shared by the batch.
// Every temporary file is written first, then the file system is flushed
// once (so that each file's data is on disk before any rename), then the old
// files are removed and the temporary files renamed in order, then the
// directory is flushed once. A batch of a thousand records costs two flushes
// instead of two thousand.
#ifndef TALDB_TABLE_GROUPWRITE_H
#define TALDB_TABLE_GROUPWRITE_H

#include <stddef.h>

namespace TalDB {

struct GroupEntry {
  unsigned int id;      // the record's name is this id printed with "%i"
  const char* content;  // the record line
  size_t length;
  bool skip;  // replaced by a later entry of the same id: nothing to write
};

// Writes the entries into dir (a table directory, held under the caller's
// locks; dirFd its descriptor, or -1). Returns how many entries, the first
// ones in order, are on stable storage; *status is 0 when all are, else 20
// after logging the failed step. Nothing of the rest is left in place: their
// temporary files are removed, so that repair never finishes a record that was
// reported not written. A crash leaves only what repair finishes or removes:
// temporary files flushed or not yet renamed, and records renamed into place.
size_t DurableGroupWrite(const char* dir, int dirFd, const GroupEntry* entries, size_t count,
                         int* status);

}  // namespace TalDB

#endif  // TALDB_TABLE_GROUPWRITE_H
