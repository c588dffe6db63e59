// The database: its root directory and the catalogue of its tables.
//
// A process normally uses the one instance of Instance(): open(root) loads a
// table for every file of ROOT/tal/schema, GetTable finds them, Delete()
// destroys them. A new database is made by open(root) (10: nothing there
// yet), Create(description, id, host), then open().
//
// Ownership: the database owns every CTable of its catalogue. A CTable* from
// GetTable or tables() stays valid until that table is dropped or the
// database destroyed; never delete it.
//
// Threads: nothing here takes a lock of the database. Run opening, the
// catalogue operations (AddTable, CheckAddTable, DropTable, drop), Create,
// recover and repair one at a time, and not while other threads use the
// tables they touch. The record operations on the tables lock per table.
//
// Processes and crashes: see CTable.h. After an unclean stop call repair()
// once the database is open and before writing.
//
// Durability: a table that AddTable, CheckAddTable or Create acknowledged is
// on stable storage: its schema file flushed, then its name, then its
// directory's name (Create flushes tal/ and the root first). A power cut
// before the directory leaves a table without one, which never held a
// record: repair() makes the directory when the schema file is whole, and
// removes the schema file when the cut came while it was written. Such a
// schema file, empty, makes open() fail with 5: call repair() on that
// database all the same (it repairs what keeps the database from opening),
// then open the root with a fresh database object. DropTable's and drop()'s
// removals are flushed as they go.
//
// Nothing is rolled back: a failing operation leaves on disk what it did
// before the failure, as listed with each operation.
#ifndef TALDB_CTALDATABASE_H
#define TALDB_CTALDATABASE_H

#include <vector>

#include "taldb/CTable.h"
#include "taldb/Export.h"

// The host's configuration object, owned by the utility library.
class _kwConfigClass;

namespace TalDB {

class CTalDatabase {
 public:
  // The process-wide instance, made on first use (null only without memory).
  TALDB_EXPORT static CTalDatabase* Instance();
  // Destroys the instance and its tables; touches no file.
  TALDB_EXPORT static void Delete();
  TALDB_EXPORT CTalDatabase();
  TALDB_EXPORT ~CTalDatabase();
  CTalDatabase(const CTalDatabase&) = delete;
  CTalDatabase& operator=(const CTalDatabase&) = delete;

  // Sets the root (always, also when opened), then open().
  TALDB_EXPORT int open(const char* root);
  // Loads the catalogue once: 0 (and at once when opened already); 10 no
  // schema directory; 20 no root; or the first failing table's Open() code
  // (3, 4, 5, 18), the tables before it staying registered.
  TALDB_EXPORT int open();
  // Takes the root from StorageDatabase under [Storage] of the host's
  // configuration file: 20 when there is none, else as open().
  TALDB_EXPORT int open(_kwConfigClass* config);
  // The first registered table of that name, or null.
  TALDB_EXPORT CTable* GetTable(const char* name);

  // Adds a table from "col(int), col(varchar)": writes its schema file (over
  // any file of that name), makes its directory, registers it. 0; 1 unknown
  // type; 11 item beginning with "(" or ")"; 18; 20 registered already; 4 or
  // Open()'s code, leaving the schema file and directory on disk.
  TALDB_EXPORT int AddTable(const char* name, const char* columns);
  // As AddTable, from the "schema" key of the table's section in iniFile;
  // 0 at once when registered; 12 no schema there.
  TALDB_EXPORT int CheckAddTable(const char* name, const char* iniFile);
  // Makes the table directory (mode 0775); 0 whatever mkdir did.
  TALDB_EXPORT int createTableF(const char* name);
  // Removes an empty registered table from disk and catalogue: 0; 7 not
  // registered; 14 not empty; 20 rmdir or unlink failed (when unlink fails
  // the directory is gone and the table stays registered).
  TALDB_EXPORT int DropTable(const char* name);
  // Removes an empty table's directory and schema file; the caller destroys
  // and unregisters the object. 0, 14 or 20.
  TALDB_EXPORT int DropTable(CTable* table);
  // Clears and drops every table, then removes tal/. 0 or the first failure's
  // code (17, 14, 20); tables before it are gone.
  TALDB_EXPORT int drop();

  // Lays down the database of a description file: tal/schema, tal/database,
  // then per table section (the first section is not a table) its schema
  // file, its directory and its rec_N seed records. The catalogue is not
  // filled: call open() afterwards. 0; 4; 12 no sections or a table without
  // "schema"; 20; or the seeding code. Tables before a failure stay on disk.
  TALDB_EXPORT int Create(const char* iniFile, int id, const char* host);
  // Writes the schema file: the schema line, "\n", a fingerprint; flushes
  // it and the schema directory. 0 or 4.
  TALDB_EXPORT int createSchemaF(const char* table, const char* schema);
  // recover() of every table in catalogue order, stopping at the first
  // failure (7 or 20).
  TALDB_EXPORT int recover();
  // repair() of every table in catalogue order; a failing table does not stop
  // the others. 0, or the first failure's code (7 or 20). On a database whose
  // open() failed it first finishes or undoes, by name, the creation of each
  // table that could not be loaded and has no directory. A registered table
  // whose creation it undoes (its schema file cut short, its directory never
  // made) leaves the catalogue and is destroyed: a CTable* to it from
  // GetTable or tables() is no longer valid, and GetTable returns null for
  // its name, as after a fresh open(). (CTable::repair() called on such a
  // table directly removes the files alone; the object is then stale.)
  TALDB_EXPORT int repair();
  // Adds the records rec_1, rec_2, ... of the table's section, placeholders
  // filled, through a table object of its own (which excludes the
  // catalogue's object on writes only through the directory lock). 0, Open()'s
  // code, 19, or addRecord's code; records before a failure stay.
  TALDB_EXPORT int insertRecordsFromIni(const char* table, const char* inifile);

  TALDB_EXPORT const char* path() const;                    // the root
  TALDB_EXPORT bool isOpened() const;                       // a scan ran to its end
  TALDB_EXPORT int tableCount() const;                      // tables in the catalogue
  TALDB_EXPORT const std::vector<CTable*>& tables() const;  // the catalogue, in order; owned here
  TALDB_EXPORT int id() const;                              // fills {{$talid}}
  TALDB_EXPORT const char* host() const;                    // fills {{$talhost}}

 private:
  int registerNewTable(const char* name);
  int addTableWithSchema(const char* name, const char* schema);
  int createTableFromDescription(const char* table, const char* iniFile);
  void destroyTables();
  void unregister(CTable* table);
  void repairUnopenedTables();
  // Whether repair removed the table's schema file and it has no directory.
  bool CreationUndone(const CTable* table) const;

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
