// The schema file's second line: the fingerprint of its first, written when
// the table is made. The store never reads it back, since a table loads from
// its schema line alone; the tool checks it, so that a schema file cut short
// by a power cut, or changed by hand, is found before records are written
// through the fewer columns it would load.
#ifndef TALDB_TABLE_SCHEMASEAL_H
#define TALDB_TABLE_SCHEMASEAL_H

#include <stddef.h>

namespace TalDB {

// Room for a fingerprint: 64 hexadecimal digits and the NUL.
constexpr size_t kFingerprintSize = 65;

// The fingerprint of a schema line, the empty text when it cannot be made.
void SchemaFingerprint(const char* line, size_t length, char* out);

enum class SchemaSeal {
  kWhole,          // the schema line, "\n", and its fingerprint
  kNoLineEnd,      // the file ends in or right after the schema line: cut short
  kNoFingerprint,  // nothing after the line end
  kMismatch,       // a fingerprint that is not the schema line's
  kUnreadable,     // the file cannot be read
};

// Reads the schema file at path and says whether it is whole.
SchemaSeal CheckSchemaSeal(const char* path);

// What is wrong, for a person: "" for a whole schema file.
const char* DescribeSchemaSeal(SchemaSeal seal);

}  // namespace TalDB

#endif  // TALDB_TABLE_SCHEMASEAL_H
