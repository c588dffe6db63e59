// dump's two formats for other readers than a person: a description file that
// create reads back into the same database (a backup), and SQL statements that
// load into PostgreSQL and SQLite. Both are written record by record as the
// tables are read, so that memory does not grow with them. The description
// file's records are all checked in a pass of their own first, so that a
// refused value writes nothing; SQL names every value it cannot hold and then
// ends with ROLLBACK, so that loading a dump that is not whole changes
// nothing. An entry of a table directory that is no readable record is left
// out and fails the dump after the rest is written, as in every format.

#include <cctype>

#include "base/Errors.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "output/SqlRules.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "store/Files.h"
#include "taldb/CUtils.h"

namespace taldb_cli {

namespace {

using TalDB::CTable;

// ---- The description file.

// The last section of a description file that is not whole, so that it cannot
// pass for one: create refuses a table name with a '/' before it makes
// anything.
const char* const kNotWholeSection = "\n[dump/failed: this file is not whole]\n";

// A value inside a seed record: seeding splits at ",", trims each value and
// replaces the {{$tal...}} placeholders.
std::string seedValueProblem(const std::string& value) {
  if (value.find(',') != std::string::npos) return "holds ','";
  if (!readsBackWhole(value)) return "has blanks at either end or a line feed";
  if (value.find("{{$tal") != std::string::npos) return "holds '{{$tal', which seeding replaces";
  return "";
}

// A seed record's text: the values joined by ", ", the record's name first.
std::string seedRecord(const CTable& table, const std::vector<std::string>& header,
                       const std::vector<std::string>& row) {
  std::string where =
      "dump: table " + std::string(table.name()) + ", record " + quoted(shownText(row[0]));
  // Seeding takes a record's name from its first value as a number, and
  // writes the file under that number's own text: only such a name comes
  // back as it was.
  if (!isRecordId(row[0])) throw Failure(where + ": its name is not an id from 0 to 2147483647");
  std::string text;
  for (size_t i = 0; i < row.size(); ++i) {
    std::string problem = seedValueProblem(row[i]);
    // The reader trims the line's end, so a last value that is empty is lost.
    if (problem.empty() && i > 0 && i + 1 == row.size() && row[i].empty())
      problem = "is empty in the last column";
    if (!problem.empty()) {
      throw Failure(where + ", column " + header[i] + ": the value " + quoted(shownText(row[i])) +
                    " " + problem + "; a description file cannot hold it");
    }
    text += (i ? ", " : "") + row[i];
  }
  // Seeding reads a record into a buffer of a path's size.
  if (text.size() >= TalDB::kPathLimit)
    throw Failure(where + ": the record is longer than a description file's record can be");
  return text;
}

// The schema line exactly as the schema file holds it, so that create writes
// the same file again.
std::string schemaLine(const CTable& table) {
  TalDB::LineReader reader;
  std::string where = "dump: table " + std::string(table.name());
  if (reader.read(table.schemaPath()) != TalDB::LineReader::kRead)
    throw Failure(where + ": cannot read its schema file " + table.schemaPath());
  std::string line(reader.data(), reader.size());
  if (line.empty() || !readsBackWhole(line) || line.size() >= TalDB::kValueLimit)
    throw Failure(where + ": its schema line cannot be written into a description file");
  return line;
}

// Every table's name, schema line and seed records, checked before anything
// is written; what is no readable record is left for the written pass to
// report.
void checkIniFile(Context& ctx, const std::vector<CTable*>& tables) {
  std::vector<std::string> header;
  for (CTable* table : tables) {
    if (!readsBackWhole(table->name()))
      throw Failure("dump: table " + quoted(table->name()) + ": a description file cannot name it");
    schemaLine(*table);
    header = columnNames(*table);
    auto check = [&](const std::vector<std::string>& values) {
      seedRecord(*table, header, values);
      return true;
    };
    walkRecords(
        ctx, *table, nullptr, true, [](const std::string&) {}, check);
  }
}

void writeIniFile(Context& ctx, const std::vector<CTable*>& tables, LeftOut& leftOut) {
  checkIniFile(ctx, tables);
  std::ostream& out = ctx.out();
  // create passes over the first section; it must not take a table's name,
  // which would then be passed over too. No table name holds a '/'.
  std::string first = "database";
  for (const CTable* table : tables)
    if (first == table->name()) first = "database/backup";
  out << "[" << first
      << "]\n; Written by 'taldb dump --format ini'. 'taldb --root DIR create FILE'"
         " makes the same tables and records under DIR.\n";
  std::vector<std::string> header;
  for (CTable* table : tables) {
    out << "\n[" << table->name() << "]\nschema = " << schemaLine(*table) << "\n";
    header = columnNames(*table);
    size_t n = 0;
    try {
      copyRecords(ctx, *table, leftOut, [&](const std::vector<std::string>& values) {
        out << "rec_" << ++n << " = " << seedRecord(*table, header, values) << "\n";
        return static_cast<bool>(out);
      });
    } catch (const Failure& failure) {
      // A record changed between the check and the copy: what was written
      // ends with a section whose name create refuses before it makes anything.
      out << kNotWholeSection;
      throw Failure(failure.what() +
                    std::string("; the file written so far ends with a section that "
                                "'taldb create' refuses"));
    }
  }
}

// ---- SQL that PostgreSQL (psql) and SQLite (sqlite3) both load unchanged:
// only what the two read alike. Identifiers in double quotes and text in
// single quotes, each doubling its quote character; backslashes are plain
// characters in both (PostgreSQL's standard_conforming_strings, on since 9.1).
// Numbers are written bare, so a value that does not fit its column's type is
// refused rather than written as a statement one of them would reject.

std::string sqlName(const std::string& name) {
  std::string text = "\"";
  for (char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + "\"";
}

// The first column is the key; as a table constraint, so that a first column
// of text is a key too.
std::string createTable(const CTable& table) {
  std::vector<Kind> kinds = columnKinds(table);
  std::string text = "CREATE TABLE " + sqlName(table.name()) + " (";
  for (size_t i = 0; i < kinds.size(); ++i) {
    const char* type = kinds[i] == Kind::Int      ? " integer, "
                       : kinds[i] == Kind::BigInt ? " bigint, "
                                                  : " text, ";
    text += sqlName(table.columns()[i]->name()) + type;
  }
  return text + "PRIMARY KEY (" + sqlName(table.columns().at(0)->name()) + "));\n";
}

// One transaction: a load that fails part of the way leaves nothing behind,
// and a dump that is not whole ends with ROLLBACK, so that it changes nothing.
// A record holding a value SQL cannot hold is not written; each such value is
// named, up to kNamedEntries of them.
void writeSqlFile(Context& ctx, const std::vector<CTable*>& tables, LeftOut& leftOut) {
  // Names are known before a record is read: one SQL would not take back the
  // same fails the dump before anything is written.
  std::vector<std::string> names;
  for (const CTable* table : tables) names.push_back(table->name());
  for (size_t i = 0; i < tables.size(); ++i) {
    std::string problem = sqlNameProblem(names, i, "table");
    if (!problem.empty())
      throw Failure("dump: the table name " + quoted(shownText(names[i])) + " " + problem);
    std::vector<std::string> columns = columnNames(*tables[i]);
    for (size_t c = 0; c < columns.size() && problem.empty(); ++c) {
      problem = sqlNameProblem(columns, c, "column");
      if (!problem.empty()) {
        throw Failure("dump: table " + names[i] + ": the column name " +
                      quoted(shownText(columns[c])) + " " + problem);
      }
    }
  }
  std::ostream& out = ctx.out();
  out << "BEGIN;\n";
  size_t refusedValues = 0, refusedRecords = 0;
  std::vector<std::string> header;
  for (CTable* table : tables) {
    out << createTable(*table);
    header = columnNames(*table);
    std::vector<Kind> kinds = columnKinds(*table);
    std::string insert = "INSERT INTO " + sqlName(table->name()) + " VALUES (", line;
    copyRecords(ctx, *table, leftOut, [&](const std::vector<std::string>& values) {
      line = insert;
      size_t refused = 0;
      for (size_t i = 0; i < values.size(); ++i) {
        std::string problem = sqlValueProblem(values[i], kinds[i]);
        if (!problem.empty() && ++refused && ++refusedValues <= kNamedEntries) {
          ctx.err() << "taldb: dump: table " << table->name() << ", record "
                    << quoted(shownText(values[0])) << ", column " << header[i] << ": the value "
                    << quoted(shownText(values[i])) << " (" << kindWord(kinds[i]) << ") " << problem
                    << "; SQL cannot hold it as it is\n";
        }
        if (!problem.empty() || refused) continue;
        line += i ? ", " : "";
        if (kinds[i] != Kind::Text) {
          line += values[i];
          continue;
        }
        line += '\'';
        for (char c : values[i]) line += c == '\'' ? std::string("''") : std::string(1, c);
        line += '\'';
      }
      if (refused != 0) {
        ++refusedRecords;
        return true;
      }
      out << line << ");\n";
      return static_cast<bool>(out);
    });
  }
  bool allowed = ctx.options().allowPartial;
  out << (allowed || (refusedRecords == 0 && leftOut.count() == 0) ? "COMMIT;\n" : "ROLLBACK;\n");
  if (refusedValues > kNamedEntries) {
    ctx.err() << "taldb: dump: and "
              << plural(refusedValues - kNamedEntries, "more value", "more values")
              << " that SQL cannot hold; 'taldb check' names every one\n";
  }
  if (refusedRecords != 0) {
    std::string text =
        "dump: " + plural(refusedValues, "value", "values") + " that SQL cannot hold as it is (" +
        (refusedValues > kNamedEntries ? "the first 20 " : "") +
        "named above): " + plural(refusedRecords, "record was", "records were") + " left out";
    if (!allowed) {
      throw Failure(text +
                    ", and the dump ends with ROLLBACK, so that loading it changes nothing; "
                    "--allow-partial writes the rest with COMMIT");
    }
    ctx.err() << "taldb: " << text << "; a partial copy, as --allow-partial asks\n";
  }
}

}  // namespace
static int cmdDump(Context& ctx) {
  // A dump is a copy: what it leaves out fails it, once the rest is written.
  LeftOut leftOut(ctx);
  bool named = !ctx.args().empty();
  Style style = ctx.style();
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, named);
  for (size_t i = 0; i < tables.size(); ++i) {
    CTable& table = *tables[i];
    if (!named) beginNamedSet(ctx.out(), style, i, table.name());
    RowWriter writer(ctx.out(), style, columnNames(table), columnKinds(table), !named);
    copyRecords(ctx, table, leftOut, [&](const std::vector<std::string>& values) {
      writer.row(values);
      return static_cast<bool>(ctx.out());
    });
    writer.end();
  }
  if (!named) endNamedSets(ctx.out(), style, tables.size());
  leftOut.finish("dump", "this dump is not whole");
  return kExitOk;
}

static int cmdExport(Context& ctx) {
  Format format = ctx.options().format;
  if (format != Format::Ini && format != Format::Sql) return cmdDump(ctx);
  LeftOut leftOut(ctx);
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, !ctx.args().empty());
  if (format == Format::Ini) {
    writeIniFile(ctx, tables, leftOut);
    bool whole = leftOut.count() == 0 || ctx.options().allowPartial;
    if (!whole) ctx.out() << kNotWholeSection;
    leftOut.finish("dump",
                   "this dump is not whole, and it ends with a section that 'taldb create' "
                   "refuses");
  } else {
    writeSqlFile(ctx, tables, leftOut);
    leftOut.finish("dump",
                   "this dump is not whole, and it ends with ROLLBACK, so that loading it "
                   "changes nothing");
  }
  return kExitOk;
}

