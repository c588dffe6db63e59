// One table: its schema (an ordered list of columns), its directory of record
// files, and the locks that serialise work on them.
//
// On disk: ROOT/tal/schema/NAME holds the schema line ("id[int]|name[varchar]")
// and ROOT/tal/database/NAME/ID one record each: the values of every column
// but the first, each followed by "|", with no line end. The first column's
// value is the file name. Every write goes to ID.tmp, is flushed, replaces the
// old file by a rename and flushes the directory.
//
// Results: every operation returns 0 or a status code and logs a short
// message through the utility library (gux_set_log_sink routes it).
//
// Threads: every operation that walks the directory or changes records
// (marked "locked" below) holds the table's mutex for the whole call. The
// current record is the columns' values, shared by every caller: read it
// (columns(), the lookups by key) only while no other thread works on the
// table. A listing spans several calls on one directory stream, so run one
// listing per table object at a time. Copies share their source's mutex and
// exclude each other; the table that made the mutex must outlive its copies.
//
// Processes: every write (add, update, delete, recover, clear, repair) also
// holds an advisory lock (flock) on the table directory, so writers in other
// processes, and other table objects for the same directory in this process,
// wait for each other. A read (a count, a lookup, one listing step) takes
// that lock, shared, whenever it reads the directory itself (32 KiB of
// entries at a time, as a directory stream does) and when
// it meets a write in flight (an ID.tmp, or a record gone between its name
// and its open): it waits for the writer, then reads what the write left. So
// within one call a reader in another process never misses a record that
// exists before and after a rewrite, and never lists another process's
// temporary file; a leftover of a crash is still listed as an entry of its
// own. A listing is a series of calls: a record rewritten between two of
// them keeps its place in the directory order only where the file system
// keeps a name's place across a rename (ext4 does; tmpfs moves it to the
// front, and a listing under way passes it by). On a file system without
// locks, writes and reads go on unlocked.
//
// Durability: when a call returns 0, what it did is on stable storage, power
// cut or not: an added or updated record (its file flushed, then renamed, then
// the directory flushed), a deleted record and what clear(), recover() and
// repair() removed (the directory flushed after the removals). A process or
// machine stopped inside a write can leave ID.tmp behind and, when it stopped
// between removing the old record and the rename, no ID at all: run repair()
// (or the database's) at start-up after an unclean stop, before writing. The
// temporary file is flushed before anything is removed or renamed, so repair
// can decide every leftover itself. This relies on a file system that keeps
// directory operations in order (ext4, xfs and btrfs do); on one that does not,
// a power cut during an update can lose the record's earlier version too,
// since the old file is removed before the new one is renamed into place.
//
// Names: table and record names are used as path components unchanged. The
// host validates them: no "/", no "." or "..", nothing holding ".ADD" or
// ".UPDATE", and values without "|", "," or a line feed.
#ifndef TALDB_CTABLE_H
#define TALDB_CTABLE_H

#include <dirent.h>
#include <pthread.h>

#include <vector>

#include "taldb/CColumn.h"
#include "taldb/CDirIterator.h"
#include "taldb/Export.h"

namespace TalDB {

class ReadFence;    // the library's own, not part of the interface
struct RecordText;  // the same

class CTable {
 public:
  // A table without a mutex: every locked operation refuses it with 20.
  TALDB_EXPORT CTable();
  // The table NAME under the database root dbPath, with a mutex of its own.
  // Touches no file; Open() builds the paths and reads the schema.
  TALDB_EXPORT CTable(const char* dbPath, const char* name);
  // Copies share the source's mutex, so work through any of them is serialised.
  TALDB_EXPORT CTable(const CTable& other);
  TALDB_EXPORT CTable& operator=(const CTable& other);
  TALDB_EXPORT ~CTable();

  // ---- Schema
  // Builds the paths and reads the schema under the mutex. 0; 3 no schema
  // file (the old columns stay); 4, 5 or 18 from readSchema (no columns left);
  // 20 no mutex.
  TALDB_EXPORT int Open();
  // Renames the object to NAME, then Open().
  TALDB_EXPORT int Open(const char* name);
  // Replaces the columns with those of the schema file at path. 0 (a
  // definition that does not parse ends the list there); 4 cannot open;
  // 5 empty first line; 18 no memory. Not locked: the caller holds the mutex.
  TALDB_EXPORT int readSchema(const char* path);
  // The first column of that name, or null. Owned by the table, valid until
  // the next schema read.
  TALDB_EXPORT CColumn* getcolumn(const char* name);
  TALDB_EXPORT const char* name() const;

