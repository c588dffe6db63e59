// The door to the library's own rules for records and schemas: the record
// line and record text formats, which names are records, the schema seal,
// the type words, and what repair does with each leftover. The tool uses
// these rather than spelling them again.
#ifndef TALDB_TOOL_STORE_RECORDS_H
#define TALDB_TOOL_STORE_RECORDS_H

#include <taldb/taldb.h>

#include <string>
#include <vector>

#include "column/TypeWords.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/RepairPlan.h"
#include "table/SchemaSeal.h"

namespace taldb_cli {

// The columns of a schema line, as the store loads them.
struct SchemaColumns {
  explicit SchemaColumns(std::string line) { TalDB::ParseSchemaLine(&line[0], list); }
  ~SchemaColumns() {
    for (TalDB::CColumn* column : list) delete column;
  }
  SchemaColumns(const SchemaColumns&) = delete;
  SchemaColumns& operator=(const SchemaColumns&) = delete;
  std::vector<TalDB::CColumn*> list;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_STORE_RECORDS_H
