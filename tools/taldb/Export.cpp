// dump's two formats for other readers than a person: a description file that
// create reads back into the same database (a backup), and SQL statements that
// load into PostgreSQL and SQLite. Both are built whole before anything is
// printed, so that a refused value writes nothing; an entry of a table
// directory that is no readable record is left out and fails the dump after
// the rest is written, as in every format.

#include <cctype>

#include "Cli.h"
#include "taldb/CUtils.h"
#include "util/LineReader.h"
#include "util/Path.h"

namespace taldb_cli {

namespace {

using TalDB::CTable;

// ---- The description file.

// What create's reader reads back unchanged: it trims keys, values and section
// names (and seeding trims every value) with the store's own notion of a blank,
// and a line feed would end the line.
bool readsBackWhole(const std::string& text) {
  std::string copy = text;
  TalDB::CUtils::trim(&copy[0]);
  return copy.c_str() == text && text.find('\n') == std::string::npos;
}

// A value inside a seed record: seeding splits at ",", trims each value and
// replaces the {{$tal...}} placeholders.
std::string seedValueProblem(const std::string& value) {
  if (value.find(',') != std::string::npos) return "holds ','";
  if (!readsBackWhole(value)) return "has blanks at either end or a line feed";
  if (value.find("{{$tal") != std::string::npos) return "holds '{{$tal', which seeding replaces";
  return "";
}

// A seed record's text: the values joined by ", ", the record's name first.
std::string seedRecord(const CTable& table, const Rows& rows, size_t index) {
  const std::vector<std::string>& row = rows.rows[index];
  std::string where = "dump: table " + std::string(table.name()) + ", record " + quoted(row[0]);
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
      throw Failure(where + ", column " + rows.header[i] + ": the value " + quoted(row[i]) + " " +
                    problem + "; a description file cannot hold it");
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

std::string iniSection(Context& ctx, CTable& table, LeftOut& leftOut) {
  std::string name = table.name();
  if (!readsBackWhole(name))
    throw Failure("dump: table " + quoted(name) + ": a description file cannot name it");
  std::string text = "\n[" + name + "]\nschema = " + schemaLine(table) + "\n";
  Rows rows = copiedRows(ctx, table, leftOut);
  for (size_t i = 0; i < rows.rows.size(); ++i)
    text += "rec_" + std::to_string(i + 1) + " = " + seedRecord(table, rows, i) + "\n";
  return text;
}

std::string iniFile(Context& ctx, const std::vector<CTable*>& tables, LeftOut& leftOut) {
  // create passes over the first section; it must not take a table's name,
  // which would then be passed over too. No table name holds a '/'.
  std::string first = "database";
  for (const CTable* table : tables)
    if (first == table->name()) first = "database/backup";
  std::string text = "[" + first +
                     "]\n; Written by 'taldb dump --format ini'. 'taldb --root DIR create FILE'"
                     " makes the same tables and records under DIR.\n";
  for (CTable* table : tables) text += iniSection(ctx, *table, leftOut);
  return text;
}

// ---- SQL that PostgreSQL (psql) and SQLite (sqlite3) both load unchanged:
// only what the two read alike. Identifiers in double quotes and text in
// single quotes, each doubling its quote character; backslashes are plain
// characters in both (PostgreSQL's standard_conforming_strings, on since 9.1).
// Numbers are written bare, so a value that does not fit its column's type is
// refused rather than written as a statement one of them would reject.

// PostgreSQL keeps the first 63 bytes of a name.
constexpr size_t kSqlNameLimit = 63;

// Why a table or column name would not come back the same from both, or "".
std::string sqlNameProblem(const std::string& name) {
  if (!isUtf8(name)) return "is not UTF-8 text";
  if (name.size() > kSqlNameLimit) return "is longer than the 63 bytes PostgreSQL keeps of a name";
  std::string lower;
  for (char c : name) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  // Each keeps names of these beginnings for its own tables.
  if (lower.compare(0, 3, "pg_") == 0 || lower.compare(0, 7, "sqlite_") == 0)
    return "begins with 'pg_' or 'sqlite_', which the databases keep for themselves";
  return "";
}

// SQLite compares names without regard to ASCII case.
bool sameSqlName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::string sqlName(const std::string& name) {
  std::string text = "\"";
  for (char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + "\"";
}

std::string sqlValue(const std::string& where, const std::string& column, const std::string& value,
                     Kind kind) {
  std::string problem = typeProblem(value, kind);
  // PostgreSQL takes only valid text of the database's encoding.
  if (kind == Kind::Text && !isUtf8(value)) problem = "is not UTF-8 text";
  if (!problem.empty()) {
    throw Failure(where + ", column " + column + ": the value " + quoted(value) + " (" +
                  kindWord(kind) + ") " + problem + "; SQL cannot hold it as it is");
  }
  if (kind != Kind::Text) return value;
  std::string text = "'";
  for (char c : value) text += c == '\'' ? std::string("''") : std::string(1, c);
  return text + "'";
}

// The first column is the key; as a table constraint, so that a first column
// of text is a key too.
std::string sqlTable(Context& ctx, CTable& table, LeftOut& leftOut) {
  Rows rows = copiedRows(ctx, table, leftOut);
  std::string where = "dump: table " + std::string(table.name());
  std::string text = "CREATE TABLE " + sqlName(table.name()) + " (";
  for (size_t i = 0; i < rows.header.size(); ++i) {
    const std::string& name = rows.header[i];
    std::string problem = sqlNameProblem(name);
    for (size_t j = 0; j < i && problem.empty(); ++j)
      if (sameSqlName(rows.header[j], name)) problem = "is the name of another column, to SQLite";
    if (!problem.empty())
      throw Failure(where + ": the column name " + quoted(name) + " " + problem);
    const char* type = rows.kinds[i] == Kind::Int      ? " integer, "
                       : rows.kinds[i] == Kind::BigInt ? " bigint, "
                                                       : " text, ";
    text += sqlName(name) + type;
  }
  text += "PRIMARY KEY (" + sqlName(rows.header.at(0)) + "));\n";
  for (const std::vector<std::string>& row : rows.rows) {
    text += "INSERT INTO " + sqlName(table.name()) + " VALUES (";
    for (size_t i = 0; i < row.size(); ++i) {
      text += (i ? ", " : "") +
              sqlValue(where + ", record " + quoted(row[0]), rows.header[i], row[i], rows.kinds[i]);
    }
    text += ");\n";
  }
  return text;
}

// One transaction: a load that fails part of the way leaves nothing behind.
std::string sqlFile(Context& ctx, const std::vector<CTable*>& tables, LeftOut& leftOut) {
  std::string text = "BEGIN;\n";
  for (size_t i = 0; i < tables.size(); ++i) {
    std::string name = tables[i]->name();
    std::string problem = sqlNameProblem(name);
    for (size_t j = 0; j < i && problem.empty(); ++j)
      if (sameSqlName(tables[j]->name(), name)) problem = "is the name of another table, to SQLite";
    if (!problem.empty()) throw Failure("dump: the table name " + quoted(name) + " " + problem);
    text += sqlTable(ctx, *tables[i], leftOut);
  }
  return text + "COMMIT;\n";
}

}  // namespace

int cmdExport(Context& ctx) {
  Format format = ctx.options().format;
  if (format != Format::Ini && format != Format::Sql) return cmdDump(ctx);
  LeftOut leftOut(ctx);
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, !ctx.args().empty());
  ctx.out() << (format == Format::Ini ? iniFile(ctx, tables, leftOut)
                                      : sqlFile(ctx, tables, leftOut));
  // What could be read is written; entries left out still fail the dump.
  leftOut.finish("dump", "this dump is not whole");
  return kExitOk;
}

}  // namespace taldb_cli
