// Captures every message the utility library logs while it is alive, so that
// tests can assert the exact text, level and code.
#ifndef TALDB_TESTS_LOGCAPTURE_H
#define TALDB_TESTS_LOGCAPTURE_H

#include <string.h>

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "gux.h"

struct LogLine {
  int level;
  int code;
  std::string text;
  bool operator==(const LogLine& o) const {
    return level == o.level && code == o.code && text == o.text;
  }
};

inline LogLine Err(int code, const std::string& text) { return {GUX_LOG_ERROR, code, text}; }
inline LogLine Info(int code, const std::string& text) { return {GUX_LOG_INFO, code, text}; }
inline LogLine Trace(const std::string& text) { return {GUX_LOG_TRACE, 0, text}; }

class LogCapture {
 public:
  LogCapture() { gux_set_log_sink(&LogCapture::sink, this); }
  ~LogCapture() { gux_set_log_sink(nullptr, nullptr); }

  // Returns what was logged so far and starts afresh.
  std::vector<LogLine> take() {
    std::lock_guard<std::mutex> hold(mutex_);
    return std::move(lines_);
  }

 private:
  static void sink(int level, int code, const char* message, void* context) {
    auto* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> hold(self->mutex_);
    self->lines_.push_back({level, code, message});
  }

  std::mutex mutex_;
  std::vector<LogLine> lines_;
};

// Lets gtest print captured lines readably when an expectation fails.
inline void PrintTo(const LogLine& l, std::ostream* os) {
  *os << "{level " << l.level << ", code " << l.code << ", \"" << l.text << "\"}";
}

#endif  // TALDB_TESTS_LOGCAPTURE_H
