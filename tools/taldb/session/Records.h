// Reading a table's records as a command does: the tables a command names,
// walks over their records in record order in bounded memory, and what a dump
// or a backup leaves out. Copies are whole or fail.
#ifndef TALDB_TOOL_SESSION_RECORDS_H
#define TALDB_TOOL_SESSION_RECORDS_H

#include <taldb/taldb.h>

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "session/Context.h"

namespace taldb_cli {

// The table named by the command's first argument, for a command that writes
// records: refused (a Failure) while its schema file does not match its
// fingerprint, since records written through a schema cut short lose columns.
TalDB::CTable& tableToWrite(Context& ctx);
// The registered tables, sorted by name.
std::vector<TalDB::CTable*> sortedTables(TalDB::CTalDatabase& db);
// The table named by the command's first argument, or every table when it
// has none (dump, repair).
std::vector<TalDB::CTable*> namedOrAllTables(Context& ctx);
// The names of a directory's entries, "." and ".." left out, held small: a
// name that is an id written plainly, as nearly every record's is, takes four
// bytes, so that a table of any size is listed in a few megabytes.
class EntryNames {
 public:
  // False, with errno, when the directory cannot be opened.
  bool read(const std::string& path);
  size_t size() const { return ids_.size() + others_.size(); }
  bool contains(const std::string& name) const;
  // Each name in record order: numbers by value and first, other names as
  // text; stops when use returns false.
  void forEach(const std::function<bool(const std::string&)>& use) const;

 private:
  std::vector<uint32_t> ids_;
  std::vector<std::string> others_;
};

// Whether the record name a comes before b: numbers by value and first, other
// names as text, so that listings come out in id order.
bool recordNameLess(const std::string& a, const std::string& b);

// Records read under one hold of a table's lock, then given out with the
// lock released, so that writers never wait for a slow reader of the output
// ("| less"), only for the reading of one block.
constexpr size_t kBlockRecords = 256;
// What a walk over records does with one: its values, the first column's
// first; false ends the walk (its output cannot be written).
using RecordUse = std::function<bool(const std::vector<std::string>& values)>;
// Walks a table's records in record order. Its names are listed, then its
// records read a block at a time, each block with the directory held settled
// (see SettledTable) and given out after it is released, so that a writer
// waits for the reading of one block at most, never for the output. A record
// deleted meanwhile is passed over. For each entry that is not a readable
// record, skipped("TABLE/NAME: why"); with whole, a record that a copy would
// not hold whole is such an entry too. For each readable record that matches
// condition (null for all), use. False, with errno, when the directory cannot
// be opened.
bool walkRecords(Context& ctx, TalDB::CTable& table, const char* condition, bool whole,
                 const std::function<void(const std::string&)>& skipped, const RecordUse& use);
// The record files of a table, counted by name and kind as the store's
// records() counts them, without reading them: each entry that is no record
// file (a marked or .tmp name, a directory, a link, a FIFO or device) is not
// counted, and named on the error stream when named; other receives their
// number. A Failure when the directory cannot be opened.
size_t countRecordFiles(Context& ctx, TalDB::CTable& table, bool named, size_t* other = nullptr);
// The walk of a listing: each entry that is not a readable record is named
// on the error stream when named, and counted; a Failure when the directory
// cannot be opened. Returns the number of such entries.
size_t listRecords(Context& ctx, TalDB::CTable& table, const char* condition, const RecordUse& use,
                   bool named = true);
// Why the entry `name` of a table directory is not a readable record, or ""
// when it is one; its values are then the table's current record. A name that
// is a symbolic link is never followed: the tool may run as root over a
// directory that a less trusted user can write, and a link could point at any
// file of the system.
std::string recordProblem(TalDB::CTable& table, const std::string& name, bool whole = false);
// What a dump or a backup left out. Each entry is named on the error stream
// as it is met; finish() then fails the command, unless --allow-partial asked
// for a partial copy, so that a copy that is not whole never passes for one.
class LeftOut {
 public:
  explicit LeftOut(Context& ctx) : ctx_(ctx) {}
  // Lines "TABLE/NAME: why", each printed as "taldb: skipped ...".
  void add(const std::vector<std::string>& entries);
  void add(const std::string& entry);
  size_t count() const { return count_; }
  // Once the output is written: a Failure when anything was left out and
  // --allow-partial was not given, what saying what that means for the copy
  // ("this dump is not whole"); with it, a line on the error stream.
  void finish(const std::string& command, const std::string& what);

 private:
  Context& ctx_;
  size_t count_ = 0;
};
// The tables a dump or a backup copies: the one named by the first argument
// when named, else every table; then a directory of tal/database that belongs
// to no table is left out, and said so.
std::vector<TalDB::CTable*> copiedTables(Context& ctx, LeftOut& leftOut, bool named);
// The walk of a dump or a backup: whole records, every other entry left out;
// a table directory that cannot be read leaves the whole table out (false).
bool copyRecords(Context& ctx, TalDB::CTable& table, LeftOut& leftOut, const RecordUse& use);
// Why a record file that the store failed to read with this status is not
// readable: cannot be opened, empty, too few fields.
std::string unreadableRecord(TalDB::CTable& table, const std::string& path, int status);
// The position of the first value of a record file too long to be read back
// whole (0 for the second column), or -1.
long longField(const std::string& path);
// The names of a table's columns, in schema order.
std::vector<std::string> columnNames(const TalDB::CTable& table);
std::vector<std::string> currentValues(const TalDB::CTable& table);
// The same into values, whose strings are reused from record to record.
void currentValues(const TalDB::CTable& table, std::vector<std::string>& values);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_RECORDS_H
