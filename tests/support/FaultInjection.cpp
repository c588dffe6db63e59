// Wrappers of the file-system calls, defined in the test program so that the
// shared libraries bind to them. Each passes through to the next definition
// (the C library, or a sanitizer's interceptor) unless a test armed a failure.
#include "FaultInjection.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <mutex>

namespace fault {
namespace {

struct Armed {
  bool active = false;
  int err = 0;
  int remaining = 0;
  std::string pathContains;
};

std::atomic<bool> g_engaged{false};  // anything armed or recording
std::mutex g_mutex;
Armed g_armed[kCallCount];
size_t g_writeLimit = 0;
bool g_recording = false;
std::vector<std::string> g_record;
std::map<int, std::string> g_fdPaths;
thread_local bool t_inside = false;

void Refresh() {
  bool any = g_recording || g_writeLimit != 0;
  for (const Armed& a : g_armed) any = any || a.active;
  g_engaged.store(any, std::memory_order_relaxed);
}

std::string FdPath(int fd) {
  auto at = g_fdPaths.find(fd);
  return at != g_fdPaths.end() ? at->second : "?";
}

// Records the call and decides whether it fails; returns the errno to fail
// with, or 0 to pass through.
int Intercept(Call call, const char* verb, const std::string& path) {
  if (!g_engaged.load(std::memory_order_relaxed) || t_inside) return 0;
  t_inside = true;
  int fail = 0;
  {
    std::lock_guard<std::mutex> hold(g_mutex);
    if (g_recording) g_record.push_back(std::string(verb) + " " + path);
    Armed& a = g_armed[call];
    if (a.active && (a.pathContains.empty() || path.find(a.pathContains) != std::string::npos) &&
        --a.remaining == 0) {
      a.active = false;
      fail = a.err;
      Refresh();
    }
  }
  t_inside = false;
  return fail;
}

template <class F>
F Next(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

void RememberFd(int fd, const char* path) {
  if (fd < 0 || !g_engaged.load(std::memory_order_relaxed) || t_inside) return;
  std::lock_guard<std::mutex> hold(g_mutex);
  g_fdPaths[fd] = path;
}

std::string PathOfFd(int fd) {
  if (!g_engaged.load(std::memory_order_relaxed) || t_inside) return "?";
  std::lock_guard<std::mutex> hold(g_mutex);
  return FdPath(fd);
}

int OpenCommon(const char* name, const char* path, int flags, mode_t mode) {
  using OpenFn = int (*)(const char*, int, ...);
  static OpenFn real = Next<OpenFn>(name);
  if (int err = Intercept(kOpen, "open", path)) {
    errno = err;
    return -1;
  }
  int fd = real(path, flags, mode);
  RememberFd(fd, path);
  return fd;
}

mode_t ModeArgument(int flags, va_list args) {
  return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, mode_t) : 0;
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
  std::vector<std::string> out;
  out.swap(g_record);
  return out;
}

void reset() {
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
#define INTERPOSE __attribute__((visibility("default")))

extern "C" {

// open64 is what code built with large-file support calls by that name.
#define OPEN_CALL(verb)                                  \
  INTERPOSE int verb(const char* path, int flags, ...) { \
    va_list args;                                        \
    va_start(args, flags);                               \
    mode_t mode = ModeArgument(flags, args);             \
    va_end(args);                                        \
    return OpenCommon(#verb, path, flags, mode);         \
  }

OPEN_CALL(open)
OPEN_CALL(open64)

INTERPOSE ssize_t write(int fd, const void* buffer, size_t count) {
  static auto real = Next<ssize_t (*)(int, const void*, size_t)>("write");
  if (g_engaged.load(std::memory_order_relaxed) && !t_inside) {
    if (int err = Intercept(kWrite, "write", PathOfFd(fd))) {
      errno = err;
      return -1;
    }
    size_t limit = g_writeLimit;
    if (limit != 0 && count > limit) count = limit;
  }
  return real(fd, buffer, count);
}

INTERPOSE int close(int fd) {
  static auto real = Next<int (*)(int)>("close");
  if (g_engaged.load(std::memory_order_relaxed) && !t_inside) {
    std::string path = PathOfFd(fd);
    int err = Intercept(kClose, "close", path);
    {
      std::lock_guard<std::mutex> hold(g_mutex);
      g_fdPaths.erase(fd);
    }
    if (err != 0) {
      real(fd);
      errno = err;
      return -1;
    }
  }
  return real(fd);
}

// The calls that take a path: each fails as armed or passes through.
#define PATH_CALL(call, verb, Result, Signature, path, ...) \
  INTERPOSE Result verb Signature {                         \
    static auto real = Next<Result(*) Signature>(#verb);    \
    if (int err = Intercept(call, #verb, path)) {           \
      errno = err;                                          \
      return -1;                                            \
    }                                                       \
    return real(__VA_ARGS__);                               \
  }

PATH_CALL(kFsync, fsync, int, (int fd), PathOfFd(fd), fd)
PATH_CALL(kRename, rename, int, (const char* from, const char* to), std::string(from) + " " + to,
          from, to)
PATH_CALL(kUnlink, unlink, int, (const char* path), path, path)
PATH_CALL(kMkdir, mkdir, int, (const char* path, mode_t mode), path, path, mode)
PATH_CALL(kRmdir, rmdir, int, (const char* path), path, path)

}  // extern "C"
