// One column of a table: its definition (name and type) and the value it
// holds for the record last read into its table. The value is always text;
// the typed getters convert it on each call.
//
// Threads: a column does no locking. The columns a table hands out (columns(),
// getcolumn, the vector forms of listing) belong to the table, change with
// every record it reads and are used under its mutex or while no other thread
// works on that table; never delete them.
//
// Results: 0 or a code, each failure also logged: 18 no memory, 20 a bad
// buffer or a value that is not a whole number.
#ifndef TALDB_CCOLUMN_H
#define TALDB_CCOLUMN_H

#include <cstdint>

#include "taldb/Export.h"

namespace TalDB {

enum { TYPE_INT = 0, TYPE_BIGINT = 1, TYPE_VARCHAR = 2, TYPE_NONE = 5 };

class CColumn {
 public:
  TALDB_EXPORT CColumn();
  TALDB_EXPORT explicit CColumn(const char* name);
  TALDB_EXPORT CColumn(const CColumn& other);
  // A member-wise copy would give two columns one value buffer to free.
  CColumn& operator=(const CColumn&) = delete;
  TALDB_EXPORT ~CColumn();

  // Parses a definition such as "id[int]"; 0, 1 (unknown type word) or
  // 2 (no "[").
  TALDB_EXPORT int SetInfo(const char* definition);
  // Replaces the value with a copy of value (the empty text for null).
  TALDB_EXPORT int SetData(const char* value);
  TALDB_EXPORT int GetDataStr(char* buf, unsigned int size);
  TALDB_EXPORT int GetDataBigInt(int64_t& out);
  TALDB_EXPORT int GetDataInt(int& out);
  TALDB_EXPORT bool isPrimaryKey() const;
  // The value itself, or null while the column has never been given one.
  TALDB_EXPORT const char* data() const;
  TALDB_EXPORT const char* name() const;
  TALDB_EXPORT int type() const;

 private:
  // An absent value reads as the empty text everywhere.
  const char* valueText() const;

  char* m_name;
  int m_type;
  bool m_primaryKey;
  char* m_data;
};

}  // namespace TalDB

#endif  // TALDB_CCOLUMN_H
