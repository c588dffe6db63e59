// taldb create: a database from a description file, made whole or not at all.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/Errors.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/StagedCreate.h"
#include "session/Writes.h"
#include "store/Descriptions.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

namespace {

// Checks the table names of a description file (every section after the
// first) before the store creates anything. A file it cannot list is left
// for the store to report.
void checkDescriptionTables(Context& ctx, const std::string& file) {
  // A look-ahead of the tool's own, not an operation that was asked for:
  // what the library logs meanwhile is not shown, even with --verbose.
  LibraryLog quiet(false, ctx.err());
  TalDB::SectionList sections;
  if (sections.read(file.c_str()) != 0 || sections.next() == nullptr) return;
  while (const char* name = sections.next()) checkTableName(name);
  checkDescriptionRecords(file);
}

}  // namespace

static int cmdCreate(Context& ctx) {
  const Options& options = ctx.options();
  std::string description = ctx.arg(0);
  int id = options.id.empty() ? 1 : parseInteger(options.id, "id");
  if (options.given & kOptCreate) checkValue(options.host);
  checkDescriptionTables(ctx, description);

  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  std::string unreadable = status == 10 ? unreadableRoot(root) : "";
  if (!unreadable.empty()) throw Failure("create: " + unreadable);
  if (status != 10) throw Failure("create: a database exists already under " + root);
  createStaged(ctx, root, description, id, options.host.empty() ? nullptr : options.host.c_str());

  std::string names;
  for (const CTable* table : sortedTables(ctx.db())) names += std::string(" ") + table->name();
  ctx.note() << "created a database under " << root << " (id " << ctx.db().id() << ", host "
             << ctx.db().host() << ") with " << plural(ctx.db().tableCount(), "table", "tables")
             << (names.empty() ? "" : ":") << names << "\n";
  return kExitOk;
}

extern const Command kCreateCommand;
const Command kCreateCommand = {
    "create",
    "DESCRIPTION.ini [--id N] [--host TEXT]",
    "create a database from a description file, then open it",
    "Every section after the first of the description file is a table: its 'schema' key\n"
    "lists the columns and its keys rec_1, rec_2, ... are seed records. In them\n"
    "{{$talid}} becomes the --id number (default 1) and {{$talhost}} the --host text\n"
    "(default 127.0.0.1). Refused when a database exists already under the root. Seed\n"
    "records are checked against their schema before anything is made. The database is\n"
    "built under a hidden name in the root and moved into place whole, so a create that\n"
    "fails, is killed or loses power leaves no partial database in the way of the next.\n",
    1,
    1,
    kOptRoot | kOptCreate,
    cmdCreate};

}  // namespace taldb_cli
