#include "session/LibraryLog.h"

#include "base/Errors.h"
#include "base/Text.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Descriptions.h"

namespace taldb_cli {

namespace {

// The log that holds the sink now; runs nest, so each remembers the one before.
LibraryLog* g_current = nullptr;

}  // namespace

LibraryLog::LibraryLog(bool verbose, std::ostream& err)
    : verbose_(verbose), err_(err), previous_(g_current) {
  g_current = this;
  gux_set_log_sink(&sink, this);
}

LibraryLog::~LibraryLog() {
  g_current = previous_;
  gux_set_log_sink(previous_ != nullptr ? &sink : nullptr, previous_);
}

void LibraryLog::clear() { entries_.clear(); }

void LibraryLog::sink(int level, int code, const char* message, void* context) {
  LibraryLog* self = static_cast<LibraryLog*>(context);
  const char* text = message != nullptr ? message : "";
  self->entries_.push_back({level, code, text});
  if (self->verbose_) {
    self->err_ << "libtaldb " << GuxLogLevelName(level) << " " << code << ": " << text << "\n";
  }
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
  // Indexed by status; the store's codes run from 1 to 20 with gaps.
  static const char* const kTexts[] = {
      nullptr,
      "unknown column type",
      "column definition without '['",
      "schema file missing",
      "schema file cannot be read or written",
      "empty schema line",
      nullptr,
      "table directory or record file not found",
      "record file cannot be opened",
      nullptr,
      "schema directory cannot be opened",
      "syntax error",
      "no matching record",
      "no such column",
      "table not empty",
      "new id above the limit",
      "record content empty or short",
      "table directory cannot be opened",
      "no memory",
      "placeholder cannot be replaced",
      "invalid parameter or file operation failed",
  };
  bool known = status > 0 && status < static_cast<int>(sizeof kTexts / sizeof kTexts[0]) &&
               kTexts[status] != nullptr;
  return known ? kTexts[status] : "operation failed";
}

}  // namespace taldb_cli
