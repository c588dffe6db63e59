#include "LibraryLog.h"

#include <cstdio>

#include "gux.h"

namespace taldb_cli {

LibraryLog::LibraryLog(bool verbose) : verbose_(verbose) { gux_set_log_sink(&sink, this); }

LibraryLog::~LibraryLog() { gux_set_log_sink(nullptr, nullptr); }

void LibraryLog::clear() { entries_.clear(); }

void LibraryLog::sink(int level, int code, const char* message, void* context) {
  LibraryLog* self = static_cast<LibraryLog*>(context);
  const char* text = message != nullptr ? message : "";
  self->entries_.push_back({level, code, text});
  if (!self->verbose_) return;
  const char* name = level == GUX_LOG_ERROR ? "error" : level == GUX_LOG_INFO ? "info" : "trace";
  std::fprintf(stderr, "libtaldb %s %d: %s\n", name, code, text);
}

std::string LibraryLog::explain(int status) const {
  std::vector<std::string> picked;
  for (const Entry& entry : entries_) {
    bool relevant =
        entry.level == GUX_LOG_ERROR || (entry.level == GUX_LOG_INFO && entry.code == status);
    bool seen = false;
    for (const std::string& text : picked) seen = seen || text == entry.text;
    if (relevant && !seen) picked.push_back(entry.text);
  }
  if (picked.empty()) return describeStatus(status);
  std::string joined;
  for (const std::string& text : picked) joined += (joined.empty() ? "" : "; ") + text;
  return joined;
}

const char* describeStatus(int status) {
  switch (status) {
    case 1:
      return "unknown column type";
    case 2:
      return "column definition without '['";
    case 3:
      return "schema file missing";
    case 4:
      return "schema file cannot be read or written";
    case 5:
      return "empty schema line";
    case 7:
      return "table directory or record file not found";
    case 8:
      return "record file cannot be opened";
    case 10:
      return "schema directory cannot be opened";
    case 11:
      return "syntax error";
    case 12:
      return "no matching record";
    case 13:
      return "no such column";
    case 14:
      return "table not empty";
    case 15:
      return "new id above the limit";
    case 16:
      return "record content empty or short";
    case 17:
      return "table directory cannot be opened";
    case 18:
      return "no memory";
    case 19:
      return "placeholder cannot be replaced";
    case 20:
      return "invalid parameter or file operation failed";
    default:
      return "operation failed";
  }
}

}  // namespace taldb_cli
