// Wrappers of the file-system calls, defined in the test program so that the
// shared libraries bind to them. Each passes through to the next definition
// (the C library, or a sanitizer's interceptor) unless a test armed a failure.
#include "FaultInjection.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
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

const char* const kVerbs[kCallCount] = {"open",  "write", "fsync", "rename",    "unlink",
                                        "mkdir", "rmdir", "close", "fdatasync", "syncfs"};

// False while nothing is armed or recorded, so that the wrappers then take no
// lock: a lock in every write would order threads that the store itself must
// order, and hide races from ThreadSanitizer.
std::atomic<bool> g_engaged{false};
std::mutex g_mutex;
Armed g_armed[kCallCount];
size_t g_writeLimit = 0;
bool g_recording = false;
std::vector<Recorded> g_record;
std::map<int, std::string> g_fdPaths;

void Refresh() {
  bool any = g_recording || g_writeLimit != 0;
  for (const Armed& a : g_armed) any = any || a.active;
  g_engaged.store(any, std::memory_order_relaxed);
}

// A descriptor's path is the one it was opened with while engaged; one opened
// out of sight (the directory lock's openat) is named by the kernel, so that a
// flush through it is still attributed to its directory.
std::string FdPath(int fd) {
  auto at = g_fdPaths.find(fd);
  if (at != g_fdPaths.end()) return at->second;
  char link[64], target[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  ssize_t n = readlink(link, target, sizeof target);
  return n > 0 && static_cast<size_t>(n) < sizeof target ? std::string(target, n) : "?";
}

// Describes the call into r and decides whether it fails: the errno to fail
// with, or 0 to pass through. close forgets the descriptor.
int Intercept(Recorded& r, Call call, const char* path, const char* to, int fd, int flags = 0) {
  if (!g_engaged.load(std::memory_order_relaxed)) return 0;
  std::lock_guard<std::mutex> hold(g_mutex);
  r.call = call;
  r.path = fd >= 0 ? FdPath(fd) : path;
  r.to = to != nullptr ? to : "";
  r.fd = fd;
  r.flags = flags;
  if (call == kClose) g_fdPaths.erase(fd);
  Armed& a = g_armed[call];
  if (!a.active || text(r).find(a.pathContains) == std::string::npos || --a.remaining != 0)
    return 0;
  a.active = false;
  Refresh();
  return a.err;
}

// Keeps what the call returned (for open the descriptor, which takes the
// path's name; for write the bytes taken) and adds the call to the record.
void Note(Recorded& r, long result, const void* bytes = nullptr) {
  if (!g_engaged.load(std::memory_order_relaxed) || r.call == kCallCount) return;
  int error = errno;
  std::lock_guard<std::mutex> hold(g_mutex);
  r.result = result;
  if (r.call == kOpen && result >= 0) g_fdPaths[r.fd = static_cast<int>(result)] = r.path;
  if (bytes != nullptr && result > 0) r.data.assign(static_cast<const char*>(bytes), result);
  if (g_recording) g_record.push_back(std::move(r));
  errno = error;
}

template <class F>
F Next(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

int Open(const char* name, const char* path, int flags, va_list args) {
  static auto real = Next<int (*)(const char*, int, ...)>(name);
  mode_t mode = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, mode_t) : 0;
  Recorded r;
  int err = Intercept(r, kOpen, path, nullptr, -1, flags);
  int fd = err != 0 ? -1 : real(path, flags, mode);
  if (err != 0) errno = err;
  Note(r, fd);
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
  // Descriptors opened before now may have been closed unseen; the kernel
  // names them afresh.
  g_fdPaths.clear();
  g_recording = true;
  Refresh();
}

std::string text(const Recorded& call) {
  return std::string(kVerbs[call.call]) + " " + call.path + (call.to.empty() ? "" : " " + call.to);
}

std::vector<std::string> stopRecording(std::vector<Recorded>* calls) {
  std::lock_guard<std::mutex> hold(g_mutex);
  g_recording = false;
  Refresh();
  std::vector<std::string> texts;
  for (const Recorded& r : g_record) texts.push_back(text(r));
  if (calls != nullptr) *calls = std::move(g_record);
  g_record.clear();
  return texts;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCanFailAllocations = false;
#else
constexpr bool kCanFailAllocations = true;
#endif
std::atomic<size_t> g_allocAtLeast{0}, g_allocExactly{0};

bool failAllocations(size_t atLeast, size_t exactly) {
  if (!kCanFailAllocations) return false;
  g_allocAtLeast = atLeast;
  g_allocExactly = exactly;
  return true;
}

bool AllocationFails(size_t n) {
  size_t least = g_allocAtLeast.load(std::memory_order_relaxed);
  size_t exactly = g_allocExactly.load(std::memory_order_relaxed);
  return (least != 0 && n >= least) || (exactly != 0 && n == exactly);
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
#define CALL(call, verb, Signature, path, to, fd, ...)                \
  INTERPOSE int verb Signature {                                      \
    static auto real = Next<int(*) Signature>(#verb);                 \
    Recorded r;                                                       \
    int err = Intercept(r, call, path, to, fd);                       \
    int result = err == 0 || call == kClose ? real(__VA_ARGS__) : -1; \
    if (err != 0) errno = err, result = -1;                           \
    Note(r, result);                                                  \
    return result;                                                    \
  }
CALL(kFsync, fsync, (int fd), nullptr, nullptr, fd, fd)
CALL(kFdatasync, fdatasync, (int fd), nullptr, nullptr, fd, fd)
CALL(kSyncfs, syncfs, (int fd), nullptr, nullptr, fd, fd)
CALL(kClose, close, (int fd), nullptr, nullptr, fd, fd)
CALL(kRename, rename, (const char* from, const char* to), from, to, -1, from, to)
CALL(kUnlink, unlink, (const char* path), path, nullptr, -1, path)
CALL(kMkdir, mkdir, (const char* path, mode_t mode), path, nullptr, -1, path, mode)
CALL(kRmdir, rmdir, (const char* path), path, nullptr, -1, path)

INTERPOSE ssize_t write(int fd, const void* buffer, size_t count) {
  static auto real = Next<ssize_t (*)(int, const void*, size_t)>("write");
  Recorded r;
  int err = Intercept(r, kWrite, nullptr, nullptr, fd);
  // The limit is set only while no store call runs, and read only while engaged.
  size_t limit = g_engaged.load(std::memory_order_relaxed) ? g_writeLimit : 0;
  ssize_t written = err != 0 ? -1 : real(fd, buffer, limit != 0 && count > limit ? limit : count);
  if (err != 0) errno = err;
  Note(r, written, buffer);
  return written;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The C library's allocator under its own names, so that the wrappers need no
// lookup that could itself allocate.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_realloc(void*, size_t);

INTERPOSE void* malloc(size_t n) {
  return fault::AllocationFails(n) ? errno = ENOMEM, nullptr : __libc_malloc(n);
}

INTERPOSE void* realloc(void* p, size_t n) {
  return n != 0 && fault::AllocationFails(n) ? errno = ENOMEM, nullptr : __libc_realloc(p, n);
}
#endif
