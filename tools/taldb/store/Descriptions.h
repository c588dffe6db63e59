// The door to the library's own reading of description files (their table
// sections and seed records, placeholders filled) and to the utility
// library's log levels, which the tool's log of the library sorts by.
#ifndef TALDB_TOOL_STORE_DESCRIPTIONS_H
#define TALDB_TOOL_STORE_DESCRIPTIONS_H

#include "GuxLogLevel.h"
#include "database/SectionList.h"
#include "database/SeedRecords.h"

#endif  // TALDB_TOOL_STORE_DESCRIPTIONS_H
