// The signals that stop a long command where it stands, so that it can say
// how far it got and leave nothing half done behind.
#ifndef TALDB_TOOL_BASE_STOPSIGNALS_H
#define TALDB_TOOL_BASE_STOPSIGNALS_H

#include <signal.h>

#include <string>

namespace taldb_cli {

// While an object lives, SIGINT, SIGTERM and SIGHUP (and SIGPIPE, when asked)
// do not end the process: the first is noted, for the command to stop where it
// stands and say how far it got; a second one of the first three ends the
// process as it would have. A file named with removeAtOnce is removed by the
// first signal itself, so that it goes even if the process is then killed.
class StopSignals {
 public:
  explicit StopSignals(bool pipe = false);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  // The signal that asked to stop, or 0.
  static int caught();
  // "interrupted" or "stopped by SIGTERM", for messages.
  static std::string describe();
  // At most one path at a time; null forgets it.
  static void removeAtOnce(const char* path);

 private:
  bool pipe_;
  struct sigaction old_[4];
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_BASE_STOPSIGNALS_H
