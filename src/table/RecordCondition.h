// A listing condition ("name=value,name=value"), parsed once and then tested
// against any number of records. Terms are read left to right up to the first
// one without "=" (or an empty one); the condition holds when there was at
// least one complete term and every complete term finds a column of its name
// whose value is exactly its value.
#ifndef TALDB_TABLE_RECORDCONDITION_H
#define TALDB_TABLE_RECORDCONDITION_H

#include <vector>

#include "taldb/CColumn.h"

namespace TalDB {

class RecordCondition {
 public:
  // condition must not be null: a null condition selects every record in a
  // listing and is refused by a direct match, so callers decide.
  explicit RecordCondition(const char* condition);
  ~RecordCondition();
  RecordCondition(const RecordCondition&) = delete;
  RecordCondition& operator=(const RecordCondition&) = delete;

  bool matches(const std::vector<CColumn*>& columns) const;

 private:
  struct Term {
    const char* name;
    const char* value;
  };

  // The condition's own copy, split in place, then the unescaped values.
  char* m_text = nullptr;
  char* m_values = nullptr;
  std::vector<Term> m_terms;
  bool m_noMemory = false;
};

}  // namespace TalDB

#endif  // TALDB_TABLE_RECORDCONDITION_H
