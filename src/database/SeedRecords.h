// The seed records of a table's section in a description file: the values of
// "rec_1", "rec_2", ... up to the first key that is missing or empty, each
// with the placeholders "{{$talid}}", "{{$talhost}}" and "{{$talversion}}"
// replaced by the database's id, its host and the version. Seeding through
// the database writes them one at a time; the tool writes them in batches.
#ifndef TALDB_DATABASE_SEEDRECORDS_H
#define TALDB_DATABASE_SEEDRECORDS_H

#include <stddef.h>

namespace TalDB {

class SeedRecords {
 public:
  // A record of a description file is read into a buffer of this size.
  static constexpr size_t kRecordSize = 4095;

  SeedRecords(const char* table, const char* iniFile, int id, const char* host);
  SeedRecords(const SeedRecords&) = delete;
  SeedRecords& operator=(const SeedRecords&) = delete;

  enum Result { kRecord, kEnd, kCannotReplace };
  // The next record text into record (kRecordSize bytes). kCannotReplace
  // when a placeholder's replacement would not fit: *placeholder then names
  // it.
  Result next(char* record, const char** placeholder);

 private:
  struct Placeholder {
    const char* text;
    const char* replacement;
  };

  const char* m_table;
  const char* m_iniFile;
  char m_idText[16];
  Placeholder m_placeholders[3];
  int m_next = 1;
};

}  // namespace TalDB

#endif  // TALDB_DATABASE_SEEDRECORDS_H
