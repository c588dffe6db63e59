// What the tool checks against a table's schema before the store is called,
// and how it reads a table directory entry by entry, so that what it prints
// and counts is what the store can read back whole.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Cli.h"
#include "database/SectionList.h"
#include "gux.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "util/FileSystem.h"
#include "util/LineReader.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

// "hosts has 3 columns: id name port", the schema a refusal is measured by.
std::string schemaText(const std::string& table, const std::vector<CColumn*>& columns) {
  std::string text = table + " has " + plural(columns.size(), "column", "columns") + ":";
  for (const CColumn* column : columns) text += std::string(" ") + column->name();
  return text;
}

// Checks a record text against columns; first is the column of the first
// value. A UsageError that starts with where.
void checkRecordText(const std::string& where, const std::string& table,
                     const std::vector<CColumn*>& columns, size_t first, const std::string& text) {
  std::vector<std::string> values = storedValues(text);
  size_t expected = columns.size() - std::min(first, columns.size());
  if (values.size() != expected) {
    throw UsageError(where + schemaText(table, columns) + "; " +
                     plural(values.size(), "value", "values") + " given for " +
                     (first ? "the " + plural(expected, "column", "columns") + " after the first"
                            : "all of them, the id first"));
  }
  for (size_t i = 0; i < values.size(); ++i)
    checkColumnValue(where, table, columns[first + i]->name(), values[i]);
}

// The columns of a schema line, as the store loads them.
struct SchemaColumns {
  explicit SchemaColumns(std::string line) { TalDB::ParseSchemaLine(&line[0], list); }
  ~SchemaColumns() {
    for (CColumn* column : list) delete column;
  }
  SchemaColumns(const SchemaColumns&) = delete;
  SchemaColumns& operator=(const SchemaColumns&) = delete;
  std::vector<CColumn*> list;
};

// One table section of a description file: its schema and seed records.
void checkDescriptionTable(const std::string& file, const char* table) {
  std::string where = "create: table " + std::string(table) + ": ";
  char schema[TalDB::kValueLimit];
  if (InifileGetValueA(table, "schema", schema, sizeof schema, nullptr, file.c_str()) < 1)
    throw UsageError(where + "no 'schema' key in " + file + "; nothing was created");
  SchemaColumns columns(schema);
  for (int n = 1;; ++n) {
    std::string key = "rec_" + std::to_string(n);
    char record[TalDB::kPathLimit];
    if (InifileGetValueA(table, key.c_str(), record, sizeof record, nullptr, file.c_str()) < 1)
      return;
    try {
      checkRecordText(where + "record " + key + ": ", table, columns.list, 0, record);
    } catch (const UsageError& e) {
      throw UsageError(e.what() + std::string("; nothing was created"));
    }
  }
}

// An assignment the store would take without storing it: the first column is
// the record's file name, which an update does not rename.
std::string assignmentProblem(CTable& table, const char* name, const char* value) {
  if (table.getcolumn(name) == table.columns().front())
    return "the first column '" + std::string(name) +
           "' names the record and is not changed by an update; write the record under the "
           "new id with 'put', then delete the old one";
  checkColumnValue("invalid assignment: ", table.name(), name, value);
  checkTypedValue("invalid assignment: ", table.name(), *table.getcolumn(name), value);
  return "";
}

}  // namespace

// Split with the store's own splitter, so that the tool's count and the
// store's agree.
std::vector<std::string> storedValues(const std::string& text) {
  std::string copy = text;
  TalDB::RecordValues values(&copy[0]);
  std::vector<std::string> out;
  while (const char* value = values.next()) out.push_back(value);
  return out;
}

void checkColumnValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value) {
  if (value.find('|') != std::string::npos)
    throw UsageError(where + "the value of " + table + "." + column + " must not contain '|'");
  if (!TalDB::IsWholeValue(value.size())) {
    throw UsageError(where + "the value of " + table + "." + column + " is " +
                     std::to_string(value.size()) + " bytes; the store keeps at most " +
                     std::to_string(TalDB::kValueLimit - 1) + " of a value");
  }
}

void checkRecordValues(const CTable& table, const std::string& text, bool idFirst) {
  checkRecordText("", table.name(), table.columns(), idFirst ? 0 : 1, text);
}

void checkDescriptionRecords(const std::string& file) {
  TalDB::SectionList sections;
  if (sections.read(file.c_str()) != 0 || sections.next() == nullptr) return;
  while (const char* name = sections.next()) checkDescriptionTable(file, name);
}

void checkTerms(CTable& table, const std::string& text, const char* kind) {
  std::string copy = text;
  TalDB::TermList terms(&copy[0]);
  char* name;
  char* value;
  std::string problem;
  if (!terms.next(&name, &value)) problem = "it is empty";
  for (bool more = problem.empty(); more && problem.empty(); more = terms.next(&name, &value)) {
    if (name == nullptr)
      problem = "it has an empty term";
    else if (value == nullptr)
      problem = "the term '" + std::string(name) + "' has no '='";
    else if (*name == '\0')
      problem = "a term has no column name";
    else if (table.getcolumn(name) == nullptr)
      problem = "no column '" + std::string(name) + "'";
    else if (kind[0] == 'a')
      problem = assignmentProblem(table, name, value);
  }
  if (!problem.empty()) {
    throw UsageError(std::string("invalid ") + kind + " " + quoted(text) + ": " + problem + "; " +
                     schemaText(table.name(), table.columns()) + "; write COLUMN=VALUE[,...]");
  }
}

std::string recordProblem(CTable& table, const std::string& name) {
  if (TalDB::IsMarkedName(name.c_str()))
    return "a marked name, never a record; 'taldb recover' removes it";
  if (TalDB::IsTempName(name.c_str()))
    return "the temporary file of an interrupted write, never a record; 'taldb check' says "
           "what to do with it";
  std::string path = joinPath(table.path(), name);
  if (TalDB::IsDirectory(path.c_str())) return "a directory where only record files belong";
  int status = table.readRecord(name.c_str());
  return status == 0 ? "" : unreadableRecord(table, path, status);
}

Listing readRecords(Context& ctx, CTable& table, const char* condition) {
  // A listing is taken between writes, so that a record being rewritten is
  // neither missed nor reported as unreadable.
  SettledTable settled(table);
  std::vector<std::string> names;
  if (!readDirectory(table.path(), names)) {
    throw Failure(std::string("list ") + table.name() +
                  ": failed (status 7): cannot open the table directory " + table.path() + ": " +
                  std::strerror(errno));
  }
  Listing listing;
  listing.rows.header = columnNames(table);
  for (const std::string& name : names) {
    std::string problem = recordProblem(table, name);
    if (!problem.empty())
      listing.skipped.push_back(std::string(table.name()) + "/" + name + ": " + problem);
    else if (condition == nullptr || table.MatchColumn(condition))
      listing.rows.rows.push_back(currentValues(table));
  }
  ctx.log().clear();
  return listing;
}

}  // namespace taldb_cli
