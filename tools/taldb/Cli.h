// The pieces of the taldb command-line tool that its files share: printing
// rows, the library's log, exit codes, the two kinds of error a command can
// raise, the parsed command line, the context every command runs in, the
// checks of names and values, and the commands themselves.
#ifndef TALDB_TOOL_CLI_H
#define TALDB_TOOL_CLI_H

#include <taldb/taldb.h>

#include "table/RecordFormat.h"
#include "util/DirLock.h"

#include "TypedValue.h"

#include <cstdint>
#include <functional>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace taldb_cli {

// ---- Printing rows of text: an aligned table for a person, CSV and JSON for
// programs. Every cell is text, as the store keeps it.

// Ini and Sql are dump's alone: a description file and SQL statements.
enum class Format { Table, Csv, Json, Ini, Sql };

// A header of column names and rows of the same width; kinds, when given, has
// one entry per column (none: every column is text). An int or bigint
// column's values that fit its type are numbers to a program reading JSON or
// SQL; the store keeps them as text.
struct Rows {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
  std::vector<Kind> kinds;
};

// "table", "csv", "json", "ini" or "sql"; false for anything else.
bool parseFormat(const std::string& text, Format& format);

// How rows are printed: the format, and whether the table and CSV formats
// begin with their header line (--no-header leaves it out).
struct Style {
  Format format = Format::Table;
  bool header = true;
};

// Rows printed as they come, so that a listing of any size goes out without
// being held: the header (unless style says not), each row, then end(). The
// aligned table fixes its column widths by the header and the first
// kWidthRows rows; a wider cell after them is printed whole. In a named set
// (see beginNamedSet) JSON's array is indented as a member of the object.
class RowWriter {
 public:
  static constexpr size_t kWidthRows = 1000;
  RowWriter(std::ostream& out, const Style& style, std::vector<std::string> header,
            std::vector<Kind> kinds, bool inSet = false);
  void row(const std::vector<std::string>& cells);
  void end();

 private:
  void fixWidths();

  std::ostream& out_;
  Style style_;
  std::vector<std::string> header_;
  std::vector<Kind> kinds_;
  bool inSet_;
  size_t rows_ = 0;
  std::vector<size_t> widths_;  // empty until fixed
  std::vector<std::vector<std::string>> block_;
};

// Rows in the chosen format: a table with a header line, CSV with a header
// row, or a JSON array of objects keyed by the header.
void printRows(std::ostream& out, const Rows& rows, const Style& style);
// One record: "column  value" lines for a person, one CSV row with its header,
// or one JSON object.
void printRecord(std::ostream& out, const Rows& rows, const Style& style);
// Several named row sets (a dump of every table), each begun by
// beginNamedSet (index counting from 0) and its rows written through a
// RowWriter in the set: headed tables, CSV blocks that each begin with a
// "# name" line, or one JSON object keyed by name, closed by endNamedSets.
void beginNamedSet(std::ostream& out, const Style& style, size_t index, const std::string& name);
void endNamedSets(std::ostream& out, const Style& style, size_t count);

std::string csvCell(const std::string& text);
// A JSON string of text, valid whatever bytes it holds: each byte that is not
// part of a well-formed UTF-8 sequence becomes U+FFFD; '"', '\' and the
// control characters (U+0000 to U+001F, U+007F to U+009F) are escaped.
std::string jsonString(const std::string& text);
// A value of a column of that kind: a JSON number when it fits an int or
// bigint column, a JSON string otherwise.
std::string jsonValue(const std::string& value, Kind kind);
// Text for a message: each byte that is not part of a well-formed UTF-8
// sequence shown as \xNN, never raw.
std::string shownText(const std::string& text);
// Whether text is well-formed UTF-8 throughout.
bool isUtf8(const std::string& text);
// The length of the well-formed UTF-8 sequence at text[at], or 0 when none
// begins there.
size_t utf8Length(const std::string& text, size_t at);

// ---- The library's log.

class LibraryLog {
 public:
  // Takes the utility library's one log sink over until destroyed, then
  // gives it back to the log that had it, so that a tool run nested in
  // another (the demo's steps) leaves the outer run's log working.
  LibraryLog(bool verbose, std::ostream& err);
  ~LibraryLog();
  LibraryLog(const LibraryLog&) = delete;
  LibraryLog& operator=(const LibraryLog&) = delete;

  // Forgets what was collected, so that the next explanation only covers the
  // calls made after it.
  void clear();
  // The messages that explain a failure with this status: every error and
  // the informational messages that carry the status itself. When the library
  // logged nothing, a short description of the status code.
  std::string explain(int status) const;
  struct Entry {
    int level;
    int code;
    std::string text;
  };
  // What was collected since the last clear, in the order it came.
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  static void sink(int level, int code, const char* message, void* context);

