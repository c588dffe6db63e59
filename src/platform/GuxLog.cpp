// Logging: every message is formatted once and handed to one sink.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <mutex>

#include "GuxLogLevel.h"
#include "gux.h"

int __guxlog_trace_location = 0;

namespace {

std::mutex g_sinkMutex;
GuxLogSink g_sink = nullptr;
void* g_context = nullptr;

void DefaultSink(int level, int code, const char* message, void*) {
  fprintf(stderr, "taldb: %s %d: %s\n", GuxLogLevelName(level), code, message);
}

// Formats into a stack buffer, or a heap one for a longer message, so that no
// message is ever cut.
void Emit(int level, int code, const char* format, va_list args) {
  char small[1024];
  va_list again;
  va_copy(again, args);
  int length = vsnprintf(small, sizeof(small), format, args);
  char* text = small;
  if (length >= static_cast<int>(sizeof(small))) {
    text = static_cast<char*>(malloc(length + 1));
    if (text != nullptr) {
      vsnprintf(text, length + 1, format, again);
    } else {
      text = small;
    }
  }
  va_end(again);
  {
    std::lock_guard<std::mutex> hold(g_sinkMutex);
    if (g_sink != nullptr) {
      g_sink(level, code, text, g_context);
    } else {
      DefaultSink(level, code, text, nullptr);
    }
  }
  if (text != small) free(text);
}

}  // namespace

void gux_set_log_sink(GuxLogSink sink, void* context) {
  std::lock_guard<std::mutex> hold(g_sinkMutex);
  g_sink = sink;
  g_context = sink != nullptr ? context : nullptr;
}

void ErrorA(int code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Emit(GUX_LOG_ERROR, code, format, args);
  va_end(args);
}

void InfoA(int code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Emit(GUX_LOG_INFO, code, format, args);
  va_end(args);
}

void __TraceA(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Emit(GUX_LOG_TRACE, 0, format, args);
  va_end(args);
}
