// The record line: how the current record is stored and what a whole stored
// record looks like. The first column is the file name and is never stored;
// every other value is written as it is, followed by "|", with no line feed.
#ifndef TALDB_TABLE_RECORDFORMAT_H
#define TALDB_TABLE_RECORDFORMAT_H

#include <stddef.h>

#include <vector>

#include "taldb/CColumn.h"
#include "util/TextBuffer.h"

namespace TalDB {

// Appends the stored form of the columns' values to out ("web01|8080|" for
// id, name, port). False when memory ran out.
bool SerializeRecord(const std::vector<CColumn*>& columns, TextBuffer& out);

// Whether a line is a record as the writers leave it for a table of that many
// columns: at least one "|"-terminated field per column after the first, the
// last one closed by its "|". A table of one column (or none) stores the empty
// line. A write cut short fails this test, since its last field is unclosed or
// missing.
bool IsWholeRecord(const char* line, size_t length, size_t columns);

}  // namespace TalDB

#endif  // TALDB_TABLE_RECORDFORMAT_H