  // ---- Reading one record into the columns (not locked: the caller holds
  // the mutex). 0; 8 cannot open; 16 empty, or too few fields (the columns
  // up to the short one hold the new values); 18 no memory.
  TALDB_EXPORT int readRecord(const char* name);
  // True for "." and "..", and for marked names unless includeMarked.
  TALDB_EXPORT bool is_ignorable_file(const char* name, bool includeMarked);
  // Whether dir/entry is a directory (stat under the mutex).
  TALDB_EXPORT bool IsDir(struct dirent* entry, char* dir);

  // ---- Writing records
  // The durable write of content to the path name (with a "/"): name.tmp is
  // created (0640), written, flushed; an old name is removed; name.tmp is
  // renamed to name and the directory flushed. 0 or -1. Not locked. After a
  // failure name.tmp may hold the content, and name may be gone when the
  // rename failed: repair() finishes it.
  TALDB_EXPORT int safe_save(const char* name, const char* content, int length);
  // Locked. Adds a record from comma-separated values. With id null the
  // first value is the id (a record of that id is replaced); otherwise the
  // id is the largest record number + 1, stored in *id, refused with 15 when
  // above maxId (0: no limit). 0; 11 wrong number of values (nothing
  // written); 15; 18; 20 no mutex, or the durable write failed.
  TALDB_EXPORT int addRecord(const char* text, int* id, unsigned int maxId);
  // The largest record number, 0 for none, 4294967295 when the directory
  // cannot be opened. Not locked: it moves the listing stream.
  TALDB_EXPORT unsigned int get_max_id();
  // Writes the current record to path. 0 or 20. Not locked.
  TALDB_EXPORT int update(const char* path);
  // Locked. Reads the record NAME, applies "column=value,..." and writes it.
  // 0; 7 no such record; 8, 16, 18 reading; 11 no key or unknown column
  // (nothing written); 20 no mutex or the write failed.
  TALDB_EXPORT int updateRecord(const char* name, const char* values);
  // Applies assignments to the current record in memory. Takes the malloc'ed
  // buffer over and frees it. 0, 11 or 18.
  TALDB_EXPORT int update_col(char* text);
  // Locked, under the directory lock for the whole batch. The group write:
  // adds count records, each through its own NAME.tmp renamed into its own
  // record file as addRecord writes one, with the flushes shared by the
  // batch (every temporary file's data flushed before the first rename, the
  // directory flushed once after the last), so that a bulk load runs at the
  // speed of the disk. With allocate, each text holds the values of columns
  // 2..N (as addRecord(text, &id, 0) takes it) and the ids are allocated
  // counting up from the largest (see addRecordValues); without, each text
  // begins with its record's id (as addRecord(text, null, 0) takes it) and
  // replaces a record of that id. ids (count entries, may be null) receives
  // each id. Every text is checked before anything is written: 11 for the
  // first whose count of values is wrong, 18, 20; nothing is written then.
  // Otherwise 0 when the whole batch is on stable storage, or 20 after a
  // failed step.
  // *written (may be null) receives how many records, the first of the
  // batch in order, are on stable storage; nothing of the rest is in place.
  // Nothing is acknowledged before the whole batch is flushed; after a crash
  // repair() finishes or removes what a batch left.
  TALDB_EXPORT int addRecords(const char* const* texts, int count, int* ids, bool allocate,
                              int* written);
  // Locked, under the directory lock for the whole batch. The group write
  // of addRecords, with each record given as its values rather than as
  // comma-separated text: records[i] points to the values of record i, one
  // per column (with allocate, of columns 2..N; without, of every column, the
  // first the id, taken as addRecords takes it), so a value may hold a comma
  // or blanks at its ends and is stored exactly as given. The records, their
  // values and ids stay the caller's; nothing is kept after the call. Every
  // record is checked before anything is written: 20 for a null pointer among
  // them, 11 for the first value the record line would not keep whole (a
  // "|", a line feed, more than 2047 bytes), 18; nothing is written then.
  // With allocate and maxId above 0, a batch whose last id would pass maxId
  // is refused with 15 under the locks, as addRecord refuses one record, and
  // nothing is written. Otherwise the ids, the codes, *written and what stays
  // on disk after a failure are those of addRecords.
  //
  // Both forms allocate ids counting up from the largest record number. A
  // batch after another through this table object (or a copy of it) takes
  // them without a scan when the directory shows no change since the last
  // batch, and tests, one name each, that no file stands at the ids it takes
  // (see src/table/GroupWrite.h): processes adding at once never take one id
  // twice, and an allocating batch never replaces a record.
  TALDB_EXPORT int addRecordValues(const char* const* const* records, int count, int* ids,
                                   bool allocate, unsigned int maxId, int* written);
  // Locked. Removes the record file and flushes the directory when it did;
  // 0 whether or not it was there, 20 no mutex.
  TALDB_EXPORT int deleteRecord(const char* name);