  bool verbose_;
  std::ostream& err_;
  std::vector<Entry> entries_;
  LibraryLog* previous_;
};

// What a status code of the store means, for failures it does not log.
const char* describeStatus(int status);

// ---- The command line and the context a command runs in.

// kExitUnprinted: a record was written, but standard output, which was to
// carry its id or the confirmation, could not be written.
enum ExitCode { kExitOk = 0, kExitFailed = 1, kExitUsage = 2, kExitUnprinted = 3 };

// A command line the tool refuses before the library is called (exit 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An operation that did not succeed (exit 1). The text is printed as it is.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The options a command may take, as bits of Command::options.
enum OptionBit : unsigned {
  kOptRoot = 1u << 0,  // --root and --config
  kOptFormat = 1u << 1,
  kOptYes = 1u << 2,
  kOptCreate = 1u << 3,  // --id and --host
  kOptDescription = 1u << 4,
  kOptDryRun = 1u << 5,
  kOptNoHeader = 1u << 6,     // taken by every command that takes --format
  kOptPut = 1u << 7,          // --put, and import's other options
  kOptDumpFormats = 1u << 8,  // --format ini and sql, with kOptFormat
  kOptPartial = 1u << 9,      // --allow-partial: a dump or backup that leaves entries out
  kOptTrim = 1u << 10,        // --trim: values stored without the blanks at their ends
};

struct Options {
  std::string root;
  std::string config;
  bool verbose = false;
  bool quiet = false;     // -q: no confirmation lines, only requested data
  bool noHeader = false;  // --no-header: rows without their header line
  bool help = false;
  bool version = false;
  bool yes = false;
  bool dryRun = false;
  bool put = false;
  bool batchCheck = false;    // import: check each batch as it is written
  bool allowPartial = false;  // dump, backup, restore: a copy without some entries is wanted
  bool trim = false;          // add, put, update, import: blanks at a value's ends are dropped
  std::string fromLine;       // import: the first line of the file to write
  std::string formatName;
  Format format = Format::Table;
  std::string id;
  std::string host;
  std::string description;
  unsigned given = 0;             // OptionBits of the options on the command line
  std::string command;            // the first positional argument
  std::vector<std::string> args;  // the positional arguments after it
};

// Everything a command needs: its arguments, the streams it writes to (never
// the process's own, so that the tool also runs inside a test), the library's
// log and a database object that is opened on demand.
class Context {
 public:
  Context(const Options& options, std::ostream& out, std::ostream& err, std::istream& in);

  const Options& options() const { return options_; }
  Style style() const { return {options_.format, !options_.noHeader}; }
  // What the command was asked for: rows, values, a new id.
  std::ostream& out() { return out_; }
  // A confirmation of what a command did ("updated record 4 of hosts"); -q
  // silences it, and only it.
  std::ostream& note() { return options_.quiet ? silent_ : out_; }
  std::ostream& err() { return err_; }
  // What "-" names as an input file: standard input, or a test's text.
  std::istream& in() { return in_; }
  // Copies what in() (or from, when given) reads into a new temporary file,
  // for a command that reads its input twice (check all of it, then write).
  // path receives the file's name as soon as it exists, for the caller to
  // remove; false, with errno, when it cannot be made or written.
  bool keepInput(std::string& path, std::istream* from = nullptr);
  const std::vector<std::string>& args() const { return options_.args; }
  std::string arg(size_t index) const;
  LibraryLog& log() { return log_; }
  TalDB::CTalDatabase& db() { return db_; }
  // What a command wrote to the store, said the way the tool reports it when
  // standard output then cannot be written ("add hosts x,1: the record was
  // written under id 5"); the last said counts.
  void wrote(const std::string& what) { written_ = what; }
  const std::string& written() const { return written_; }

  // The database root from --root, --config or TALDB_ROOT; a UsageError when
  // none is given.
  std::string root() const;
  // The root as the database object holds it, without loading the tables when
  // it comes from --root or TALDB_ROOT.
  std::string rootPath();
  // Sets the root on the database object without loading it; returns what the
  // library's open returned (10 while the database does not exist yet).
  int openRoot();
  // Opens an existing database; a Failure when there is none or it fails.
  void openDatabase();
  // A registered table after the name has been checked; a Failure when the
  // database has no table of that name.
  TalDB::CTable& table(const std::string& name);
  // Throws a Failure that names the action and explains the status.
  void require(int status, const std::string& action);

