// The database: its root directory and the catalogue of its tables.
#ifndef TALDB_CTALDATABASE_H
#define TALDB_CTALDATABASE_H

#include <vector>

#include "taldb/CTable.h"
#include "taldb/Export.h"

// The host's configuration object, owned by the utility library.
class _kwConfigClass;

namespace TalDB {

class TALDB_EXPORT CTalDatabase {
 public:
  static CTalDatabase* Instance();
  static void Delete();
  CTalDatabase();
  ~CTalDatabase();
  CTalDatabase(const CTalDatabase&) = delete;
  CTalDatabase& operator=(const CTalDatabase&) = delete;

  int open(const char* root);
  int open();
  int open(_kwConfigClass* config);
  CTable* GetTable(const char* name);

  int AddTable(const char* name, const char* columns);
  int CheckAddTable(const char* name, const char* iniFile);
  int createTableF(const char* name);
  int DropTable(const char* name);
  int DropTable(CTable* table);
  int drop();

  int Create(const char* iniFile, int id, const char* host);
  int createSchemaF(const char* table, const char* schema);
  int recover();
  int repair();
  int insertRecordsFromIni(const char* table, const char* inifile);

  const char* path() const;
  bool isOpened() const;
  int tableCount() const;
  const std::vector<CTable*>& tables() const;
  int id() const;
  const char* host() const;

 private:
  int registerNewTable(const char* name);
  int addTableWithSchema(const char* name, const char* schema);
  void destroyTables();
  void unregister(CTable* table);

  char m_dbPath[4095];
  bool m_opened;
  std::vector<CTable*> m_tables;
  int m_tableCount;
  int m_id;
  char m_host[1024];

  static CTalDatabase* m_instance;
};

}  // namespace TalDB

#endif  // TALDB_CTALDATABASE_H