  // ---- Listing and lookups (locked; the directory lock shared while a walk
  // reads the directory or waits for a write in flight, see Processes above)
  // The number of record entries (files are not opened), or -1. It counts
  // names only, under the directory lock: a write in flight in another
  // process is not counted twice, a leftover of a crash is counted.
  TALDB_EXPORT int records();
  // Walk the records matching condition ("col=value,...", null for all) in
  // directory order; each 0 leaves the record in the columns. Start: 0, 7 no
  // directory, 12 none, 20 no mutex. Next: 0, 12 (also before any start), 20.
  TALDB_EXPORT int ListRecordsStart(const char* condition);
  TALDB_EXPORT int ListRecordsNext(const char* condition);
  // The same; on 0 the vector receives the table's own column pointers (not
  // copies: do not delete them, nor keep them past the table).
  TALDB_EXPORT int ListRecordsStart(std::vector<CColumn*>& columns, const char* condition);
  TALDB_EXPORT int ListRecordsNext(std::vector<CColumn*>& columns, const char* condition);
  // Whether the current record satisfies condition. Not locked.
  TALDB_EXPORT bool MatchColumn(const char* condition);
  // The record whose "id" column is id, into the columns and the vector (the
  // table's own pointers). 0, 7, 12 or 20. The mutex is held from the scan to
  // the hand-over.
  TALDB_EXPORT int GetRecord(const char* id, std::vector<CColumn*>& columns);
  // A value of the current record, not locked: 0; 13 no such column; 20 bad
  // buffer or not a number. The numeric forms store the leading number even
  // on 20.
  TALDB_EXPORT int GetValStr(const char* key, char* buf, unsigned int size);
  TALDB_EXPORT int GetValBigInt(const char* key, long& out);
  TALDB_EXPORT int GetValInt(const char* key, int& out);
  // A value of the record with that id: 0, 7, 12, 13 or 20. Locked from the
  // scan to the copy of the value, so a concurrent update on this object
  // never hands over another record's value.
  TALDB_EXPORT int GetValStr(const char* id, const char* key, char* buf, unsigned int size);
  TALDB_EXPORT int GetValBigInt(const char* id, const char* key, long& out);
  TALDB_EXPORT int GetValInt(const char* id, const char* key, int& out);

  // ---- Maintenance (locked, and under the directory lock)
  // Removes entries whose names hold ".ADD" or ".UPDATE". 0; 7 no directory;
  // 20 no mutex. Failed removals are passed over.
  TALDB_EXPORT int recover();
  // Removes every entry of the table directory; the schema stays. 0; 17 no
  // directory; 20 no mutex.
  TALDB_EXPORT int clear();
  // Finishes or cleans up interrupted writes: NAME.tmp holding a whole record
  // whose NAME is missing is renamed into place (with the directory flush);
  // NAME.tmp beside NAME is removed (NAME is the acknowledged version);
  // NAME.tmp that is not a whole record is removed (it was never
  // acknowledged: a write flushes it before removing or renaming anything);
  // marked names go as recover() removes them. A missing table directory is
  // made when the schema file is whole (a table whose creation was cut short
  // after it), and the schema file removed when it is not (cut while it was
  // written): the object then stands for no table and keeps the columns it
  // loaded; CTalDatabase::repair() drops such a table from its catalogue. One
  // log line per file changed; the directory is flushed after removals.
  // 0; 7 no directory; 20 no mutex, or a file that could not be renamed or
  // removed (the other entries are still repaired).
  TALDB_EXPORT int repair();

  // The columns: the schema and, at once, the current record. Owned by the
  // table.
  TALDB_EXPORT const std::vector<CColumn*>& columns() const;
  TALDB_EXPORT const char* path() const;        // the table directory
  TALDB_EXPORT const char* schemaPath() const;  // the schema file
  TALDB_EXPORT bool hasLock() const;            // false for a table made without a mutex

 private:
  int removeEntries(bool markedOnly, int unopenable);
  int walkRecords(const char* condition);
  int loadRecord(const char* name, int dirFd, size_t nameRoom, ReadFence* fence);
  int startListing(const char* condition);
  template <class Lookup>
  int withRecordById(const char* id, Lookup lookup);
  int saveCurrentRecord(const char* path);
  int writeGroup(RecordText* records, int count, int* ids, bool allocate, unsigned int maxId,
                 int* written);
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
