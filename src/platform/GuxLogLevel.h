// The names of the log levels, as the default sink prints them. The store's
// tools print library messages the same way, so the names live here, beside
// the level codes, and not in each printer. An internal header: not installed.
#ifndef TALDB_PLATFORM_GUXLOGLEVEL_H
#define TALDB_PLATFORM_GUXLOGLEVEL_H

#include "gux.h"

inline const char* GuxLogLevelName(int level) {
  switch (level) {
    case GUX_LOG_ERROR:
      return "error";
    case GUX_LOG_INFO:
      return "info";
    default:
      return "trace";
  }
}

#endif  // TALDB_PLATFORM_GUXLOGLEVEL_H
