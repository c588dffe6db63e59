// One table: its schema, its directory of record files, and the lock that
// serialises work on them.
#ifndef TALDB_CTABLE_H
#define TALDB_CTABLE_H

#include <dirent.h>
#include <pthread.h>

#include <vector>

#include "taldb/CColumn.h"
#include "taldb/CDirIterator.h"
#include "taldb/Export.h"

namespace TalDB {

class TALDB_EXPORT CTable {
 public:
  CTable();
  CTable(const char* dbPath, const char* name);
  // Copies share the source's lock, so work through any of them is serialised.
  CTable(const CTable& other);
  CTable& operator=(const CTable& other);
  ~CTable();

  // Schema.
  int Open();
  int Open(const char* name);
  int readSchema(const char* path);
  CColumn* getcolumn(const char* name);
  const char* name() const;

  // Reading one record into the columns.
  int readRecord(const char* name);
  bool is_ignorable_file(const char* name, bool includeMarked);
  bool IsDir(struct dirent* entry, char* dir);

  // Writing records.
  int safe_save(const char* name, const char* content, int length);
  int addRecord(const char* text, int* id, unsigned int maxId);
  unsigned int get_max_id();
  int update(const char* path);
  int updateRecord(const char* name, const char* values);
  // Takes the malloc'ed buffer over and frees it.
  int update_col(char* text);
  int deleteRecord(const char* name);

  // Listing and lookups.
  int records();
  int ListRecordsStart(const char* condition);
  int ListRecordsNext(const char* condition);
  int ListRecordsStart(std::vector<CColumn*>& columns, const char* condition);
  int ListRecordsNext(std::vector<CColumn*>& columns, const char* condition);
  bool MatchColumn(const char* condition);
  int GetRecord(const char* id, std::vector<CColumn*>& columns);
  int GetValStr(const char* key, char* buf, unsigned int size);
  int GetValStr(const char* id, const char* key, char* buf, unsigned int size);
  int GetValBigInt(const char* key, long& out);
  int GetValBigInt(const char* id, const char* key, long& out);
  int GetValInt(const char* key, int& out);
  int GetValInt(const char* id, const char* key, int& out);

  // Maintenance.
  int recover();
  int clear();
  int repair();

  const std::vector<CColumn*>& columns() const;
  const char* path() const;
  const char* schemaPath() const;
  bool hasLock() const;

 private:
  int removeEntries(bool markedOnly, int unopenable);
  int walkRecords(const char* condition);
  int startListing(const char* condition);
  template <class Lookup>
  int withRecordById(const char* id, Lookup lookup);
  int saveCurrentRecord(const char* path);
  void deleteColumns();
  void copyColumnsFrom(const CTable& other);

  char* m_name;
  std::vector<CColumn*> m_columns;
  CDirIterator m_dirIter;
  char m_path[4096];
  char m_schemaPath[4096];
  char* m_dbPath;
  pthread_mutex_t* m_mutex;
  bool m_ownMutex;
};

}  // namespace TalDB

#endif  // TALDB_CTABLE_H
