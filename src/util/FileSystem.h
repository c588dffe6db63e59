// Every file-system call of the store, as plain C library calls in one place.
// They stay plain calls, not an interface, so that the tests' interposer of
// open, write, fsync, rename, unlink, mkdir and rmdir reaches them; the
// utility library's file operations (gux_access, safe_write, safe_fsync,
// rename_dirfsync, the tree operations) are called where they are needed, and
// directory streams are CDirIterator's.
#ifndef TALDB_UTIL_FILESYSTEM_H
#define TALDB_UTIL_FILESYSTEM_H

#include <stddef.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace TalDB {

// The temporary file of a durable write: write-only, created or truncated.
int CreateForWrite(const char* path, mode_t mode);
// A schema file: write-only, created or truncated.
int CreateFile(const char* path, mode_t mode);
int OpenForRead(const char* path);
// A file of an open directory, by its name in it: the kernel resolves one
// name instead of the whole path from the root.
int OpenForReadAt(int dirFd, const char* name);
// read, resumed after EINTR.
ssize_t ReadSome(int fd, void* buffer, size_t size);
void CloseFile(int fd);
int RemoveFile(const char* path);
int MakeDirectory(const char* path, mode_t mode);
int RemoveDirectory(const char* path);
// stat, following symbolic links.
bool IsDirectory(const char* path);
// fstat: 0, or -1 with errno.
int StatFile(int fd, struct stat* status);
// lstat: a regular file itself, not a link to one.
bool IsPlainFile(const char* path);

// The flushes the store adds of its own, beyond the durable write's (a
// removal, a schema file, a new directory), go through fdatasync: it puts a
// file's data, and a directory's entries, on stable storage as fsync does,
// while the calls of the operations hosts know stay exactly what they were.
//
// Flushes a file's data to stable storage: 0, or -1 with errno.
int FlushFile(int fd);
// Flushes every file of the file system that holds fd (syncfs): one flush for
// a batch of files instead of one each. 0, or -1 with errno.
int FlushFileSystem(int fd);
// Flushes a directory's entries (names made, renamed or removed in it) to
// stable storage, through a descriptor opened with openat as the lock's is:
// 0, or -1 with errno.
int FlushDirectory(const char* path);

// The directory lock: a descriptor of the directory (through openat, so that
// taking the lock adds no open call to a write), and flock on it. LockFile
// waits, resumed after EINTR; false when the file system has no locks.
// Writers lock exclusively; a shared lock waits for them and they for it.
int OpenDirectoryForLock(const char* path);
bool LockFile(int fd, bool shared = false);
void UnlockFile(int fd);

}  // namespace TalDB

#endif  // TALDB_UTIL_FILESYSTEM_H