extern const Command kDumpCommand;
const Command kDumpCommand = {
    "dump",
    "[TABLE] [--allow-partial]",
    "every record of one table or of all tables",
    "Without TABLE: a section per table; in CSV each begins with a '# TABLE' line, in JSON\n"
    "the tables are the keys of one object. --format ini writes a description file that\n"
    "'taldb create' reads back into the same database (a backup); it refuses values that\n"
    "would not read back the same. --format sql writes one transaction of CREATE TABLE\n"
    "and INSERT statements that psql and sqlite3 load unchanged (integer, bigint and text\n"
    "columns); a name the two would not take back the same fails the dump and writes\n"
    "nothing; each value that does not fit its column's type or text that is not UTF-8\n"
    "is named, its record left out, and the dump ends with ROLLBACK (with --allow-partial:\n"
    "COMMIT), so that loading it changes nothing.\n"
    "In JSON, values of int and bigint columns that fit their type are numbers, all other\n"
    "values strings, bytes that are not UTF-8 each U+FFFD.\n"
    "A dump is whole or fails: every entry of a table directory that is not a record it\n"
    "can copy (an unreadable or short record file, one holding a value longer than 2047\n"
    "bytes or more than the store reads, a marked or .tmp name, a directory, a symbolic\n"
    "link, which is never followed, a table directory without a schema file) is named on\n"
    "standard error, and once the rest is written the dump exits with status 1.\n"
    "Records are written as they are read, in id order.\n"
    "--allow-partial takes such a partial dump deliberately: the entries are still named,\n"
    "and the exit status is 0.\n",
    0,
    1,
    kOptRoot | kOptFormat | kOptDumpFormats | kOptPartial,
    cmdExport};

}  // namespace taldb_cli