 private:
  Options options_;
  std::ostream& out_;
  std::ostream& err_;
  std::istream& in_;
  std::ostream silent_{nullptr};  // a stream without a buffer drops what it is given
  LibraryLog log_;
  TalDB::CTalDatabase db_;
  std::string written_;
};

// Holds a table directory still while the tool reads it or checks what a
// command did: a write under way in any process is waited for, and writers
// wait until the scope ends, so a check never sees a record half written
// (the old file removed, the new one not yet renamed). Never held across a
// write of the store, which takes the same lock exclusively and would wait
// for this one forever.
class SettledTable {
 public:
  explicit SettledTable(const TalDB::CTable& table) { lock_.lockPath(table.path(), true); }

 private:
  TalDB::DirLock lock_;
};

// ---- The tool's checks of names and values. The store takes names and values
// as they come; these rules keep out what would escape the database root or not
// read back whole, and they run before the library is called.

// A table name becomes a directory and a file name: it must not be empty, "."
// or "..", nor contain "/". Throws a UsageError.
void checkTableName(const std::string& name);
// A record name is a file name and the value of the first column: the rules of
// table names and of values together.
void checkRecordName(const std::string& name);
// A value is stored between "|" separators on one line and given to the store
// in comma-separated text: it must not contain "|", "," or a line feed.
void checkValue(const std::string& value);
// A value a record file holds between "|" separators: no "|" nor line feed.
// A comma it may hold; the tool then writes the record through its columns.
void checkFieldValue(const std::string& value);

// The values of a record: one argument read as a line of CSV (a cell that
// holds a comma is quoted: '"1 Main St, Springfield",80'), or one argument
// per value, taken whole. Each is checked with checkFieldValue.
std::vector<std::string> splitValues(const std::vector<std::string>& args);
// The values of a record text as the store splits and trims them (a trailing
// comma adds no value).
std::vector<std::string> storedValues(const std::string& text);
std::string joinValues(const std::vector<std::string>& values);
// The store's record text of values. Joined by ", ", since the store drops a
// trailing empty piece after a bare ","; a blank keeps a lone empty last
// value. The store trims every value, so neither reaches a record.
std::string recordText(const std::vector<std::string>& values);

// An id given on the command line for a new record: decimal digits (blanks
// around them allowed) naming a number from 0 to 2147483647, the ids the store
// writes under their own text.
int parseRecordId(const std::string& given);
// A whole number for an option such as --id.
int parseInteger(const std::string& text, const char* what);

// One assignment of an update: the text given ("port = 80"), the column it
// names (white space removed, as the store reads names) and the value after
// the first "=", as given.
struct Assignment {
  std::string given, column, value;
};
// Assignments "column=value" in one or several arguments, each read as a line
// of CSV, so an assignment whose value holds a comma is quoted whole, as CSV
// quotes a cell: '"address=1 Main St, Springfield",port=80'. Each needs an
// "=" and a column name, and its value is checked with checkFieldValue.
std::vector<Assignment> parseAssignments(const std::vector<std::string>& args);

// A column specification for add-table: at least one item, each NAME(TYPE)
// with a type of the store (int, bigint, varchar), no name twice, and no
// character that would break the schema line ("|", "[", "]", line feed).
struct ColumnSpec {
  std::string text;        // "id(int),name(varchar)", as the store's AddTable takes it
  std::string schemaLine;  // "id[int]|name[varchar]", as the schema file holds it
  bool bigint = false;     // whether a column is a bigint
};
ColumnSpec parseColumnSpec(const std::vector<std::string>& args);

// ---- The checks against a table's schema, with the store's own splitting,
// so that nothing is written that would not read back whole. UsageErrors.

// The columns of a schema line, as the store loads them.
struct SchemaColumns {
  explicit SchemaColumns(std::string line) { TalDB::ParseSchemaLine(&line[0], list); }
  ~SchemaColumns() {
    for (TalDB::CColumn* column : list) delete column;
  }
  SchemaColumns(const SchemaColumns&) = delete;
  SchemaColumns& operator=(const SchemaColumns&) = delete;
  std::vector<TalDB::CColumn*> list;
};

// A value for a column: no "|", and not longer than the store keeps. The
// message starts with where and names the column.
void checkColumnValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value);
// The record text given to addRecord: one value per column (the id first when
// idFirst, else the columns after the first), each checked.
void checkRecordValues(const TalDB::CTable& table, const std::string& text, bool idFirst);
// The seed records of every table of a description file, before create.
void checkDescriptionRecords(const std::string& file);
// A condition (kind "condition") or an assignment list (kind "assignment"):
// complete COLUMN=VALUE terms naming columns of the table; an assignment may
// not change the first column.
void checkTerms(TalDB::CTable& table, const std::string& text, const char* kind);

