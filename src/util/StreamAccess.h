// What the store's walks need of a directory stream beyond its public
// interface: the descriptor behind it, and for a table's own stream the path
// it was opened on and what a walk keeps of it from one step to the next.
#ifndef TALDB_UTIL_STREAMACCESS_H
#define TALDB_UTIL_STREAMACCESS_H

#include <dirent.h>
#include <stddef.h>

#include "taldb/CDirIterator.h"

namespace TalDB {

// The entries a walk of a table's stream has read from the directory and not
// yet taken: the walk fills this buffer itself, rather than through the
// stream's own, so that it knows when it reads the directory. The buffer is as
// large as the stream's own would be, so that the walk reads the directory in
// the same steps as the stream would, and sees a directory changed under it
// exactly as the stream would.
struct WalkState {
  size_t capacity;  // bytes the buffer holds, what the stream would read at a time
  size_t size;      // bytes of entries in it
  size_t offset;    // where the next entry starts
  alignas(struct dirent) char buffer[1];
};

class StreamAccess {
 public:
  // The descriptor of the open stream, or -1.
  static int descriptor(const CDirIterator& stream);
  // Opens the stream on path as open(path) does, keeps path as the stream's
  // stored path, and starts its walk state afresh. Only for a stream that is
  // never opened without a path, such as a table's own, where the stored path
  // serves nothing else.
  static int openOn(CDirIterator& stream, const char* path);
  // The descriptor, while the stream is open and was opened on exactly path;
  // -1 otherwise. A name is opened relative to it only then, so that it names
  // the file that path + "/" + name names.
  static int descriptorOn(const CDirIterator& stream, const char* path);
  // The walk state of a stream that openOn opened, empty after the open;
  // null when the stream is not open or no memory was left for it.
  static WalkState* walkState(const CDirIterator& stream);
};

inline int StreamDescriptor(const CDirIterator& stream) { return StreamAccess::descriptor(stream); }

}  // namespace TalDB

#endif  // TALDB_UTIL_STREAMACCESS_H
