// The checks of what a command would write against a table's schema, with
// the store's own splitting, so that nothing is written that would not read
// back whole. UsageErrors.
#ifndef TALDB_TOOL_INPUT_SCHEMACHECKS_H
#define TALDB_TOOL_INPUT_SCHEMACHECKS_H

#include <taldb/taldb.h>

#include <string>
#include <vector>

namespace taldb_cli {

// The record text given to addRecord: one value per column (the id first when
// idFirst, else the columns after the first), each checked.
void checkRecordValues(const TalDB::CTable& table, const std::string& text, bool idFirst);
// "hosts has 3 columns: id name port", the schema a refusal is measured by.
std::string schemaText(const std::string& table, const std::vector<TalDB::CColumn*>& columns);
// Whether text reads back unchanged from a description file: create's reader
// trims keys, values and section names (and seeding every value) with the
// store's own notion of a blank, and a line feed would end the line.
bool readsBackWhole(const std::string& text);
// The seed records of every table of a description file, before create.
void checkDescriptionRecords(const std::string& file);
// A condition (kind "condition") or an assignment list (kind "assignment"):
// complete COLUMN=VALUE terms naming columns of the table; an assignment may
// not change the first column.
void checkTerms(TalDB::CTable& table, const std::string& text, const char* kind);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_INPUT_SCHEMACHECKS_H
