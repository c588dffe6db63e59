#include "util/Guards.h"

#include "gux.h"

namespace TalDB {

bool LockAcquired(const pthread_mutex_t* mutex) {
  if (mutex != nullptr) return true;
  ErrorA(20, "Thread lock is not acquired, cannot proceed!");
  return false;
}

bool ParamsPresent(const void* a, const void* b, const void* c) {
  if (a != nullptr && b != nullptr && c != nullptr) return true;
  ErrorA(20, "invalid parameter");
  return false;
}

}  // namespace TalDB
