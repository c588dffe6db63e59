#include "taldb/CTable.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <optional>

#include "gux.h"
#include "table/DurableWrite.h"
#include "table/GroupWrite.h"
#include "table/ReadFence.h"
#include "table/RecordCondition.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/RepairPlan.h"
#include "util/DirLock.h"
#include "util/FileSystem.h"
#include "util/Guards.h"
#include "util/LineReader.h"
#include "util/Path.h"
#include "util/Shortcuts.h"
#include "util/Status.h"
#include "util/StreamAccess.h"

namespace TalDB {

namespace {

char* CopyText(const char* text) { return strdup(text != nullptr ? text : ""); }

const char* TextOf(const char* text) { return text != nullptr ? text : ""; }

// The first column of the given name, with the lookups' report when there is
// none; the report's code is -1 for text lookups and 13 for numeric ones.
CColumn* KeyColumn(CTable& table, const char* key, int reportCode) {
  CColumn* column = table.getcolumn(key);
  if (column == nullptr && key != nullptr) InfoA(reportCode, "can't find column by key [%s]", key);
  return column;
}

int ExposeColumns(const std::vector<CColumn*>& columns, std::vector<CColumn*>& out) {
  try {
    out = columns;
  } catch (const std::bad_alloc&) {
    return NoMemory();
  }
  return 0;
}

// The largest numeric value of a record name on an open stream, read to its
// end; 0 when there is none.
unsigned int LargestRecordNumber(CDirIterator& stream) {
  unsigned int largest = 0;
  while (const char* name = NextRecordName(stream)) {
    unsigned int number = RecordNumber(name);
    if (number > largest) largest = number;
  }
  return largest;
}

// The condition of one walk step. With the shortcuts it is parsed at the first
// record it is tested on and kept for the rest of the step; the plain way
// copies and parses it afresh for every record. Either way a condition that
// cannot be copied logs "no memory" and fails the match for each record it is
// tried on, and is tried again on the next.
class StepCondition {
 public:
  explicit StepCondition(const char* condition) : m_text(condition) {}
  StepCondition(const StepCondition&) = delete;
  StepCondition& operator=(const StepCondition&) = delete;

  // A null condition selects every record.
  bool holds(const std::vector<CColumn*>& columns) {
    if (m_text == nullptr) return true;
    if (!ShortcutsOn()) return MatchCondition(m_text, columns);
    if (!m_parsed || !m_parsed->parsed()) {
      m_parsed.reset();
      m_parsed.emplace(m_text);
    }
    if (!m_parsed->parsed()) return MatchCondition(m_text, columns);
    return m_parsed->matches(columns);
  }

