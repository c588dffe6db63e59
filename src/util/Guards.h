// The checks and the locks that the table and database operations share: the
// lock check every locked table operation begins with, the guard that holds a
// table's mutex for one call, and the mutex itself, shared by a table and its
// copies.
#ifndef TALDB_UTIL_GUARDS_H
#define TALDB_UTIL_GUARDS_H

#include <pthread.h>

namespace TalDB {

// A table built without a mutex refuses locked work with the one message for
// it; the caller returns its own code (20, -1 or false).
bool LockAcquired(const pthread_mutex_t* mutex);

// Refuses a null text argument with code 20 and "invalid parameter".
bool ParamsPresent(const void* a, const void* b = "", const void* c = "");

// A table's mutex, counted so that it lives as long as the last table object
// that refers to it: copies share their source's mutex, and an assignment must
// be able to let go of the one the target had without pulling it away from
// that target's own copies. Null (with "no memory" logged) without memory.
pthread_mutex_t* NewSharedMutex();
// Counts one more user; returns the mutex (null stays null).
pthread_mutex_t* ShareMutex(pthread_mutex_t* mutex);
// Counts one user less and destroys the mutex with the last one.
void ReleaseMutex(pthread_mutex_t* mutex);

// What an allocating group write (CTable::addRecords) leaves for the next one
// through the same mutex: the table directory as that write left it (its
// identity, size and times) and the largest id it wrote. It lives beside the
// mutex, so that it takes no room in the table object and is shared by the
// copies that share the mutex (and so take turns on it); it is read and
// written only with the mutex held. set is false until a write leaves a mark.
struct IdMark {
  bool set;
  unsigned long device, inode, links;
  long size, modified[2], changed[2];
  unsigned int largest;
};
// The mark kept beside a mutex made by NewSharedMutex (which clears it).
IdMark* IdMarkOf(pthread_mutex_t* mutex);

// Holds a table's mutex for one call and releases it on every way out.
class MutexGuard {
 public:
  explicit MutexGuard(pthread_mutex_t* mutex) : m_mutex(mutex) { pthread_mutex_lock(m_mutex); }
  ~MutexGuard() { pthread_mutex_unlock(m_mutex); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  pthread_mutex_t* m_mutex;
};

}  // namespace TalDB

#endif  // TALDB_UTIL_GUARDS_H
