// The commands that read: tables, schema, list, get and count.
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
#include "session/Writes.h"
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

static int cmdTables(Context& ctx) {
  ctx.openDatabase();
  Rows rows;
  rows.header = {"table", "columns", "records"};
  rows.kinds = {Kind::Text, Kind::BigInt, Kind::BigInt};
  std::string unreadable;
  for (CTable* table : sortedTables(ctx.db())) {
    std::string count = "?";
    try {
      size_t skipped = 0;
      count = std::to_string(countRecordFiles(ctx, *table, false, &skipped));
      // What is no record file is said, not counted.
      if (skipped != 0) {
        ctx.err() << "taldb: " << table->name() << ": "
                  << plural(skipped, "entry is", "entries are")
                  << " not a record file and not counted; see 'taldb list " << table->name()
                  << "'\n";
      }
    } catch (const Failure& failure) {
      // Its message ends with the reason the directory could not be opened.
      std::string why = failure.what();
      unreadable += std::string(" ") + table->name() + " (" + why.substr(why.rfind(": ") + 2) + ")";
    }
    rows.rows.push_back({table->name(), std::to_string(table->columns().size()), count});
  }
  printRows(ctx.out(), rows, ctx.style());
  if (!unreadable.empty()) {
    throw Failure("tables: cannot read the directory of" + unreadable + "; run 'taldb check'");
  }
  return kExitOk;
}

static int cmdSchema(Context& ctx) {
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

static int cmdList(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  bool filtered = ctx.args().size() > 1;
  std::string condition = ctx.arg(1);
  // The store ends a condition silently at a term it cannot read and finds
  // nothing for a column it does not have; a person is told instead.
  if (filtered) checkTerms(table, condition, "condition");
  RowWriter writer(ctx.out(), ctx.style(), columnNames(table), columnKinds(table));
  listRecords(ctx, table, filtered ? condition.c_str() : nullptr,
              [&](const std::vector<std::string>& values) {
                writer.row(values);
                // A reader that has gone ("| head") ends the walk.
                return static_cast<bool>(ctx.out());
              });
  writer.end();
  return kExitOk;
}

static int cmdGet(Context& ctx) {
  std::string name;
  CTable& table = ctx.table(ctx.arg(0));
  {
    // One hold from the look for the record to its read, so that a delete in
    // another process cannot come between them.
    SettledTable settled(table);
    namedRecord(ctx, name);
    ctx.require(table.readRecord(name.c_str()), action(ctx));
  }
  Rows rows{columnNames(table), {currentValues(table)}, columnKinds(table)};
  if (ctx.args().size() < 3) {
    printRecord(ctx.out(), rows, ctx.style());
    return kExitOk;
  }
  for (size_t i = 0; i < rows.header.size(); ++i) {
    if (rows.header[i] == ctx.arg(2)) {
      const std::string& value = rows.rows[0][i];
      // A program that asked for JSON parses what it gets.
      ctx.out() << (ctx.style().format == Format::Json ? jsonValue(value, rows.kinds[i]) : value)
                << "\n";
      return kExitOk;
    }
  }
  throw Failure(action(ctx) + ": table " + table.name() + " has no column " + quoted(ctx.arg(2)));
}

static int cmdCount(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  ctx.out() << countRecordFiles(ctx, table, true) << "\n";
  return kExitOk;
}

extern const Command kTablesCommand;
const Command kTablesCommand = {
    "tables",
    "",
    "each table with its column count and record count",
    "Record files are counted as 'count' counts them; a table whose directory holds\n"
    "other entries gets a line on standard error.\n",
    0,
    0,
    kOptRoot | kOptFormat,
    cmdTables};

extern const Command kSchemaCommand;
const Command kSchemaCommand = {
    "schema",
    "TABLE",
    "the columns of a table and their types",
    "The first column holds each record's name, which is its file name.\n",
    1,
    1,
    kOptRoot | kOptFormat,
    cmdSchema};

extern const Command kListCommand;
const Command kListCommand = {
    "list",
    "TABLE [CONDITION]",
    "the records of a table, or those matching a condition",
    "A condition is COLUMN=VALUE terms joined by ',', all of which must hold, compared\n"
    "as exact text: 'port=8080,name=web01'. Every term must name a column of the table.\n"
    "Entries of the table directory that are not readable records (directories, marked\n"
    "names, .tmp leftovers, unreadable or short files) are named on standard error.\n",
    1,
    2,
    kOptRoot | kOptFormat,
    cmdList};

extern const Command kGetCommand;
const Command kGetCommand = {
    "get",
    "TABLE ID [COLUMN]",
    "one record, or one of its values",
    "With COLUMN only the value is printed, as it is stored; with --format json as a\n"
    "JSON value.\n",
    2,
    3,
    kOptRoot | kOptFormat,
    cmdGet};

extern const Command kCountCommand;
const Command kCountCommand = {
    "count",
    "TABLE",
    "the number of records of a table",
    "Record files are counted by name and kind, without reading them; the entries that\n"
    "are no record files are named on standard error. 'list' names the files that\n"
    "cannot be read.\n",
    1,
    1,
    kOptRoot,
    cmdCount};

}  // namespace taldb_cli
