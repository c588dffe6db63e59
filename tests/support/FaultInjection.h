// Fault injection for the file-system calls of the store and the utility
// library. The test program defines open, write, fsync, fdatasync, syncfs,
// rename, unlink, mkdir, rmdir and close itself; the shared libraries bind to
// those, which pass through to the C library unless a test armed a failure.
#ifndef TALDB_TESTS_FAULTINJECTION_H
#define TALDB_TESTS_FAULTINJECTION_H

#include <stddef.h>

#include <string>
#include <vector>

namespace fault {

enum Call {
  kOpen,
  kWrite,
  kFsync,
  kRename,
  kUnlink,
  kMkdir,
  kRmdir,
  kClose,
  kFdatasync,
  kSyncfs,  // flushes every file of a file system: the group write's one flush
  kCallCount
};

// Makes the nth call (1-based, counted from now) of `call` fail once with
// errno `err`, counting only calls whose text (see startRecording) contains
// pathContains when given. One failure per call kind is armed at a time.
void failCall(Call call, int err, int nth = 1, const char* pathContains = nullptr);

// Every write hands at most maxBytes to the C library (0 lifts the limit), so
// callers see partial writes.
void limitWrite(size_t maxBytes);

// One intercepted call, with what a replay of it needs.
struct Recorded {
  Call call = kCallCount;
  std::string path;  // the path named, or the descriptor's path ("?" unknown)
  std::string to;    // rename's target
  int fd = -1;       // the descriptor used, or the one open returned
  int flags = 0;     // open's flags
  std::string data;  // the bytes the C library took from write
  long result = -1;  // what the call returned; -1 when it failed
};

// Records the intercepted calls from now on, each as "<verb> <path>" ("rename
// <from> <to>"), where a descriptor's path is the one it was opened with or,
// for one opened out of sight, what /proc/self/fd names. stopRecording returns
// those texts, and the calls in full through `calls`.
void startRecording();
std::vector<std::string> stopRecording(std::vector<Recorded>* calls = nullptr);
std::string text(const Recorded& call);

// While armed, every allocation (malloc, realloc, and new through them) of at
// least `atLeast` bytes fails, and every one of exactly `exactly` bytes (0
// arms neither). False, and nothing armed, in a sanitizer build, whose own
// allocator the test program must not replace.
bool failAllocations(size_t atLeast, size_t exactly = 0);

// Disarms everything; the test fixture calls it after each test.
void reset();

}  // namespace fault

#endif  // TALDB_TESTS_FAULTINJECTION_H
