// The store's text formats, each written once: the schema line, the record
// line, the record text of addRecord, the assignment list of updateRecord,
// the condition term and the column specification of AddTable. The table, the
// database, the tool and the fuzz targets all go through these.
//
// The splitters work in place on a writable copy, as the utility library's
// tokeniser does: a separator becomes a NUL, two separators in a row give an
// empty piece, and a trailing separator adds none.
#ifndef TALDB_TABLE_RECORDFORMAT_H
#define TALDB_TABLE_RECORDFORMAT_H

#include <stddef.h>

#include <vector>

#include "taldb/CColumn.h"
#include "util/Path.h"
#include "util/TextBuffer.h"

namespace TalDB {

// ---- Schema line: column definitions "name[type]" joined by "|".

// Appends a column for each definition in order, up to the first that does
// not parse (which ends the list without failing). 0, or 18 without memory.
int ParseSchemaLine(char* line, std::vector<CColumn*>& columns);

// ---- Record line: the values of every column but the first, each followed
// by "|" ("web01|8080|"); the first column is the file name.

bool SerializeRecord(const std::vector<CColumn*>& columns, TextBuffer& out);

// The stored values of a record line, one at a time.
class RecordFields {
 public:
  explicit RecordFields(char* line) : m_cursor(line) {}
  // The next value as stored (at most 2047 bytes), or null when the line has
  // no more fields. Valid until the next call.
  const char* next();

 private:
  char* m_cursor;
  char m_value[kValueLimit];
};

// Sets the columns from a record line, the first to the record name: how
// reading splits a record, for the store and the tool alike. Returns how many
// were set: fewer than all when the line runs out of fields or a value cannot
// be copied. Nothing set before a failure is undone. Splits the line in place.
size_t SetColumns(const std::vector<CColumn*>& columns, const char* name, char* line);

// Whether a line is a record as the writers leave it for a table of that many
// columns: at least one "|"-closed field per column after the first, the
// last one closed. A table of one column (or none) stores the empty line. A
// write cut short fails this test.
bool IsWholeRecord(const char* line, size_t length, size_t columns);

// Whether a value of that many bytes is stored and read back whole: a longer
// one is cut to kValueLimit - 1 bytes when it is added or read.
inline bool IsWholeValue(size_t length) { return length < kValueLimit; }

// The position of the first field of a record line that is too long to be
// read back whole (0 for the second column), or -1 when every field fits.
// Splits the line in place.
long FirstCutField(char* line);

// ---- Record text of addRecord: comma-separated values, each trimmed and cut
// to 2047 bytes; with idFirst the first value is the record's id (its atol
// value), not stored.

struct RecordText {
  unsigned int id = 0;  // the first value's number, when idFirst
  long values = 0;      // every value counted, the id included
  TextBuffer content;   // the record line of the stored values
};

// The values of a record text, one at a time: each trimmed in place, not yet
// cut. Null at the end; a trailing comma adds no empty value.
class RecordValues {
 public:
  explicit RecordValues(char* text) : m_cursor(text) {}
  char* next();

 private:
  char* m_cursor;
};

// Fills out from text. False when memory ran out.
bool ParseRecordText(const char* text, bool idFirst, RecordText& out);

// The same from count values given one by one (the group write's value form),
// each stored exactly as given, commas and blanks included; with idFirst the
// first is the record's id, its number taken as a record text's first value
// gives it. 0; 11 for a value that the record line would not keep whole (a
// "|", a line feed, more than 2047 bytes), logged with its position; 18
// without memory.
int ParseRecordValues(const char* const* values, long count, bool idFirst, RecordText& out);

// ---- Assignment list ("name = web02, port=9090") and condition terms
// ("port=8080,name=web01"): comma-separated items of a name, "=" and a value.

// Splits one item at its first "=": removes every white-space character from
// the name and trims the value. value is null when the item has no "=".
// Returns the name, or null for an empty item.
char* SplitTerm(char* item, char** value);

// The items of an assignment list or a condition, one at a time.
class TermList {
 public:
  explicit TermList(char* text) : m_cursor(text) {}
  // False at the end. Otherwise name (null for an empty item) and value
  // (null without "=") are set as SplitTerm sets them.
  bool next(char** name, char** value);

 private:
  char* m_cursor;
};

// ---- Column specification of AddTable: "id(int), name(varchar)".

// The schema line of a column specification, held in a writable copy: white
// space anywhere is dropped from it first. 0; 1 a type other than int and varchar;
// 11 an item beginning with "(" or ")"; 18 without memory (logged).
int ColumnSpecToSchema(char* spec, TextBuffer& schema);

}  // namespace TalDB

#endif  // TALDB_TABLE_RECORDFORMAT_H
