// The utility library that the store imports: logging, text helpers, durable
// file operations, directory trees, INI access and the host's configuration.
//
// libgux.so is our stand-in for the host's own library; the store reaches the
// file system through these calls (and plain libc), never around them.
#ifndef GUX_H
#define GUX_H

#include <pthread.h>
#include <stddef.h>
#include <sys/types.h>

#define GUX_EXPORT __attribute__((visibility("default")))

// ---- Logging ----------------------------------------------------------------

enum { GUX_LOG_ERROR = 0, GUX_LOG_INFO = 1, GUX_LOG_TRACE = 2 };

// Receives every message as one formatted text without a line end.
typedef void (*GuxLogSink)(int level, int code, const char* message, void* context);

// A null sink restores the default, which writes one line per message to
// standard error.
GUX_EXPORT void gux_set_log_sink(GuxLogSink sink, void* context);

GUX_EXPORT void ErrorA(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
GUX_EXPORT void InfoA(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Always logs; callers test __guxlog_trace_location first.
GUX_EXPORT void __TraceA(const char* format, ...) __attribute__((format(printf, 1, 2)));
GUX_EXPORT extern int __guxlog_trace_location;

// ---- Text -------------------------------------------------------------------

// Copies at most size-1 bytes and terminates; size 0 writes nothing.
GUX_EXPORT size_t guxstrcpy(char* dst, const char* src, size_t size);
// Copies min(count, strlen(src), size-1) bytes and terminates.
GUX_EXPORT size_t guxstrncpy(char* dst, const char* src, size_t size, size_t count);
GUX_EXPORT long gux_strtol(const char* text, char** end, int base);

// Flag 0x10 marks the white-space characters.
GUX_EXPORT extern const unsigned char guxascii_ctype_table[128];

// The in-place tokeniser: returns the text up to the next separator (which it
// overwrites with NUL) and moves *cursor past it; with no separator left the
// token runs to the end and *cursor becomes null. A null cursor or an empty
// text gives null. With separator NUL it walks a list of NUL-terminated names
// ended by an empty name.
GUX_EXPORT char* StringGetNextA(char** cursor, char separator);

// Replaces every occurrence, left to right; non-zero on success (also when the
// placeholder does not occur), 0 with the text unchanged when the result would
// not fit in size bytes.
GUX_EXPORT int StringFindAndReplaceA(char* text, size_t size, const char* placeholder,
                                     const char* replacement);

// The record format has no escapes: a bounded copy; returns the length written.
GUX_EXPORT int KwStringUnescapeA(const char* text, char* out, size_t size);

// Selector 3: SHA-256 as 64 lower-case hex digits. 0, or non-zero with out set
// to the empty text for another selector or a capacity below 65.
GUX_EXPORT int KwFPFromData_r(const void* data, size_t length, char* out, size_t capacity,
                              int selector);

// ---- Files ------------------------------------------------------------------

GUX_EXPORT int gux_access(const char* path, int mode);
// Writes all bytes, resuming after partial writes and EINTR.
GUX_EXPORT ssize_t safe_write(int fd, const void* buffer, size_t count);
// fsync, resumed after EINTR.
GUX_EXPORT int safe_fsync(int fd);
// rename, then fsync of dir; -1 with errno from the failing step.
GUX_EXPORT int rename_dirfsync(const char* from, const char* to, const char* dir, int flags);
// Creates path and every missing directory above it.
GUX_EXPORT bool CreateTreeA(const char* path, mode_t mode);
// Removes path and everything below it, without following symbolic links.
GUX_EXPORT bool DeleteTreeA(const char* path);

// ---- Configuration ------------------------------------------------------------

// Looks key up in section of an INI file; see the stand-in for the rules.
// With a null section and key, lists the section names.
GUX_EXPORT int InifileGetValueA(const char* section, const char* key, char* buffer, int size,
                                const char* def, const char* file);

class GUX_EXPORT _kwConfigClass {
 public:
  explicit _kwConfigClass(const char* path);
  ~_kwConfigClass();
  _kwConfigClass(const _kwConfigClass&) = delete;
  _kwConfigClass& operator=(const _kwConfigClass&) = delete;

  const char* filePath();
  // Guards filePath() against a host thread that reloads the configuration.
  pthread_mutex_t* mutex();

 private:
  char* m_filePath;
  pthread_mutex_t m_mutex;
};

enum { GUX_CFG_SECTION_STORAGE = 0 };
enum { GUX_CFG_ENTRY_STORAGE_DATABASE = 0 };
GUX_EXPORT extern const char* const _gux_config_section_string_table_[];
GUX_EXPORT extern const char* const _gux_config_entry_string_table_[];

#endif  // GUX_H
