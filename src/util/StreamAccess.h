// What the store's walks need of a directory stream beyond its public
// interface: the descriptor behind it, and for a table's own stream the path
// it was opened on.
#ifndef TALDB_UTIL_STREAMACCESS_H
#define TALDB_UTIL_STREAMACCESS_H

#include "taldb/CDirIterator.h"

namespace TalDB {

class StreamAccess {
 public:
  // The descriptor of the open stream, or -1.
  static int descriptor(const CDirIterator& stream);
  // Opens the stream on path as open(path) does, and keeps path as the
  // stream's stored path. Only for a stream that is never opened without a
  // path, such as a table's own, where the stored path serves nothing else.
  static int openOn(CDirIterator& stream, const char* path);
  // The descriptor, while the stream is open and was opened on exactly path;
  // -1 otherwise. A name is opened relative to it only then, so that it names
  // the file that path + "/" + name names.
  static int descriptorOn(const CDirIterator& stream, const char* path);
};

inline int StreamDescriptor(const CDirIterator& stream) { return StreamAccess::descriptor(stream); }

}  // namespace TalDB

#endif  // TALDB_UTIL_STREAMACCESS_H