// Text in single quotes with line feeds shown as "\n", for messages.
std::string quoted(const std::string& text);

// ---- The commands. Each takes its arguments from the context, prints its
// result on the context's output stream and returns the exit status; refused
// input and failures are thrown as UsageError and Failure.

int cmdCreate(Context& ctx);
int cmdTables(Context& ctx);
int cmdSchema(Context& ctx);
int cmdList(Context& ctx);
int cmdGet(Context& ctx);
int cmdCount(Context& ctx);
int cmdAdd(Context& ctx);
int cmdPut(Context& ctx);
int cmdUpdate(Context& ctx);
int cmdDelete(Context& ctx);
int cmdSeed(Context& ctx);
int cmdAddTable(Context& ctx);
int cmdDropTable(Context& ctx);
int cmdClear(Context& ctx);
int cmdDrop(Context& ctx);
int cmdRecover(Context& ctx);
int cmdDump(Context& ctx);
// dump in every format: ini and sql here, the others through cmdDump.
int cmdExport(Context& ctx);
int cmdImport(Context& ctx);
int cmdBackup(Context& ctx);
int cmdRestore(Context& ctx);
int cmdCheck(Context& ctx);
int cmdRepair(Context& ctx);
int cmdDemo(Context& ctx);

// dir + "/" + name, formatted and cut as the store formats its paths.
std::string joinPath(const std::string& dir, const std::string& name);
// Whether anything, even a dangling link, is at path.
bool pathExists(const std::string& path);
// What tells one file from another that took its name: its inode and the time
// its inode last changed (a new file may be given a freed inode number, never
// with an older change time).
struct FileIdentity {
  bool exists = false;
  unsigned long device = 0, inode = 0;
  long changedSeconds = 0, changedNanoseconds = 0;
  bool operator==(const FileIdentity& o) const {
    return exists == o.exists && device == o.device && inode == o.inode &&
           changedSeconds == o.changedSeconds && changedNanoseconds == o.changedNanoseconds;
  }
};
FileIdentity fileIdentity(const std::string& path);
// How many entries of one kind a message names before it counts the rest.
constexpr size_t kNamedEntries = 20;
// "1 record", "2 records".
std::string plural(size_t count, const char* one, const char* many);
// The marked names in a directory, sorted; none when it cannot be read.
std::vector<std::string> markedNames(const std::string& directory);
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
// "a symbolic link", "a directory", "a file" or "a FIFO, socket or device",
// for an st_mode.
std::string entryKind(unsigned mode);
// Whether the entry at path is a symbolic link (dangling or not).
bool isSymbolicLink(const std::string& path);
// The first line of the regular file at path, as the store reads a record
// or schema file, through a descriptor opened without following a symbolic
// link. False when it is no regular file (kind then says what it is) or
// cannot be opened (kind empty). beyond, when given, tells whether anything
// follows the first line's line feed.
bool readFileLine(const std::string& path, std::string& line, std::string& kind,
                  bool* beyond = nullptr);

// Why SQL would not take back the name names[index] the same (a table's or a
// column's, as kind says), among names, or "": not UTF-8, longer than
// PostgreSQL keeps, a name the databases keep, or the same to SQLite as an
// earlier one.
std::string sqlNameProblem(const std::vector<std::string>& names, size_t index, const char* kind);
// Why an SQL dump cannot hold a value of a column of that kind as it is, or
// "": text that is not UTF-8, a number that does not fit its type.
std::string sqlValueProblem(const std::string& value, Kind kind);

// ---- Dumps and backups are whole or fail.

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
// The entries of a directory, "." and ".." left out, sorted; false when it
// cannot be opened, errno then saying why.
bool readDirectory(const std::string& path, std::vector<std::string>& names);
// 0 when the directory at path can be opened, else the errno of the open.
int directoryError(const std::string& path);
// Why the database under root cannot be read (its schema directory exists
// but cannot be opened, or the root is no directory), or "" when it can be,
// or there is none.
std::string unreadableRoot(const std::string& root);
// The number of "|"-separated fields of the first line of a schema or record
// file, split as the store splits it; -1 when the file cannot be read.
long countFields(const std::string& path);
std::vector<std::string> columnNames(const TalDB::CTable& table);
std::vector<std::string> currentValues(const TalDB::CTable& table);
// The same into values, whose strings are reused from record to record.
void currentValues(const TalDB::CTable& table, std::vector<std::string>& values);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_CLI_H
