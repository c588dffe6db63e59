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

#include "util/Guards.h"

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
// With absent, the caller has found no file at any entry's name (AnyInPlace,
// under the same locks): there is no old file to look for or remove.
size_t DurableGroupWrite(const char* dir, int dirFd, const GroupEntry* entries, size_t count,
                         bool absent, int* status);

// ---- Ids without a scan of the directory for every batch.
//
// An allocating batch takes its ids counting up from the largest record
// number. Scanning the whole directory for it costs every batch of a long
// import a read of every name written so far, so an import grows quadratic.
// Instead a batch leaves a mark (beside the table's mutex, see IdMark): the
// directory's identity, size and change times as it left them, under the
// exclusive directory lock, and the largest id it wrote. The next batch,
// under the lock again, takes the ids after the mark's largest when the
// directory still shows the same identity, size and times, since then no
// writer of the store has changed it in between.
//
// The times alone could be fooled: a file system stamps a change with a clock
// that may tick only every few milliseconds, so a change made by another
// process in the same tick as the marked batch leaves the times as marked
// (kernels with multigrain time stamps give it a finer one, but not every
// kernel has them). That is why a batch that takes its ids from a mark also
// tests, still under the lock, that no file stands at any of those ids
// (AnyInPlace), and scans after all when one does. The test is the existence
// test that the group write makes of every name before its rename anyway,
// made earlier; so an id is never given twice and a record never replaced by
// an allocating batch, whatever the clock does, while the only thing a fooled
// mark can change is which free ids a batch takes (ids after the mark's,
// below a record that another process wrote meanwhile, rather than after
// it).

// Whether the directory behind dirFd is still as the mark left it.
bool MarkHolds(const IdMark& mark, int dirFd);
// Marks the directory behind dirFd as a batch that wrote ids up to largest
// leaves it; clears the mark when it cannot be read.
void SetMark(IdMark& mark, int dirFd, unsigned int largest);
// Whether a file (or anything else) stands at the name of any entry.
bool AnyInPlace(const char* dir, const GroupEntry* entries, size_t count);

}  // namespace TalDB

#endif  // TALDB_TABLE_GROUPWRITE_H
