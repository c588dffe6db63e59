// The library's log, taken over for the length of a command: its lines are
// collected to explain a failure, and shown with -v.
#ifndef TALDB_TOOL_SESSION_LIBRARYLOG_H
#define TALDB_TOOL_SESSION_LIBRARYLOG_H

#include <ostream>
#include <string>
#include <vector>

namespace taldb_cli {

class LibraryLog {
 public:
  // Takes the utility library's one log sink over until destroyed, then
  // gives it back to the log that had it, so that a tool run nested in
  // another (the demo's steps) leaves the outer run's log working.
  LibraryLog(bool verbose, std::ostream& err);
  ~LibraryLog();
  LibraryLog(const LibraryLog&) = delete;
  LibraryLog& operator=(const LibraryLog&) = delete;

  // Forgets what was collected, so that the next explanation only covers the
  // calls made after it.
  void clear();
  // The messages that explain a failure with this status: every error and
  // the informational messages that carry the status itself. When the library
  // logged nothing, a short description of the status code.
  std::string explain(int status) const;
  struct Entry {
    int level;
    int code;
    std::string text;
  };
  // What was collected since the last clear, in the order it came.
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  static void sink(int level, int code, const char* message, void* context);

  bool verbose_;
  std::ostream& err_;
  std::vector<Entry> entries_;
  LibraryLog* previous_;
};

// What a status code of the store means, for failures it does not log.
const char* describeStatus(int status);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_LIBRARYLOG_H
