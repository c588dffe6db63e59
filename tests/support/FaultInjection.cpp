// Wrappers of the file-system calls, defined in the test program so that the
// shared libraries bind to them. Each passes through to the next definition
// (the C library, or a sanitizer's interceptor) unless a test armed a failure.
#include "FaultInjection.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <mutex>

namespace fault {
namespace {

struct Armed {
  bool active = false;
  int err = 0, remaining = 0;
  std::string pathContains;
};

// False while nothing is armed or recorded, so that the wrappers then take no
// lock: a lock in every write would order threads that the store itself must
// order, and hide races from ThreadSanitizer.
std::atomic<bool> g_engaged{false};
std::mutex g_mutex;
Armed g_armed[kCallCount];
size_t g_writeLimit = 0;
bool g_recording = false;
std::vector<std::string> g_record;
std::map<int, std::string> g_fdPaths;

void Refresh() {
  bool any = g_recording || g_writeLimit != 0;
  for (const Armed& a : g_armed) any = any || a.active;
  g_engaged.store(any, std::memory_order_relaxed);
}

// Records the call and decides whether it fails: the errno to fail with, or 0
// to pass through. A descriptor's path is the one it was opened with; open
// names the path, close forgets it.
int Intercept(Call call, const char* verb, std::string path, int fd = -1) {
  if (!g_engaged.load(std::memory_order_relaxed)) return 0;
  std::lock_guard<std::mutex> hold(g_mutex);
  if (fd >= 0) {
    auto at = g_fdPaths.find(fd);
    path = at != g_fdPaths.end() ? at->second : "?";
    if (call == kClose) g_fdPaths.erase(fd);
  }
  if (g_recording) g_record.push_back(std::string(verb) + " " + path);
  Armed& a = g_armed[call];
  if (!a.active || path.find(a.pathContains) == std::string::npos || --a.remaining != 0) return 0;
  a.active = false;
  Refresh();
  return a.err;
}

template <class F>
F Next(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

int Open(const char* name, const char* path, int flags, va_list args) {
  static auto real = Next<int (*)(const char*, int, ...)>(name);
  mode_t mode = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, mode_t) : 0;
  if (int err = Intercept(kOpen, "open", path)) {
    errno = err;
    return -1;
  }
  int fd = real(path, flags, mode);
  if (fd >= 0 && g_engaged.load(std::memory_order_relaxed)) {
    std::lock_guard<std::mutex> hold(g_mutex);
    g_fdPaths[fd] = path;
  }
  return fd;
}

}  // namespace

void failCall(Call call, int err, int nth, const char* pathContains) {
  std::lock_guard<std::mutex> hold(g_mutex);
  g_armed[call] = {true, err, nth, pathContains != nullptr ? pathContains : ""};
  Refresh();
}

void limitWrite(size_t maxBytes) {
  std::lock_guard<std::mutex> hold(g_mutex);
  g_writeLimit = maxBytes;
  Refresh();
}

void startRecording() {
  std::lock_guard<std::mutex> hold(g_mutex);
  g_record.clear();
  g_recording = true;
  Refresh();
}

std::vector<std::string> stopRecording() {
  std::lock_guard<std::mutex> hold(g_mutex);
  g_recording = false;
  Refresh();
  return std::move(g_record);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCanFailAllocations = false;
#else
constexpr bool kCanFailAllocations = true;
#endif
std::atomic<size_t> g_allocAtLeast{0}, g_allocExactly{0};
std::atomic<int> g_allocFailed{0};

bool failAllocations(size_t atLeast, size_t exactly) {
  if (!kCanFailAllocations) return false;
  g_allocFailed = 0;
  g_allocAtLeast = atLeast;
  g_allocExactly = exactly;
  return true;
}

int failedAllocations() { return g_allocFailed; }

// Whether an allocation of n bytes fails now.
bool AllocationFails(size_t n) {
  size_t least = g_allocAtLeast.load(std::memory_order_relaxed);
  size_t exactly = g_allocExactly.load(std::memory_order_relaxed);
  if ((least == 0 || n < least) && (exactly == 0 || n != exactly)) return false;
  g_allocFailed.fetch_add(1, std::memory_order_relaxed);
  return true;
}

void reset() {
  failAllocations(0, 0);
  std::lock_guard<std::mutex> hold(g_mutex);
  for (Armed& a : g_armed) a = Armed();
  g_writeLimit = 0;
  g_recording = false;
  g_record.clear();
  g_fdPaths.clear();
  Refresh();
}

}  // namespace fault

using namespace fault;

// The build hides symbols by default; these must reach the shared libraries.
#define INTERPOSE extern "C" __attribute__((visibility("default")))

// open64 is what code built with large-file support calls by that name.
#define OPEN_CALL(verb)                                  \
  INTERPOSE int verb(const char* path, int flags, ...) { \
    va_list args;                                        \
    va_start(args, flags);                               \
    int fd = Open(#verb, path, flags, args);             \
    va_end(args);                                        \
    return fd;                                           \
  }
OPEN_CALL(open)
OPEN_CALL(open64)

// Each call fails as armed or passes through; a failed close still closes.
#define CALL(call, verb, Result, Signature, path, fd, ...) \
  INTERPOSE Result verb Signature {                        \
    static auto real = Next<Result(*) Signature>(#verb);   \
    if (int err = Intercept(call, #verb, path, fd)) {      \
      if (call == kClose) real(__VA_ARGS__);               \
      errno = err;                                         \
      return -1;                                           \
    }                                                      \
    return real(__VA_ARGS__);                              \
  }
CALL(kFsync, fsync, int, (int fd), "", fd, fd)
CALL(kClose, close, int, (int fd), "", fd, fd)
CALL(kRename, rename, int, (const char* from, const char* to), std::string(from) + " " + to, -1,
     from, to)
CALL(kUnlink, unlink, int, (const char* path), path, -1, path)
CALL(kMkdir, mkdir, int, (const char* path, mode_t mode), path, -1, path, mode)
CALL(kRmdir, rmdir, int, (const char* path), path, -1, path)

INTERPOSE ssize_t write(int fd, const void* buffer, size_t count) {
  static auto real = Next<ssize_t (*)(int, const void*, size_t)>("write");
  if (int err = Intercept(kWrite, "write", "", fd)) {
    errno = err;
    return -1;
  }
  // Set only while no store call runs, and read only while engaged.
  size_t limit = g_engaged.load(std::memory_order_relaxed) ? g_writeLimit : 0;
  return real(fd, buffer, limit != 0 && count > limit ? limit : count);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The C library's allocator under its own names, so that the wrappers need no
// lookup that could itself allocate.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_realloc(void*, size_t);

INTERPOSE void* malloc(size_t n) {
  if (fault::AllocationFails(n)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(n);
}

INTERPOSE void* realloc(void* p, size_t n) {
  if (n != 0 && fault::AllocationFails(n)) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_realloc(p, n);
}
#endif
