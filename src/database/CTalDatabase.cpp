#include "taldb/CTalDatabase.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "database/SectionList.h"
#include "database/SeedRecords.h"
#include "gux.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/RepairPlan.h"
#include "table/SchemaSeal.h"
#include "util/FileSystem.h"
#include "util/Guards.h"
#include "util/Path.h"
#include "util/Status.h"
#include "util/TextBuffer.h"

namespace TalDB {

namespace {

constexpr const char kDefaultHost[] = "127.0.0.1";

// Mode of the table directories; the process's file-creation mask applies.
constexpr mode_t kTableDirMode = 0775;
// Mode of the schema and data directories made by Create.
constexpr mode_t kTreeMode = 0700;
// Mode of schema files; the process's file-creation mask applies.
constexpr mode_t kSchemaMode = 0666;

// Flushes root + "/" + sub, where a name was just made or removed.
void FlushUnder(const char* root, const char* sub) {
  char path[kPathLimit];
  RootPath(path, root, sub);
  FlushDirectory(path);
}

}  // namespace

CTalDatabase* CTalDatabase::m_instance = nullptr;

// ---- Instance ---------------------------------------------------------------

CTalDatabase* CTalDatabase::Instance() {
  if (m_instance == nullptr) {
    m_instance = new (std::nothrow) CTalDatabase();
    if (m_instance == nullptr) NoMemory();
  }
  return m_instance;
}

void CTalDatabase::Delete() {
  delete m_instance;
  m_instance = nullptr;
}

CTalDatabase::CTalDatabase()
    : m_dbPath(), m_opened(false), m_tables(), m_tableCount(0), m_id(1), m_host() {
  guxstrcpy(m_host, kDefaultHost, sizeof(m_host));
}

CTalDatabase::~CTalDatabase() { destroyTables(); }

void CTalDatabase::destroyTables() {
  for (CTable* table : m_tables) delete table;
  m_tables.clear();
  m_tableCount = 0;
}

const char* CTalDatabase::path() const { return m_dbPath; }
bool CTalDatabase::isOpened() const { return m_opened; }
int CTalDatabase::tableCount() const { return m_tableCount; }
const std::vector<CTable*>& CTalDatabase::tables() const { return m_tables; }
int CTalDatabase::id() const { return m_id; }
const char* CTalDatabase::host() const { return m_host; }

// ---- Opening ----------------------------------------------------------------

int CTalDatabase::open(const char* root) {
  if (!ParamsPresent(root)) return 20;
  guxstrcpy(m_dbPath, root, sizeof(m_dbPath));
  return open();
}

int CTalDatabase::open() {
  if (m_opened) return 0;
  if (m_dbPath[0] == '\0') return Fail(20, "Tal DB's path is NULL! Please try open(xxx)");
  char schemaDir[kPathLimit];
  RootPath(schemaDir, m_dbPath, kSchemaDir);
  CDirIterator dir;
  if (dir.open(schemaDir) != 0) return 10;
  // Every entry of the schema directory is a table, whatever kind of entry.
  while (struct dirent* entry = dir.read()) {
    if (IsDotEntry(entry->d_name)) continue;
    int rc = registerNewTable(entry->d_name);
    if (rc != 0) return rc;
  }
  m_opened = true;
  return 0;
}

int CTalDatabase::open(_kwConfigClass* config) {
  if (!ParamsPresent(config)) return 20;
  char configFile[kPathLimit];
  pthread_mutex_lock(config->mutex());
  guxstrcpy(configFile, config->filePath() != nullptr ? config->filePath() : "",
            sizeof(configFile));
  pthread_mutex_unlock(config->mutex());

  int length = InifileGetValueA(_gux_config_section_string_table_[GUX_CFG_SECTION_STORAGE],
                                _gux_config_entry_string_table_[GUX_CFG_ENTRY_STORAGE_DATABASE],
                                m_dbPath, sizeof(m_dbPath), "", configFile);
  if (length < 1) return Fail(20, "can't find StorageDatabase Path from [%s]", configFile);
  return open();
}

CTable* CTalDatabase::GetTable(const char* name) {
  if (!ParamsPresent(name)) return nullptr;
  for (CTable* table : m_tables) {
    if (strcmp(table->name(), name) == 0) return table;
  }
  return nullptr;
}

int CTalDatabase::registerNewTable(const char* name) {
  CTable* table = new (std::nothrow) CTable(m_dbPath, name);
  if (table == nullptr) return NoMemory();
  int rc = table->Open();
  if (rc == 0) {
    try {
      m_tables.push_back(table);
      ++m_tableCount;
      return 0;
    } catch (const std::bad_alloc&) {
      rc = NoMemory();
    }
  }
  delete table;
  return rc;
}

void CTalDatabase::unregister(CTable* table) {
  auto at = std::find(m_tables.begin(), m_tables.end(), table);
  if (at == m_tables.end()) return;
  m_tables.erase(at);
  --m_tableCount;
  delete table;
}

// ---- Catalogue ----------------------------------------------------------------

int CTalDatabase::createSchemaF(const char* table, const char* schema) {
  if (!ParamsPresent(table, schema)) return 20;
  char path[kPathLimit];
  TablePath(path, m_dbPath, kSchemaDir, table);
  size_t length = strlen(schema);
  char fingerprint[kFingerprintSize];
  SchemaFingerprint(schema, length, fingerprint);

  int fd = CreateFile(path, kSchemaMode);
  if (fd < 0) return Fail(4, "failed to create schema file: %s", path);
  // Write failures after the file was opened are not detected: the schema file
  // is written once, when the table is made, and read back at every open.
  TextBuffer content;
  if (content.append(schema, length) && content.append('\n') && content.append(fingerprint)) {
    safe_write(fd, content.data(), content.size());
  }
  // Flushed, file and name, before the table is acknowledged: a schema cut
  // short by a power cut would load fewer columns, or none.
  FlushFile(fd);
  CloseFile(fd);
  FlushUnder(m_dbPath, kSchemaDir);
  return 0;
}

int CTalDatabase::addTableWithSchema(const char* name, const char* schema) {
  int rc = createSchemaF(name, schema);
  if (rc != 0) return Fail(rc, "creat schema error [%s]", name);
  createTableF(name);
  rc = registerNewTable(name);
  if (rc != 0) ErrorA(rc, "open table error");
  return rc;
}

int CTalDatabase::AddTable(const char* name, const char* columns) {
  if (!ParamsPresent(name, columns)) return 20;
  if (GetTable(name) != nullptr) return Fail(20, "table [%s] already exist", name);
  char* copy = strdup(columns);
  if (copy == nullptr) return Fail(18, "can't strdup");
  TextBuffer schema;
  int rc = ColumnSpecToSchema(copy, schema);
  free(copy);
  return rc != 0 ? rc : addTableWithSchema(name, schema.data());
}

int CTalDatabase::CheckAddTable(const char* name, const char* iniFile) {
  if (!ParamsPresent(name, iniFile)) return 20;
  if (GetTable(name) != nullptr) return 0;
  char schema[kValueLimit];
  if (InifileGetValueA(name, "schema", schema, sizeof(schema), nullptr, iniFile) < 1)
    return Fail(12, "Can't get table [%s] schema information from inifile [%s]", name, iniFile);
  return addTableWithSchema(name, schema);
}

int CTalDatabase::createTableF(const char* name) {
  if (!ParamsPresent(name)) return 20;
  char path[kPathLimit];
  TablePath(path, m_dbPath, kDataDir, name);
  // An existing directory is as good as a new one; anything worse shows up
  // when the table's records are first used.
  MakeDirectory(path, kTableDirMode);
  FlushUnder(m_dbPath, kDataDir);
  return 0;
}

int CTalDatabase::DropTable(const char* name) {
  if (!ParamsPresent(name)) return 20;
  CTable* table = GetTable(name);
  if (table == nullptr) {
    // Logged as a table that is not there (14), returned as not found (7).
    ErrorA(14, "table %s does not exist", name);
    return 7;
  }
  int rc = DropTable(table);
  if (rc != 0) return Fail(rc, "can't drop table [%s]", name);
  unregister(table);
  return 0;
}

int CTalDatabase::DropTable(CTable* table) {
  if (table == nullptr) return Fail(20, "parameter null");
  if (table->records() != 0) return Fail(14, "the table is not empty");
  char path[kPathLimit];
  TablePath(path, m_dbPath, kDataDir, table->name());
  if (RemoveDirectory(path) == -1)
    return Fail(20, "can't rmdir [%s], reason [%s]", path, strerror(errno));
  FlushUnder(m_dbPath, kDataDir);
  TablePath(path, m_dbPath, kSchemaDir, table->name());
  if (RemoveFile(path) != 0)
    return Fail(20, "can't unlink [%s], reason [%s]", path, strerror(errno));
  FlushUnder(m_dbPath, kSchemaDir);
  return 0;
}

int CTalDatabase::drop() {
  while (!m_tables.empty()) {
    CTable* table = m_tables.front();
    int rc = table->clear();
    if (rc != 0) return Fail(rc, "can't clear talbe [%s]", table->name());
    rc = DropTable(table);
    if (rc != 0) return Fail(rc, "can't Drop table [%s]", table->name());
    unregister(table);
  }
  for (const char* sub : {kSchemaDir, kDataDir, kContainerDir}) {
    char path[kPathLimit];
    RootPath(path, m_dbPath, sub);
    if (!DeleteTreeA(path))
      return Fail(20, "can delete dir [%s] reason [%s]", path, strerror(errno));
  }
  return 0;
}

// ---- Creation, recovery, seeding --------------------------------------------

int CTalDatabase::Create(const char* iniFile, int id, const char* host) {
  if (!ParamsPresent(iniFile)) return 20;
  m_id = id != 0 ? id : 1;
  guxstrcpy(m_host, host != nullptr && host[0] != '\0' ? host : kDefaultHost, sizeof(m_host));
  if (gux_access(iniFile, 0) != 0) return Fail(20, "can't find ini file at [%s]", iniFile);
  for (const char* sub : {kSchemaDir, kDataDir}) {
    char path[kPathLimit];
    RootPath(path, m_dbPath, sub);
    if (!CreateTreeA(path, kTreeMode)) return Fail(20, "Create Tree [%s] failed", path);
  }
  // The new directories' names are on disk before any table is written in
  // them: the container's two, then the container's own under the root.
  FlushUnder(m_dbPath, kContainerDir);
  FlushDirectory(m_dbPath);
  SectionList sections;
  int rc = sections.read(iniFile);
  if (rc != 0) return rc;
  // The first section describes the database, not a table.
  sections.next();
  while (char* table = sections.next()) {
    rc = createTableFromDescription(table, iniFile);
    if (rc != 0) return rc;
  }
  return 0;
}

int CTalDatabase::createTableFromDescription(const char* table, const char* iniFile) {
  char schema[kValueLimit];
  // A table section without a schema ends the creation without a message.
  if (InifileGetValueA(table, "schema", schema, sizeof(schema), nullptr, iniFile) < 1) return 12;
  int rc = createSchemaF(table, schema);
  if (rc != 0) return rc;
  createTableF(table);
  return insertRecordsFromIni(table, iniFile);
}

int CTalDatabase::recover() {
  for (CTable* table : m_tables) {
    int rc = table->recover();
    if (rc != 0) return rc;
  }
  return 0;
}

int CTalDatabase::repair() {
  // Unlike recovery, a failing table does not stop the run: a host repairs at
  // start-up and wants every table it can get back.
  int result = 0;
  char schemaDir[kPathLimit], dataDir[kPathLimit];
  RootPath(schemaDir, m_dbPath, kSchemaDir);
  RootPath(dataDir, m_dbPath, kDataDir);
  if (m_dbPath[0] != '\0' && IsDirectory(schemaDir) && !RepairDataDirectory(dataDir)) result = 7;
  if (!m_opened && m_dbPath[0] != '\0') repairUnopenedTables();
  std::vector<CTable*> undone;
  for (CTable* table : m_tables) {
    int rc = table->repair();
    if (result == 0) result = rc;
    if (rc == 0 && CreationUndone(table)) undone.push_back(table);
  }
  // A table whose creation repair undid has no schema file left: the
  // catalogue follows the disk, so that no record is written into a table
  // that the next open() would not load.
  for (CTable* table : undone) unregister(table);
  return result;
}

bool CTalDatabase::CreationUndone(const CTable* table) const {
  char schemaPath[kPathLimit];
  TablePath(schemaPath, m_dbPath, kSchemaDir, table->name());
  return gux_access(schemaPath, 0) != 0 && gux_access(table->path(), 0) != 0;
}

// A schema file left empty or cut short by a power cut during a table's
// creation keeps open() from loading the database: the tables open() could not
// register are looked at by name, and the creation of one without its
// directory is undone (or finished), so that open() succeeds again.
void CTalDatabase::repairUnopenedTables() {
  char schemaDir[kPathLimit];
  RootPath(schemaDir, m_dbPath, kSchemaDir);
  CDirIterator schemas;
  if (schemas.open(schemaDir) != 0) return;
  char schemaPath[kPathLimit], tableDir[kPathLimit];
  while (struct dirent* entry = schemas.read()) {
    if (IsDotEntry(entry->d_name) || GetTable(entry->d_name) != nullptr) continue;
    TablePath(tableDir, m_dbPath, kDataDir, entry->d_name);
    TablePath(schemaPath, m_dbPath, kSchemaDir, entry->d_name);
    if (gux_access(tableDir, 0) != 0) RepairTableCreation(schemaPath, tableDir);
  }
}

int CTalDatabase::insertRecordsFromIni(const char* table, const char* inifile) {
  if (!ParamsPresent(table, inifile)) return 20;
  if (__guxlog_trace_location) {
    __TraceA("%s: Insert record from table=%s, inifile=%s", "insertRecordsFromIni", table, inifile);
  }
  // A table object of its own, with its own mutex: seeding neither needs nor
  // touches the catalogue.
  CTable seeded(m_dbPath, table);
  int rc = seeded.Open();
  if (rc != 0) return Fail(rc, "Can't get table");
  SeedRecords records(table, inifile, m_id, m_host);
  char record[SeedRecords::kRecordSize];
  const char* placeholder = nullptr;
  for (;;) {
    SeedRecords::Result next = records.next(record, &placeholder);
    if (next == SeedRecords::kEnd) return 0;
    if (next == SeedRecords::kCannotReplace) return Fail(19, "Unable to replace %s", placeholder);
    rc = seeded.addRecord(record, nullptr, 0);
    if (rc != 0) return rc;
  }
}

}  // namespace TalDB
