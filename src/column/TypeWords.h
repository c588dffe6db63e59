// The type words of a column definition ("id[int]") and the type codes they
// stand for: the one list that the schema reader parses and the tool prints.
#ifndef TALDB_COLUMN_TYPEWORDS_H
#define TALDB_COLUMN_TYPEWORDS_H

#include "taldb/CColumn.h"

namespace TalDB {

struct TypeWord {
  const char* word;
  int code;
};

// In the order they are tried.
constexpr TypeWord kTypeWords[] = {
    {"int", TYPE_INT}, {"bigint", TYPE_BIGINT}, {"varchar", TYPE_VARCHAR}};

// The word of a type code, or otherwise for a code without one (TYPE_NONE).
inline const char* TypeWordOf(int code, const char* otherwise) {
  for (const TypeWord& type : kTypeWords)
    if (type.code == code) return type.word;
  return otherwise;
}

}  // namespace TalDB

#endif  // TALDB_COLUMN_TYPEWORDS_H
