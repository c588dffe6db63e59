// The file a command writes, safe whatever its name leads to.
#ifndef TALDB_TOOL_OUTPUT_OUTPUTFILE_H
#define TALDB_TOOL_OUTPUT_OUTPUTFILE_H

#include <ostream>
#include <string>

#include "base/StopSignals.h"

namespace taldb_cli {

// Where a command writes the file named on its command line, never replacing
// what is not a regular file:
//  - "-", or a name for standard output itself (/dev/stdout): the stream given;
//  - nothing yet, or a regular file (also through symbolic links, which stay):
//    written under a temporary name beside the file, flushed, and renamed over
//    it at commit only, its directory flushed after, so that the file is never
//    cut short and a regular file keeps its permission bits;
//  - a FIFO or a character device (a terminal, /dev/null): written in place,
//    never truncated, removed nor renamed;
//  - anything else (a directory, a block device, a socket, a link to nothing):
//    refused.
// Failures are Failures that name the command and carry errno's text. While
// the object lives, SIGINT, SIGTERM and SIGHUP stop the write: the temporary
// file goes at once, and the next write or the commit says so.
class OutputFile {
 public:
  OutputFile(const std::string& command, const std::string& file, std::ostream& standardOutput);
  // Without a commit, the temporary file goes.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(const std::string& text);
  // Everything written is where it goes, flushed: only then may the command
  // say it succeeded.
  void commit();
  // Whether what is written goes to standard output, where a report must not
  // follow it.
  bool toStandardOutput() const { return stream_ != nullptr; }

 private:
  void drain();
  void checkStopped();
  [[noreturn]] void fail(const std::string& path, int error);
  void place();

  std::string command_, file_, target_, temporary_;
  std::ostream* stream_ = nullptr;
  StopSignals signals_;
  std::string buffer_;
  int fd_ = -1;
  bool inPlace_ = false;
  bool keepMode_ = false;
  unsigned mode_ = 0;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_OUTPUT_OUTPUTFILE_H
