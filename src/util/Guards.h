// The checks and the lock holder that the table and database operations share.
#ifndef TALDB_UTIL_GUARDS_H
#define TALDB_UTIL_GUARDS_H

#include <pthread.h>

namespace TalDB {

// The lock check every locked table operation begins with: a table built
// without a mutex refuses the work, with the one message for it.
bool LockAcquired(const pthread_mutex_t* mutex);

// Refuses a null text argument with code 20 and "invalid parameter".
bool ParamsPresent(const void* a, const void* b = "", const void* c = "");

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
