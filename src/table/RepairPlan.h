// What repair does with each entry of a table directory. A durable write
// leaves "N.tmp" behind when it is interrupted; whether that file is the only
// copy of an acknowledged record, an abandoned write, or a torn one decides
// what happens to it. The tool's dry run and its check ask the same question,
// so the answer is given here once.
#ifndef TALDB_TABLE_REPAIRPLAN_H
#define TALDB_TABLE_REPAIRPLAN_H

#include <stddef.h>

namespace TalDB {

enum class RepairAction {
  kNone,          // a record, or anything else repair leaves alone
  kFinishWrite,   // N.tmp holds a whole record and N is missing: rename it into place
  kDropStale,     // N.tmp beside N: a write that never completed; N stands
  kDropTorn,      // N.tmp that is not a whole record, N missing: an add never acknowledged
  kRemoveMarked,  // a marked name, removed as recovery removes it
};

// The action for the entry `name` of the table directory `dir`, for a table of
// `columns` columns. Reads the leftover's first line; changes nothing.
RepairAction PlanRepair(const char* dir, const char* name, size_t columns);

// What the action does, in the past tense when done and as a plan otherwise;
// repair logs "PATH: outcome", the tool prints the same words.
const char* RepairOutcome(RepairAction action, bool done);

// Carries the action out under the caller's locks and logs one line for the
// file it changed. Returns 0, or 20 when a leftover could not be renamed or
// removed. A marked name that cannot be removed is passed over, as recovery
// passes it over. The caller flushes the directory after removals.
int ApplyRepair(const char* dir, const char* name, RepairAction action);

// A table is made schema file first, flushed, then its directory: a table
// whose directory is missing was cut short in its creation and never held a
// record. Its creation is finished (the directory made) when the schema file
// is whole, and undone (the schema file removed) when the cut came while it
// was written: a schema cut short would load fewer columns, or, empty, keep
// the whole database from opening. Either way the directory above is flushed
// and one line logged. False when the step failed.
bool RepairTableCreation(const char* schemaPath, const char* tableDir);

// A database is made schema directory first, then its data directory: a
// creation cut short between the two leaves tables that have nowhere to keep
// a directory. The data directory is made as creation makes it (mode 0700)
// and its name flushed, with one line logged. True when it is there.
bool RepairDataDirectory(const char* dataDir);

}  // namespace TalDB

#endif  // TALDB_TABLE_REPAIRPLAN_H
