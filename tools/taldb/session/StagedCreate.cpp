#include "session/StagedCreate.h"

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/Errors.h"
#include "base/Text.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Files.h"

namespace taldb_cli {

namespace {

// The hidden name a creation builds under; the process id keeps two tools
// that race to create one root from building in one directory.
const char kStagingPrefix[] = ".taldb-create-";

std::string reason() { return std::strerror(errno); }

}  // namespace

std::vector<std::string> creationLeftovers(const std::string& root) {
  std::vector<std::string> names, leftovers;
  readDirectory(root, names);
  for (const std::string& name : names)
    if (name.compare(0, sizeof kStagingPrefix - 1, kStagingPrefix) == 0) leftovers.push_back(name);
  return leftovers;
}

void removeCreationLeftovers(const std::string& root) {
  for (const std::string& name : creationLeftovers(root)) {
    std::string path = joinPath(root, name);
    if (!DeleteTreeA(path.c_str()))
      throw Failure("cannot remove " + path + ", left by a create cut short: " + reason());
  }
}

void createStaged(Context& ctx, const std::string& root, const std::string& description, int id,
                  const char* host) {
  if (!CreateTreeA(root.c_str(), 0700))
    throw Failure("create: cannot make the root " + root + ": " + reason());
  // Creations of one root wait for each other, so that what an earlier one
  // left can be told from one under way and removed.
  TalDB::DirLock lock;
  lock.lockPath(root.c_str());
  removeCreationLeftovers(root);
  std::string staging = joinPath(root, kStagingPrefix + std::to_string(getpid()));
  if (mkdir(staging.c_str(), 0700) != 0)
    throw Failure("create: cannot make " + staging + ": " + reason());

  // Everything below happens under the hidden name: the library makes and
  // flushes the tables and seeds there exactly as it would under the root.
  TalDB::CTalDatabase& db = ctx.db();
  db.open(staging.c_str());
  int status = db.Create(description.c_str(), id, host);
  std::string from = joinPath(staging, TalDB::kContainerDir);
  std::string to = joinPath(root, TalDB::kContainerDir);
  std::string failure;
  if (status != 0) {
    failure = "create " + root + ": failed (status " + std::to_string(status) +
              "): " + ctx.log().explain(status) + "; nothing was made";
  } else if (rename(from.c_str(), to.c_str()) != 0) {
    failure = "create " + root + ": cannot move the new database into place (" + to + ": " +
              reason() + "); nothing was made";
  }
  if (!failure.empty()) {
    DeleteTreeA(staging.c_str());
    throw Failure(failure);
  }
  // The rename is what makes the database exist: it is flushed before the
  // database is said to be made. The empty hidden directory goes after it;
  // should a power cut keep it, the next create or repair removes it.
  if (lock.flush(root.c_str()) != 0)
    throw Failure("create " + root + ": the database was made but not flushed: " + reason());
  rmdir(staging.c_str());
  lock.flush(root.c_str());
  ctx.require(db.open(root.c_str()), "open " + root);
}

}  // namespace taldb_cli
