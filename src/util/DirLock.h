// The advisory lock that keeps processes apart on writes to one table directory. Threads of one
// process are kept apart by the table's mutex; this lock is taken after the mutex, on the table
// directory itself, so that every process (and every separately made table object of one process)
// writing to the same directory waits for the others.
//
// It is advisory: only writers that take it are excluded. A reader that must not see a write half
// done (the old record removed, the new one not yet renamed into place) takes it shared: it then
// waits for writers, and they for it. The store's own walks do so while they read the directory
// (see table/ReadFence), the taldb tool while it checks what a command did. When the file system
// has no locks, or the directory cannot be opened, the work goes on without one, exactly as in a
// single process.
#ifndef TALDB_UTIL_DIRLOCK_H
#define TALDB_UTIL_DIRLOCK_H

namespace TalDB {

class CDirIterator;

class DirLock {
 public:
  DirLock() = default;
  // Releases the lock, and closes the descriptor when the lock opened it.
  ~DirLock();
  DirLock(const DirLock&) = delete;
  DirLock& operator=(const DirLock&) = delete;

  // Locks the directory at path through a descriptor of its own. openat is
  // used instead of open so that the file-system calls of the durable write
  // stay the only open calls a write makes.
  void lockPath(const char* path, bool shared = false);
  // Locks the directory behind an open stream, which a scan opened anyway; the
  // stream stays open, so the lock is released explicitly.
  void lockStream(CDirIterator& stream);
  // Flushes the locked directory's entries, so that a removal that a call
  // acknowledges is on disk when it returns: through the lock's descriptor,
  // or one of its own for path when no lock could be taken.
  int flush(const char* path) const;
  // Whether the lock is held: false when the directory could not be opened
  // or its file system has no locks.
  bool held() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
  bool m_ownsFd = false;
};

}  // namespace TalDB

#endif  // TALDB_UTIL_DIRLOCK_H