 private:
  const char* m_text;
  std::optional<RecordCondition> m_parsed;
};

// An id given twice in one batch: the later record replaces the earlier,
// which is then not written at all. The entries are ordered by id through a
// list of their positions, so that a batch costs no comparison of every pair.
// False without memory for that list.
bool SkipReplaced(GroupEntry* entries, int count) {
  std::unique_ptr<int[]> order(new (std::nothrow) int[count]);
  if (order == nullptr) return false;
  for (int i = 0; i < count; ++i) order[i] = i;
  std::sort(order.get(), order.get() + count, [&](int a, int b) {
    return entries[a].id != entries[b].id ? entries[a].id < entries[b].id : a < b;
  });
  for (int i = 0; i + 1 < count; ++i)
    entries[order[i]].skip = entries[order[i]].id == entries[order[i + 1]].id;
  return true;
}

}  // namespace

// ---- The object

CTable::CTable()
    : m_name(CopyText("")),
      m_path(),
      m_schemaPath(),
      m_dbPath(CopyText("")),
      m_mutex(nullptr),
      m_ownMutex(false) {}

CTable::CTable(const char* dbPath, const char* name)
    : m_name(CopyText(name)),
      m_path(),
      m_schemaPath(),
      m_dbPath(CopyText(dbPath)),
      m_mutex(NewSharedMutex()),
      m_ownMutex(m_mutex != nullptr) {
  if (dbPath == nullptr || name == nullptr) ErrorA(20, "invalid parameter");
}

// m_ownMutex says which object made the mutex, as hosts see it; the mutex
// itself is counted, so it outlives whichever of the sharing objects goes
// last.
CTable::CTable(const CTable& other)
    : m_name(CopyText(other.m_name)),
      m_path(),
      m_schemaPath(),
      m_dbPath(CopyText(other.m_dbPath)),
      m_mutex(ShareMutex(other.m_mutex)),
      m_ownMutex(false) {
  guxstrcpy(m_path, other.m_path, kPathLimit);
  guxstrcpy(m_schemaPath, other.m_schemaPath, kPathLimit);
  copyColumnsFrom(other);
}

CTable& CTable::operator=(const CTable& other) {
  if (this == &other) return *this;
  free(m_name);
  m_name = CopyText(other.m_name);
  free(m_dbPath);
  m_dbPath = CopyText(other.m_dbPath);
  deleteColumns();
  guxstrcpy(m_path, other.m_path, kPathLimit);
  guxstrcpy(m_schemaPath, other.m_schemaPath, kPathLimit);
  copyColumnsFrom(other);
  pthread_mutex_t* previous = m_mutex;
  m_mutex = ShareMutex(other.m_mutex);
  m_ownMutex = false;
  ReleaseMutex(previous);
  return *this;
}

CTable::~CTable() {
  deleteColumns();
  ReleaseMutex(m_mutex);
  m_mutex = nullptr;
  m_dirIter.close();
  free(m_name);
  free(m_dbPath);
}

void CTable::deleteColumns() {
  for (CColumn* column : m_columns) delete column;
  m_columns.clear();
}

void CTable::copyColumnsFrom(const CTable& other) {
  try {
    m_columns.reserve(other.m_columns.size());
  } catch (const std::bad_alloc&) {
    NoMemory();
    return;
  }
  for (const CColumn* source : other.m_columns) {
    // The column copy reports a value it could not duplicate and stays valueless.
    CColumn* copy = new (std::nothrow) CColumn(*source);
    if (copy == nullptr) {
      NoMemory();
      return;
    }
    m_columns.push_back(copy);
  }
}

const char* CTable::name() const { return TextOf(m_name); }
const std::vector<CColumn*>& CTable::columns() const { return m_columns; }
const char* CTable::path() const { return m_path; }
const char* CTable::schemaPath() const { return m_schemaPath; }
bool CTable::hasLock() const { return m_mutex != nullptr; }

// ---- Schema

int CTable::Open() {
  if (!LockAcquired(m_mutex)) return 20;
  TablePath(m_path, TextOf(m_dbPath), kDataDir, TextOf(m_name));
  TablePath(m_schemaPath, TextOf(m_dbPath), kSchemaDir, TextOf(m_name));
  if (gux_access(m_schemaPath, 0) != 0) return Fail(3, "no such file [%s]", m_schemaPath);
  MutexGuard hold(m_mutex);
  try {
    return readSchema(m_schemaPath);
  } catch (const std::exception& e) {
    return Fail(4, "Catched runtime exception in readSchema: %s", e.what());
  } catch (...) {
    return Fail(4, "Catched unknown runtime exception in readSchema");
  }
}

int CTable::Open(const char* name) {
  if (!ParamsPresent(name)) return 20;
  char* copy = CopyText(name);
  if (copy == nullptr) return NoMemory();
  free(m_name);
  m_name = copy;
  return Open();
}

int CTable::readSchema(const char* path) {
  // The old columns go first, so a failed read leaves the table without any.
  deleteColumns();
  if (!ParamsPresent(path)) return 20;
  LineReader line;
  LineReader::Result read = line.read(path);
  if (read == LineReader::kCannotOpen) return Fail(4, "failed to open schema file: %s", path);
  if (read == LineReader::kNoMemory) return NoMemory();
  if (line.size() == 0) return FailInfo(5, "schema length is 0");
  return ParseSchemaLine(line.data(), m_columns);
}

CColumn* CTable::getcolumn(const char* name) {
  if (!ParamsPresent(name)) return nullptr;
  for (CColumn* column : m_columns) {
    if (strcmp(column->name(), name) == 0) return column;
  }
  return nullptr;
}

// ---- Reading one record

int CTable::readRecord(const char* name) {
  if (!ParamsPresent(name)) return 20;
  return loadRecord(name, -1, 0, nullptr);
}

// A walk reads each record relative to the directory stream it walks, which
// spares the kernel the root path and this code the formatting of it. dirFd is
// that stream's descriptor only while the stream was opened on m_path, so that
// the name opened is the file m_path + "/" + name; a name the stream no longer
// finds there (its directory replaced since) is opened by the path after all,
// and so is one whose full path would be cut at the path limit, since the cut
// path is what reading has always opened: nameRoom is one more than the
// longest name whose path is not cut.
int CTable::loadRecord(const char* name, int dirFd, size_t nameRoom, ReadFence* fence) {
  LineReader line;
  LineReader::Result read = LineReader::kCannotOpen;
  if (dirFd >= 0 && strlen(name) < nameRoom) read = line.readAt(dirFd, name);
  char path[kPathLimit];
  if (read == LineReader::kCannotOpen) {
    JoinPath(path, m_path, name);
    read = line.read(path);
    // A record removed between the walk's reading of its name and its open
    // may be another process's rewrite in flight: its new file is looked for
    // once the writer is done, before the next one can start.
    if (read == LineReader::kCannotOpen && errno == ENOENT && fence != nullptr && fence->lock()) {
      read = line.read(path);
      fence->unlock();
    }
  }
  if (read == LineReader::kCannotOpen) return Fail(8, "failed to open record file: %s", path);
  // The copy of the record line that could not be made is the one failure
  // reading does not report.
  if (read == LineReader::kNoMemory) return 18;
  if (line.size() == 0) return Fail(16, "record length is 0, error");
  // The line is split in a heap copy of its own, the one allocation reading
  // has always made, so that it runs out of memory where it always did.
  char* copy = static_cast<char*>(malloc(line.size() + 1));
  if (copy == nullptr) return 18;
  memcpy(copy, line.data(), line.size() + 1);
  size_t set = m_columns.empty() ? 0 : SetColumns(m_columns, name, copy);
  free(copy);
  if (set != m_columns.size()) return Fail(16, "can't readRecord: record's content error");
  return 0;
}

bool CTable::is_ignorable_file(const char* name, bool includeMarked) {
  if (!ParamsPresent(name)) return true;
  if (IsDotEntry(name)) return true;
  if (includeMarked) return false;
  if (!IsMarkedName(name)) return false;
  ReportMarkedName(name);
  return true;
}

bool CTable::IsDir(struct dirent* entry, char* dir) {
  if (!LockAcquired(m_mutex)) return false;
  if (!ParamsPresent(entry, dir)) return false;
  char path[kPathLimit];
  JoinPath(path, dir, entry->d_name);
  MutexGuard hold(m_mutex);
  return IsDirectory(path);
}

// ---- Writing records

int CTable::safe_save(const char* name, const char* content, int length) {
  if (!ParamsPresent(name, content) || length < 0) return -1;
  return DurableWrite(name, content, length);
}

int CTable::saveCurrentRecord(const char* path) {
  TextBuffer content;
  if (!SerializeRecord(m_columns, content)) return NoMemory();
  if (DurableWrite(path, content.data(), static_cast<int>(content.size())) == -1)
    return Fail(20, "Error occur when saving record!");
  return 0;
}

int CTable::addRecord(const char* text, int* id, unsigned int maxId) {
  if (!LockAcquired(m_mutex)) return 20;
  if (!ParamsPresent(text)) return 20;
  // The text is split and checked before the lock is taken.
  RecordText record;
  if (!ParseRecordText(text, id == nullptr, record)) return NoMemory();
  long expected = static_cast<long>(m_columns.size()) - (id != nullptr ? 1 : 0);
  if (record.values != expected) return Fail(11, "record's syntax error ");

  MutexGuard hold(m_mutex);
  // Other processes are kept out from the id scan to the end of the write, so
  // that none of them takes the same id or the same temporary file. The
  // allocating add locks the stream its scan opens anyway.
  DirLock lock;
  if (id != nullptr) {
    // Unsigned 32-bit arithmetic: an unreadable directory counts as the
    // largest id, and one more than that is 0.
    unsigned int largest = 4294967295u;
    if (StreamAccess::openOn(m_dirIter, m_path) == 0) {
      lock.lockStream(m_dirIter);
      largest = LargestRecordNumber(m_dirIter);
    }
    record.id = largest + 1;
    if (maxId != 0 && record.id > maxId) {
      return Fail(15, "The new record's id(%u) is greater than specified max id(%u).", record.id,
                  maxId);
    }
    *id = static_cast<int>(record.id);
  } else {
    lock.lockPath(m_path);
  }
  char path[kPathLimit];
  snprintf(path, sizeof(path), "%s%s%s%s%s%s%i", TextOf(m_dbPath), "/", kDataDir, "/",
           TextOf(m_name), "/", static_cast<int>(record.id));
  if (DurableWrite(path, record.content.data(), static_cast<int>(record.content.size())) == -1)
    return Fail(20, "Error occur when saving record!");
  return 0;
}

int CTable::addRecords(const char* const* texts, int count, int* ids, bool allocate, int* written) {
  if (written != nullptr) *written = 0;
  if (!LockAcquired(m_mutex)) return 20;
  if (!ParamsPresent(texts) || count < 0) return 20;
  // Every text is split and checked before the locks are taken, so that a
  // batch with a mistake in its last record writes nothing.
  std::unique_ptr<RecordText[]> records(new (std::nothrow) RecordText[count]);
  if (count > 0 && records == nullptr) return NoMemory();
  long expected = static_cast<long>(m_columns.size()) - (allocate ? 1 : 0);
  for (int i = 0; i < count; ++i) {
    if (!ParamsPresent(texts[i])) return 20;
    if (!ParseRecordText(texts[i], !allocate, records[i])) return NoMemory();
    if (records[i].values != expected) return Fail(11, "record's syntax error ");
  }
  return writeGroup(records.get(), count, ids, allocate, 0, written);
}

int CTable::addRecordValues(const char* const* const* values, int count, int* ids, bool allocate,
                            unsigned int maxId, int* written) {
  if (written != nullptr) *written = 0;
  if (!LockAcquired(m_mutex)) return 20;
  if (!ParamsPresent(values) || count < 0) return 20;
  std::unique_ptr<RecordText[]> records(new (std::nothrow) RecordText[count]);
  if (count > 0 && records == nullptr) return NoMemory();
  long width = static_cast<long>(m_columns.size()) - (allocate ? 1 : 0);
  for (int i = 0; i < count; ++i) {
    if (!ParamsPresent(values[i])) return 20;
    for (long v = 0; v < width; ++v)
      if (!ParamsPresent(values[i][v])) return 20;
    if (int rc = ParseRecordValues(values[i], width, !allocate, records[i])) return rc;
  }
  return writeGroup(records.get(), count, ids, allocate, maxId, written);
}

// The write of a checked batch, for both forms of the group write.
int CTable::writeGroup(RecordText* records, int count, int* ids, bool allocate, unsigned int maxId,
                       int* written) {
  std::unique_ptr<GroupEntry[]> entries(new (std::nothrow) GroupEntry[count]);
  if (count > 0 && entries == nullptr) return NoMemory();
  MutexGuard hold(m_mutex);
  IdMark& mark = *IdMarkOf(m_mutex);
  bool scanned = false, absent = false;
  int status = 0;
  size_t durable = 0;
  {
    DirLock lock;
    unsigned int largest = 4294967295u;
    int dirFd = -1;
    if (StreamAccess::openOn(m_dirIter, m_path) == 0) {
      lock.lockStream(m_dirIter);
      dirFd = StreamDescriptor(m_dirIter);
    } else {
      lock.lockPath(m_path);
    }
    // Without the lock, or without the directory, the mark proves nothing.
    bool marked = allocate && dirFd >= 0 && lock.held() && MarkHolds(mark, dirFd);
    auto allocateIds = [&] {
      for (int i = 0; i < count; ++i) records[i].id = largest + 1 + static_cast<unsigned int>(i);
    };
    if (marked) {
      largest = mark.largest;
      allocateIds();
      for (int i = 0; i < count; ++i) entries[i] = {records[i].id, nullptr, 0, false};
      absent = !AnyInPlace(m_path, entries.get(), static_cast<size_t>(count));
    }
    if (allocate && !absent && dirFd >= 0) {
      largest = LargestRecordNumber(m_dirIter);
      scanned = true;
    }
    if (allocate && !absent) allocateIds();
    unsigned long long last = static_cast<unsigned long long>(largest) + count;
    if (allocate && maxId != 0 && count > 0 && last > maxId) {
      status =
          Fail(15, "The new record's id(%llu) is greater than specified max id(%u).", last, maxId);
    } else {
      for (int i = 0; i < count; ++i) {
        if (ids != nullptr) ids[i] = static_cast<int>(records[i].id);
        entries[i] = {records[i].id, records[i].content.data(), records[i].content.size(), false};
      }
      if (!allocate && !SkipReplaced(entries.get(), count)) return NoMemory();
      durable = DurableGroupWrite(m_path, dirFd, entries.get(), static_cast<size_t>(count), absent,
                                  &status);
      mark.set = false;
      if (allocate && status == 0 && dirFd >= 0 && lock.held())
        SetMark(mark, dirFd, largest + static_cast<unsigned int>(count));
    }
  }
  // An allocating batch that did not scan closes the stream, so that it ends
  // a listing in progress as one that scanned to the stream's end does.
  if (allocate && !scanned) m_dirIter.close();
  if (written != nullptr) *written = static_cast<int>(durable);
  return status;
}

unsigned int CTable::get_max_id() {
  if (StreamAccess::openOn(m_dirIter, m_path) != 0) return 4294967295u;
  return LargestRecordNumber(m_dirIter);
}

int CTable::update(const char* path) {
  if (!ParamsPresent(path)) return 20;
  return saveCurrentRecord(path);
}

int CTable::updateRecord(const char* name, const char* values) {
  if (!ParamsPresent(name)) return 20;
  char path[kPathLimit];
  JoinPath(path, m_path, name);
  if (!LockAcquired(m_mutex)) return 20;

  MutexGuard hold(m_mutex);
  // From the existence test to the end of the write, so that an update in
  // another process neither loses this one nor removes the record under it.
  DirLock lock;
  lock.lockPath(m_path);
  if (gux_access(path, 0) != 0) return Fail(7, "file not found [%s]", path);
  int rc = readRecord(name);
  if (rc != 0) return rc;
  // A null list is a copy that could not be made: update_col reports it.
  rc = update_col(values != nullptr ? strdup(values) : nullptr);
  if (rc != 0) return rc;
  return saveCurrentRecord(path);
}

int CTable::update_col(char* text) {
  if (text == nullptr) return NoMemory();
  int result = 0;
  TermList assignments(text);
  char* key;
  char* value;
  while (result == 0 && assignments.next(&key, &value)) {
    CColumn* column = key != nullptr ? getcolumn(key) : nullptr;
    if (key == nullptr) {
      result = Fail(11, "syntax error: no key");
    } else if (column == nullptr) {
      result = Fail(11, "can't get column by key [%s]", key);
    } else if (column->SetData(value != nullptr ? value : "") != 0) {
      result = Fail(18, "set data value error");
    }
  }
  free(text);
  return result;
}

int CTable::deleteRecord(const char* name) {
  if (!LockAcquired(m_mutex)) return 20;
  if (!ParamsPresent(name)) return 20;
  char path[kPathLimit];
  JoinPath(path, m_path, name);
  MutexGuard hold(m_mutex);
  DirLock lock;
  lock.lockPath(m_path);
  // A removal is on disk when the call returns, or the record comes back
  // after a power cut.
  if (RemoveFile(path) == 0) lock.flush(m_path);
  return 0;
}

// ---- Listing and lookups

int CTable::records() {
  if (!LockAcquired(m_mutex)) return -1;
  MutexGuard hold(m_mutex);
  if (StreamAccess::openOn(m_dirIter, m_path) != 0) return -1;
  // Under the lock shared, a record that another process rewrites meanwhile
  // is counted once, neither missed nor counted with its temporary file.
  ReadFence fence(m_dirIter);
  int count = 0;
  while (fence.nextName() != nullptr) ++count;
  return count;
}

int CTable::walkRecords(const char* condition) {
  StepCondition wanted(condition);
  int dirFd = ShortcutsOn() ? StreamAccess::descriptorOn(m_dirIter, m_path) : -1;
  // The longest name whose full path is not cut at the path limit, plus one.
  size_t nameRoom = kPathLimit - 1 - strlen(m_path);
  ReadFence fence(m_dirIter);
  char settled[ReadFence::kNameSize];
  while (const char* name = fence.nextName()) {
    // Another process's write in flight is waited for, never listed.
    if (IsTempName(name) && (name = fence.temporary(name, settled)) == nullptr) continue;
    if (loadRecord(name, dirFd, nameRoom, &fence) == 0 && wanted.holds(m_columns)) return 0;
  }
  return 12;
}

int CTable::startListing(const char* condition) {
  if (StreamAccess::openOn(m_dirIter, m_path) != 0) return 7;
  return walkRecords(condition);
}

int CTable::ListRecordsStart(const char* condition) {
  if (gux_access(m_path, 0) != 0) return 7;
  if (!LockAcquired(m_mutex)) return 20;
  MutexGuard hold(m_mutex);
  return startListing(condition);
}

int CTable::ListRecordsNext(const char* condition) {
  if (!LockAcquired(m_mutex)) return 20;
  MutexGuard hold(m_mutex);
  return walkRecords(condition);
}

int CTable::ListRecordsStart(std::vector<CColumn*>& columns, const char* condition) {
  int rc = ListRecordsStart(condition);
  return rc == 0 ? ExposeColumns(m_columns, columns) : rc;
}

int CTable::ListRecordsNext(std::vector<CColumn*>& columns, const char* condition) {
  int rc = ListRecordsNext(condition);
  return rc == 0 ? ExposeColumns(m_columns, columns) : rc;
}

bool CTable::MatchColumn(const char* condition) {
  if (condition == nullptr) {
    InfoA(-1, "no condition");
    return false;
  }
  return MatchCondition(condition, m_columns);
}

// The lookups by id hold the table's mutex from the scan to the copy of the
// value: released in between, an update on the same object could put another
// record into the columns before the value is read.
template <class Lookup>
int CTable::withRecordById(const char* id, Lookup lookup) {
  if (!ParamsPresent(id)) return 20;
  char condition[255];
  snprintf(condition, sizeof(condition), "id=%s", id);
  if (gux_access(m_path, 0) != 0) return 7;
  if (!LockAcquired(m_mutex)) return 20;
  MutexGuard hold(m_mutex);
  int rc = startListing(condition);
  return rc == 0 ? lookup() : rc;
}

int CTable::GetRecord(const char* id, std::vector<CColumn*>& columns) {
  return withRecordById(id, [&] { return ExposeColumns(m_columns, columns); });
}

int CTable::GetValStr(const char* key, char* buf, unsigned int size) {
  CColumn* column = KeyColumn(*this, key, -1);
  return column != nullptr ? column->GetDataStr(buf, size) : (key != nullptr ? 13 : 20);
}

int CTable::GetValStr(const char* id, const char* key, char* buf, unsigned int size) {
  return withRecordById(id, [&] { return GetValStr(key, buf, size); });
}

int CTable::GetValBigInt(const char* key, long& out) {
  CColumn* column = KeyColumn(*this, key, 13);
  return column != nullptr ? column->GetDataBigInt(out) : (key != nullptr ? 13 : 20);
}

int CTable::GetValBigInt(const char* id, const char* key, long& out) {
  return withRecordById(id, [&] { return GetValBigInt(key, out); });
}

int CTable::GetValInt(const char* key, int& out) {
  CColumn* column = KeyColumn(*this, key, 13);
  return column != nullptr ? column->GetDataInt(out) : (key != nullptr ? 13 : 20);
}

int CTable::GetValInt(const char* id, const char* key, int& out) {
  return withRecordById(id, [&] { return GetValInt(key, out); });
}

// ---- Maintenance: walks of the whole directory under both locks

int CTable::removeEntries(bool markedOnly, int unopenable) {
  if (!LockAcquired(m_mutex)) return 20;
  MutexGuard hold(m_mutex);
  if (StreamAccess::openOn(m_dirIter, m_path) != 0) return unopenable;
  DirLock lock;
  lock.lockStream(m_dirIter);
  char path[kPathLimit];
  bool removed = false;
  while (struct dirent* entry = m_dirIter.read()) {
    const char* name = entry->d_name;
    if (IsDotEntry(name) || (markedOnly && !IsMarkedName(name))) continue;
    // A failed removal is not a failure of the whole walk: what stays shows
    // up in the next scan.
    JoinPath(path, m_path, name);
    removed = RemoveFile(path) == 0 || removed;
  }
  // One flush for the whole walk, before the call reports it done.
  if (removed) lock.flush(m_path);
  return 0;
}

int CTable::recover() { return removeEntries(true, 7); }

int CTable::clear() { return removeEntries(false, 17); }

int CTable::repair() {
  if (!LockAcquired(m_mutex)) return 20;
  MutexGuard hold(m_mutex);
  if (StreamAccess::openOn(m_dirIter, m_path) != 0) {
    // A table whose creation was cut short: finished, or undone, when its
    // directory is missing.
    if (errno != ENOENT || !RepairTableCreation(m_schemaPath, m_path)) return 7;
    // Undone: nothing of the table is left to repair.
    if (gux_access(m_path, 0) != 0) return 0;
    if (StreamAccess::openOn(m_dirIter, m_path) != 0) return 7;
  }
  DirLock lock;
  lock.lockStream(m_dirIter);
  // Every entry is looked at even after a failure, so that one stubborn file
  // does not keep the others from being repaired.
  int result = 0;
  bool removed = false;
  while (struct dirent* entry = m_dirIter.read()) {
    const char* name = entry->d_name;
    RepairAction action = PlanRepair(m_path, name, m_columns.size());
    int rc = ApplyRepair(m_path, name, action);
    removed = removed ||
              (rc == 0 && action != RepairAction::kNone && action != RepairAction::kFinishWrite);
    if (result == 0) result = rc;
  }
  // Renames flush the directory themselves; removals are flushed once here.
  if (removed) lock.flush(m_path);
  return result;
}

}  // namespace TalDB
