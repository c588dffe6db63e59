// A listing condition ("name=value,name=value"), parsed and then tested
// against records. Terms are read left to right up to the first one without
// "=" (or an empty one); the condition holds when there was at least one
// complete term and every complete term finds a column of its name whose value
// is exactly its value.
#ifndef TALDB_TABLE_RECORDCONDITION_H
#define TALDB_TABLE_RECORDCONDITION_H

#include <stddef.h>

#include <vector>

#include "taldb/CColumn.h"

namespace TalDB {

class RecordCondition {
 public:
  // condition must not be null: a null condition selects every record in a
  // listing and is refused by a direct match, so callers decide. Parsing
  // makes two blocks of the condition's size, the copy a match has always
  // made and the parsed terms beside it, and nothing else, so that it runs
  // out of memory exactly where that copy would.
  explicit RecordCondition(const char* condition);
  ~RecordCondition();
  RecordCondition(const RecordCondition&) = delete;
  RecordCondition& operator=(const RecordCondition&) = delete;

  // False when memory ran out: nothing can be matched then.
  bool parsed() const { return m_terms != nullptr; }
  // Whether the columns hold the condition; false when it was not parsed.
  bool matches(const std::vector<CColumn*>& columns) const;

 private:
  // The condition's own copy, split in place.
  char* m_text = nullptr;
  // Each complete term as its name and its unescaped value, both
  // NUL-terminated, one after the other.
  char* m_terms = nullptr;
  size_t m_count = 0;
};

// What a direct match reports and answers: a condition that cannot be copied
// is logged with -1 and matches nothing.
bool MatchCondition(const char* condition, const std::vector<CColumn*>& columns);

}  // namespace TalDB

#endif  // TALDB_TABLE_RECORDCONDITION_H
