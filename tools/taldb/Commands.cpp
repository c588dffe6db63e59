#include "Cli.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "column/TypeWords.h"
#include "database/SectionList.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

std::vector<std::string> argsFrom(const Context& ctx, size_t first) {
  const std::vector<std::string>& args = ctx.args();
  return std::vector<std::string>(args.begin() + std::min(first, args.size()), args.end());
}

// Record names sort as numbers when both are numbers, numbers first, and as
// text otherwise, so that listings come out in id order.
bool recordNameLess(const std::string& a, const std::string& b) {
  auto numeric = [](const std::string& s) {
    size_t start = !s.empty() && s[0] == '-' ? 1 : 0;
    return s.size() > start && s.size() < 19 &&
           s.find_first_not_of("0123456789", start) == std::string::npos;
  };
  bool na = numeric(a), nb = numeric(b);
  if (na && nb) return std::stoll(a) < std::stoll(b);
  if (na != nb) return na;
  return a < b;
}

std::vector<std::string> columnNames(const CTable& table) {
  std::vector<std::string> names;
  for (const CColumn* column : table.columns()) names.push_back(column->name());
  return names;
}

std::vector<std::string> currentValues(const CTable& table) {
  std::vector<std::string> values;
  for (const CColumn* column : table.columns())
    values.push_back(column->data() != nullptr ? column->data() : "");
  return values;
}

std::string action(const Context& ctx) {
  std::string text = ctx.options().command;
  for (const std::string& arg : ctx.args()) text += " " + arg;
  return text;
}

bool recordFileExists(const CTable& table, const std::string& name) {
  return pathExists(joinPath(table.path(), name));
}

// The store deletes a record that is not there without complaint; a person
// who names a record that does not exist is told so, whatever the command.
void requireRecord(Context& ctx, const CTable& table, const std::string& name) {
  if (!recordFileExists(table, name)) throw Failure(action(ctx) + ": no such record");
}

int countRecords(Context& ctx, CTable& table) {
  int count = table.records();
  if (count < 0)
    throw Failure(action(ctx) + ": failed (status -1): the table directory cannot be opened");
  ctx.log().clear();
  return count;
}

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
}

}  // namespace

