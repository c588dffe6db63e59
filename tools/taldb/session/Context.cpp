#include "session/Context.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "base/Errors.h"
#include "base/Text.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Files.h"

namespace taldb_cli {

Context::Context(const Options& options, std::ostream& out, std::ostream& err, std::istream& in)
    : options_(options), out_(out), err_(err), in_(in), log_(options.verbose, err) {}

std::string Context::arg(size_t index) const {
  return index < options_.args.size() ? options_.args[index] : std::string();
}

std::string Context::root() const {
  if (!options_.root.empty()) return options_.root;
  const char* fromEnvironment = std::getenv("TALDB_ROOT");
  if (fromEnvironment != nullptr && *fromEnvironment != '\0') return fromEnvironment;
  throw UsageError("no database root: give --root DIR or --config FILE, or set TALDB_ROOT");
}

std::string Context::rootPath() {
  if (options_.config.empty()) return root();
  openRoot();
  return db_.path();
}

int Context::openRoot() {
  log_.clear();
  int status;
  if (!options_.config.empty()) {
    // The library reads a file it cannot open as one without a root.
    if (access(options_.config.c_str(), R_OK) != 0) {
      int error = errno;
      throw Failure(
          (error == ENOENT
               ? "the configuration file " + options_.config + " given with --config does not exist"
               : "cannot read the configuration file " + options_.config + " given with --config") +
          " (" + std::strerror(error) + ")");
    }
    _kwConfigClass config(options_.config.c_str());
    status = db_.open(&config);
  } else {
    status = db_.open(root().c_str());
  }
  // Without a root (a configuration file that names none) nothing else can
  // be said about the database.
  if (*db_.path() == '\0') require(status, "open");
  return status;
}

void Context::openDatabase() {
  if (db_.isOpened()) return;
  int status = openRoot();
  if (status == 10) {
    std::string unreadable = unreadableRoot(db_.path());
    if (!unreadable.empty()) throw Failure(unreadable);
    throw Failure("no database under " + std::string(db_.path()) +
                  " (no tal/schema directory); create one with 'taldb create DESCRIPTION.ini'");
  }
  try {
    require(status, "open " + std::string(db_.path()));
  } catch (const Failure& failure) {
    throw Failure(failure.what() + std::string("; 'taldb check' shows what is wrong"));
  }
}

TalDB::CTable& Context::table(const std::string& name) {
  checkTableName(name);
  openDatabase();
  TalDB::CTable* table = db_.GetTable(name.c_str());
  if (table == nullptr) throw Failure("no table " + quoted(name) + " under " + db_.path());
  return *table;
}

std::string unreadableRoot(const std::string& root) {
  // The library's open says 10 both when there is no schema directory and when
  // it cannot be read; only the first is a root without a database.
  std::string schema = joinPath(root, TalDB::kSchemaDir);
  int error = directoryError(schema);
  if (error == 0 || error == ENOENT) return "";
  return "cannot read the database under " + root + ": " + schema + ": " + std::strerror(error);
}

void Context::require(int status, const std::string& action) {
  if (status != 0) {
    throw Failure(action + ": failed (status " + std::to_string(status) +
                  "): " + log_.explain(status));
  }
  log_.clear();
}

std::vector<std::string> argsFrom(const Context& ctx, size_t first) {
  const std::vector<std::string>& args = ctx.args();
  return std::vector<std::string>(args.begin() + std::min(first, args.size()), args.end());
}

std::string action(const Context& ctx) {
  std::string text = ctx.options().command;
  for (const std::string& arg : ctx.args()) text += " " + arg;
  return text;
}

}  // namespace taldb_cli
