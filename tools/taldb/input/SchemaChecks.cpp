// What the tool checks against a table's schema before the store is called.
#include "input/SchemaChecks.h"

#include <taldb/CUtils.h>

#include <algorithm>

#include "base/Errors.h"
#include "base/Text.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "store/Descriptions.h"
#include "store/Records.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

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

bool readsBackWhole(const std::string& text) {
  std::string copy = text;
  TalDB::CUtils::trim(&copy[0]);
  return copy.c_str() == text && text.find('\n') == std::string::npos;
}

std::string schemaText(const std::string& table, const std::vector<CColumn*>& columns) {
  std::string text = table + " has " + plural(columns.size(), "column", "columns") + ":";
  for (const CColumn* column : columns) text += std::string(" ") + column->name();
  return text;
}

}  // namespace taldb_cli