std::string plural(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::vector<CTable*> sortedTables(TalDB::CTalDatabase& db) {
  std::vector<CTable*> tables = db.tables();
  std::sort(tables.begin(), tables.end(),
            [](const CTable* a, const CTable* b) { return std::strcmp(a->name(), b->name()) < 0; });
  return tables;
}

Rows recordRows(Context& ctx, CTable& table, const char* condition) {
  Rows rows;
  rows.header = columnNames(table);
  rows.kinds = columnKinds(table);
  int status = table.ListRecordsStart(condition);
  for (; status == 0; status = table.ListRecordsNext(condition))
    rows.rows.push_back(currentValues(table));
  if (status != 12) ctx.require(status, std::string("list ") + table.name());
  ctx.log().clear();
  std::sort(rows.rows.begin(), rows.rows.end(),
            [](const std::vector<std::string>& a, const std::vector<std::string>& b) {
              return !a.empty() && !b.empty() && recordNameLess(a[0], b[0]);
            });
  return rows;
}

int cmdCreate(Context& ctx) {
  const Options& options = ctx.options();
  std::string description = ctx.arg(0);
  int id = options.id.empty() ? 1 : parseInteger(options.id, "id");
  if (options.given & kOptCreate) checkValue(options.host);
  checkDescriptionTables(ctx, description);

  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  if (status != 10) throw Failure("create: a database exists already under " + root);
  ctx.require(ctx.db().Create(description.c_str(), id,
                              options.host.empty() ? nullptr : options.host.c_str()),
              "create " + root);
  ctx.require(ctx.db().open(), "open " + root);

  std::string names;
  for (const CTable* table : sortedTables(ctx.db())) names += std::string(" ") + table->name();
  ctx.note() << "created a database under " << root << " (id " << ctx.db().id() << ", host "
             << ctx.db().host() << ") with " << plural(ctx.db().tableCount(), "table", "tables")
             << (names.empty() ? "" : ":") << names << "\n";
  return kExitOk;
}

int cmdTables(Context& ctx) {
  ctx.openDatabase();
  Rows rows;
  rows.header = {"table", "columns", "records"};
  rows.kinds = {Kind::Text, Kind::BigInt, Kind::BigInt};
  std::string unreadable;
  for (CTable* table : sortedTables(ctx.db())) {
    int count = table->records();
    if (count < 0) unreadable += std::string(" ") + table->name();
    rows.rows.push_back({table->name(), std::to_string(table->columns().size()),
                         count < 0 ? "?" : std::to_string(count)});
  }
  ctx.log().clear();
  printRows(ctx.out(), rows, ctx.style());
  if (!unreadable.empty()) {
    throw Failure("tables: cannot read the directory of" + unreadable + "; run 'taldb check'");
  }
  return kExitOk;
}

int cmdSchema(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  Rows rows;
  rows.header = {"position", "column", "type"};
  int position = 0;
  for (const CColumn* column : table.columns())
    rows.rows.push_back(
        {std::to_string(++position), column->name(), TalDB::TypeWordOf(column->type(), "none")});
  printRows(ctx.out(), rows, ctx.style());
  return kExitOk;
}

int cmdList(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  std::string condition = ctx.arg(1);
  printRows(ctx.out(), recordRows(ctx, table, ctx.args().size() > 1 ? condition.c_str() : nullptr),
            ctx.style());
  return kExitOk;
}

namespace {

// The table named by the first argument, with the record named by the second
// checked for a usable name and for being there.
CTable& namedRecord(Context& ctx, std::string& name) {
  name = ctx.arg(1);
  checkRecordName(name);
  CTable& table = ctx.table(ctx.arg(0));
  requireRecord(ctx, table, name);
  return table;
}

}  // namespace

int cmdGet(Context& ctx) {
  std::string name;
  CTable& table = namedRecord(ctx, name);
  ctx.require(table.readRecord(name.c_str()), action(ctx));
  Rows rows{columnNames(table), {currentValues(table)}, columnKinds(table)};
  if (ctx.args().size() < 3) {
    printRecord(ctx.out(), rows, ctx.style());
    return kExitOk;
  }
  for (size_t i = 0; i < rows.header.size(); ++i) {
    if (rows.header[i] == ctx.arg(2)) {
      ctx.out() << rows.rows[0][i] << "\n";
      return kExitOk;
    }
  }
  throw Failure(action(ctx) + ": table " + table.name() + " has no column " + quoted(ctx.arg(2)));
}

int cmdCount(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  ctx.out() << countRecords(ctx, table) << "\n";
  return kExitOk;
}

int cmdAdd(Context& ctx) {
  std::string text = joinValues(splitValues(argsFrom(ctx, 1)));
  CTable& table = ctx.table(ctx.arg(0));
  int id = 0;
  ctx.require(table.addRecord(text.c_str(), &id, 0), action(ctx));
  ctx.out() << id << "\n";
  return kExitOk;
}

int cmdPut(Context& ctx) {
  std::vector<std::string> values = splitValues(argsFrom(ctx, 1));
  values.front() = std::to_string(parseRecordId(values.front()));
  CTable& table = ctx.table(ctx.arg(0));
  bool replaced = recordFileExists(table, values.front());
  ctx.require(table.addRecord(joinValues(values).c_str(), nullptr, 0), action(ctx));
  ctx.note() << "wrote record " << values.front() << " of " << table.name()
             << (replaced ? " (replaced the earlier one)" : "") << "\n";
  return kExitOk;
}

int cmdUpdate(Context& ctx) {
  std::string assignments = parseAssignments(argsFrom(ctx, 2));
  std::string name;
  CTable& table = namedRecord(ctx, name);
  ctx.require(table.updateRecord(name.c_str(), assignments.c_str()), action(ctx));
  ctx.note() << "updated record " << name << " of " << table.name() << "\n";
  return kExitOk;
}

int cmdDelete(Context& ctx) {
  std::string name;
  CTable& table = namedRecord(ctx, name);
  ctx.require(table.deleteRecord(name.c_str()), action(ctx));
  ctx.note() << "deleted record " << name << " of " << table.name() << "\n";
  return kExitOk;
}

int cmdSeed(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  std::string file = ctx.arg(1);
  // The store reads an unreadable file as one without records and adds
  // nothing; a person who named a file wants to hear that it is not there.
  if (access(file.c_str(), R_OK) != 0)
    throw Failure(action(ctx) + ": cannot read " + file + ": " + std::strerror(errno));
  int before = countRecords(ctx, table);
  ctx.require(ctx.db().insertRecordsFromIni(table.name(), file.c_str()), action(ctx));
  ctx.note() << "seeded " << table.name() << " from " << file << ": "
             << plural(countRecords(ctx, table), "record", "records") << " (" << before
             << " before)\n";
  return kExitOk;
}

int cmdAddTable(Context& ctx) {
  std::string name = ctx.arg(0);
  checkTableName(name);
  std::string spec = checkColumnSpec(argsFrom(ctx, 1));
  ctx.openDatabase();
  ctx.require(ctx.db().AddTable(name.c_str(), spec.c_str()), action(ctx));
  ctx.note() << "added table " << name << " with "
             << plural(ctx.db().GetTable(name.c_str())->columns().size(), "column", "columns")
             << "\n";
  return kExitOk;
}

int cmdDropTable(Context& ctx) {
  std::string name = ctx.table(ctx.arg(0)).name();
  ctx.require(ctx.db().DropTable(name.c_str()), action(ctx));
  ctx.note() << "dropped table " << name << "\n";
  return kExitOk;
}

int cmdClear(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  int before = countRecords(ctx, table);
  ctx.require(table.clear(), action(ctx));
  ctx.note() << "cleared table " << table.name() << ": " << plural(before, "record", "records")
             << " removed\n";
  return kExitOk;
}

int cmdDrop(Context& ctx) {
  if (!ctx.options().yes) {
    throw UsageError("drop deletes every table and record of the database; add --yes to confirm");
  }
  ctx.openDatabase();
  std::string root = ctx.db().path();
  ctx.require(ctx.db().drop(), "drop");
  ctx.note() << "dropped the database under " << root << "\n";
  return kExitOk;
}

int cmdRecover(Context& ctx) {
  ctx.openDatabase();
  std::vector<std::pair<CTable*, std::string>> marked;
  for (CTable* table : sortedTables(ctx.db())) {
    for (const std::string& name : markedNames(table->path())) marked.push_back({table, name});
  }
  ctx.require(ctx.db().recover(), "recover");
  int removed = 0;
  for (const auto& entry : marked) {
    if (!recordFileExists(*entry.first, entry.second)) {
      ctx.note() << "removed " << entry.first->name() << "/" << entry.second << "\n";
      ++removed;
    }
  }
  ctx.note() << "recovered " << plural(ctx.db().tableCount(), "table", "tables") << ": "
             << plural(removed, "marked entry", "marked entries") << " removed\n";
  return kExitOk;
}

int cmdDump(Context& ctx) {
  if (!ctx.args().empty()) {
    CTable& table = ctx.table(ctx.arg(0));
    printRows(ctx.out(), recordRows(ctx, table, nullptr), ctx.style());
    return kExitOk;
  }
  ctx.openDatabase();
  std::vector<std::pair<std::string, Rows>> sets;
  for (CTable* table : sortedTables(ctx.db()))
    sets.push_back({table->name(), recordRows(ctx, *table, nullptr)});
  printNamedRows(ctx.out(), sets, ctx.style());
  return kExitOk;
}

}  // namespace taldb_cli
