#include "util/Guards.h"

#include <stddef.h>

#include <atomic>
#include <new>
#include <type_traits>

#include "gux.h"
#include "util/Status.h"

namespace TalDB {

namespace {

// The table holds a pointer to the mutex alone, as hosts see it; the count
// lives beside it. The mutex is the first member of a standard-layout
// struct, so a pointer to it is a pointer to the whole.
struct SharedMutex {
  pthread_mutex_t mutex;
  std::atomic<int> users;
  IdMark mark;
};
static_assert(std::is_standard_layout<SharedMutex>::value && offsetof(SharedMutex, mutex) == 0,
              "the mutex must start the shared block");

SharedMutex* BlockOf(pthread_mutex_t* mutex) { return reinterpret_cast<SharedMutex*>(mutex); }

}  // namespace

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

pthread_mutex_t* NewSharedMutex() {
  SharedMutex* shared = new (std::nothrow) SharedMutex;
  if (shared == nullptr) {
    NoMemory();
    return nullptr;
  }
  pthread_mutex_init(&shared->mutex, nullptr);
  shared->users = 1;
  shared->mark = IdMark();
  return &shared->mutex;
}

pthread_mutex_t* ShareMutex(pthread_mutex_t* mutex) {
  if (mutex != nullptr) BlockOf(mutex)->users++;
  return mutex;
}

IdMark* IdMarkOf(pthread_mutex_t* mutex) { return &BlockOf(mutex)->mark; }

void ReleaseMutex(pthread_mutex_t* mutex) {
  if (mutex == nullptr) return;
  SharedMutex* shared = BlockOf(mutex);
  if (--shared->users == 0) {
    pthread_mutex_destroy(&shared->mutex);
    delete shared;
  }
}

}  // namespace TalDB
