#include "util/Status.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "gux.h"

namespace TalDB {

namespace {

// Formats the message and hands it on whole: the log sees the same text as
// if the caller had passed its format to ErrorA or InfoA itself.
void Log(bool error, int code, const char* format, va_list args) {
  char text[1024];
  va_list again;
  va_copy(again, args);
  int length = vsnprintf(text, sizeof(text), format, args);
  char* long_text = nullptr;
  if (length >= static_cast<int>(sizeof(text))) {
    long_text = static_cast<char*>(malloc(length + 1));
    if (long_text != nullptr) vsnprintf(long_text, length + 1, format, again);
  }
  va_end(again);
  const char* message = long_text != nullptr ? long_text : text;
  if (error) {
    ErrorA(code, "%s", message);
  } else {
    InfoA(code, "%s", message);
  }
  free(long_text);
}

}  // namespace

int Fail(int code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(true, code, format, args);
  va_end(args);
  return code;
}

int FailInfo(int code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Log(false, code, format, args);
  va_end(args);
  return code;
}

int NoMemory() { return Fail(18, "no memory"); }

}  // namespace TalDB
