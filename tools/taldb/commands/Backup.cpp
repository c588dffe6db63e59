// backup and restore: the whole database in one text file, and back under a
// new root, every value exactly as its record file holds it.
//
// The file, version 1, one line each, fields separated by one space:
//
//   taldb-backup 1
//   table NAME SCHEMA-LINE
//   record ID VALUE...        (the records of the table above, a value per
//                              column after the first)
//   end tables=N records=N left-out=N
//
// In a field every byte stands for itself except '%', the space, the control
// characters (00 to 1F, 7F, and U+0080 to U+009F) and bytes that are not part
// of a well-formed UTF-8 sequence: each of those is written %XX. An empty
// field is "-", and a field that is "-" is "%2D". So a backup is UTF-8 text
// that an editor or a mail keeps, and every byte a record file can hold (all
// but "|", the line feed and NUL) comes back. The last line's counts catch a
// file cut short; left-out says how many entries the backup could not carry.
//
// A restore under way keeps a marker file in the root, naming the backup by
// a hash of its text; a rerun of the same restore finds it, lets the store's
// repair finish or remove what a stop left half written, and goes on from
// there, skipping the records already on disk.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>

#include "base/Errors.h"
#include "base/StopSignals.h"
#include "base/TemporaryFile.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/InputFile.h"
#include "input/SchemaChecks.h"
#include "output/OutputFile.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/Writes.h"
#include "store/Files.h"
#include "store/Records.h"
#include "taldb/CUtils.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

constexpr const char kHeader[] = "taldb-backup 1";
// The longest file name the file systems take.
constexpr size_t kNameLimit = 255;
// The marker of a restore under way, in the root beside "tal", where the
// store never looks.
constexpr const char kMarker[] = "taldb-restore-under-way";
constexpr const char kMarkerHeader[] = "taldb-restore 1";

// ---- Fields

std::string encodeField(const std::string& value) {
  if (value.empty()) return "-";
  if (value == "-") return "%2D";
  std::string out;
  for (size_t at = 0; at < value.size();) {
    unsigned char c = static_cast<unsigned char>(value[at]);
    size_t length = utf8Length(value, at);
    bool c1 = length == 2 && c == 0xC2 && static_cast<unsigned char>(value[at + 1]) < 0xA0;
    if (length != 0 && !c1 && c > 0x20 && c != 0x7F && c != '%') {
      out.append(value, at, length);
      at += length;
      continue;
    }
    char hex[4];
    std::snprintf(hex, sizeof hex, "%%%02X", c);
    out += hex;
    ++at;
  }
  return out;
}

// False for what the writer never writes: an empty field, a blank or control
// byte, a '%' without two hexadecimal digits after it.
bool decodeField(const std::string& text, std::string& value) {
  value.clear();
  if (text == "-") return true;
  if (text.empty()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      if (!std::isxdigit(static_cast<unsigned char>(text[i + 1])) ||
          !std::isxdigit(static_cast<unsigned char>(text[i + 2])))
        return false;
      value += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else if (c <= 0x20 || c == 0x7F) {
      return false;
    } else {
      value += static_cast<char>(c);
    }
  }
  return true;
}

// Into fields, whose strings are reused from line to line.
void splitFields(const std::string& line, std::vector<std::string>& fields) {
  size_t count = 0, start = 0;
  for (size_t end = 0; end != std::string::npos; start = end + 1) {
    end = line.find(' ', start);
    if (count == fields.size()) fields.emplace_back();
    fields[count++].assign(line, start, end == std::string::npos ? std::string::npos : end - start);
  }
  fields.resize(count);
}

// The record names of a table met so far, in little memory whatever the
// table's size: an id as its number in an open-addressed table of 32-bit
// slots, any other name as text.
class NameSet {
 public:
  // False when the name is in already.
  bool insert(const std::string& name) {
    if (!isRecordId(name)) return others_.insert(name).second;
    if ((count_ + 1) * 2 > slots_.size()) grow();
    uint32_t key = keyOf(name);
    size_t at = find(key);
    if (slots_[at] == key) return false;
    slots_[at] = key;
    ++count_;
    return true;
  }
  bool contains(const std::string& name) const {
    if (!isRecordId(name)) return others_.count(name) != 0;
    return !slots_.empty() && slots_[find(keyOf(name))] != 0;
  }
  size_t size() const { return count_ + others_.size(); }
  void clear() {
    slots_.clear();
    slots_.shrink_to_fit();
    count_ = 0;
    others_.clear();
  }

 private:
  // 0 marks a free slot.
  static uint32_t keyOf(const std::string& id) {
    return static_cast<uint32_t>(std::strtoul(id.c_str(), nullptr, 10)) + 1;
  }
  size_t find(uint32_t key) const {
    size_t mask = slots_.size() - 1, at = (key * 2654435761u) & mask;
    while (slots_[at] != 0 && slots_[at] != key) at = (at + 1) & mask;
    return at;
  }
  void grow() {
    std::vector<uint32_t> previous(std::max<size_t>(slots_.size() * 2, 1024), 0);
    previous.swap(slots_);  // slots_ now the larger table, empty
    for (uint32_t key : previous)
      if (key != 0) slots_[find(key)] = key;
  }

  std::vector<uint32_t> slots_;
  size_t count_ = 0;
  std::set<std::string> others_;
};

// ---- Schema lines

// How many column definitions a schema line holds, split as the store splits
// it (a trailing "|" adds none).
size_t definitionCount(const std::string& line) {
  if (line.empty()) return 0;
  size_t count = std::count(line.begin(), line.end(), '|') + 1;
  return line.back() == '|' ? count - 1 : count;
}

// Why a schema line would not load every column it defines, or "".
std::string schemaLineProblem(const std::string& line) {
  SchemaColumns columns(line);
  size_t defined = definitionCount(line);
  if (line.find('\0') != std::string::npos || line.find('\n') != std::string::npos)
    return "holds a NUL byte or a line feed";
  if (columns.list.empty() || columns.list.size() != defined) {
    return "does not load whole (" + std::to_string(columns.list.size()) + " of " +
           std::to_string(defined) + " column definitions load)";
  }
  return "";
}

// The schema line of a table exactly as its file holds it, or why no backup
// can carry the table.
std::string readSchemaLine(const CTable& table, std::string& line) {
  std::string kind;
  if (!readFileLine(table.schemaPath(), line, kind))
    return kind.empty() ? "the schema file cannot be read" : "the schema file is " + kind;
  TalDB::SchemaSeal seal = TalDB::CheckSchemaSeal(table.schemaPath());
  if (seal != TalDB::SchemaSeal::kWhole) return TalDB::DescribeSchemaSeal(seal);
  std::string problem = schemaLineProblem(line);
  if (problem.empty() && SchemaColumns(line).list.size() != table.columns().size())
    problem = "changed since the database was opened";
  return problem.empty() ? "" : "the schema line " + problem;
}

// ---- Reading a backup

struct Counts {
  size_t tables = 0, records = 0, leftOut = 0;
};

// Why a name cannot be a file name of the store, or "".
std::string fileNameProblem(const std::string& name) {
  if (name.empty() || name == "." || name == "..") return "is empty, '.' or '..'";
  if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos)
    return "holds '/' or a NUL byte";
  if (name.size() > kNameLimit) return "is longer than the 255 bytes of a file name";
  return "";
}

std::string recordNameProblem(const std::string& name) {
  std::string problem = fileNameProblem(name);
  if (problem.empty() && (TalDB::IsMarkedName(name.c_str()) || TalDB::IsTempName(name.c_str())))
    problem = "holds '.ADD' or '.UPDATE' or ends in '.tmp', as only leftovers of writes do";
  return problem;
}

// Reads a backup, checking every line as the writer writes it, and calls
// onTable(name, schemaLine) at each table and onRecord(fields, line) at each
// record (the id first, then a value per column after the first). Anything
// else is a Failure that names the line. Memory holds a line and the record
// names of one table, never the file.
class BackupReader {
 public:
  BackupReader(Context& ctx, const std::string& source, const std::string& root)
      : ctx_(ctx), source_(source), dataDir_(joinPath(root, TalDB::kDataDir)) {}

  // With watchStops, a stop signal ends the reading.
  template <class OnTable, class OnRecord>
  Counts read(std::istream& in, bool watchStops, OnTable onTable, OnRecord onRecord) {
    Counts seen;
    std::set<std::string> tables;
    NameSet ids;
    std::string line, table;
    size_t columns = 0;
    bool ended = false;
    number_ = 0;
    hash_ = 14695981039346656037ull;
    while (std::getline(in, line)) {
      ++number_;
      for (char c : line) hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211ull;
      hash_ = (hash_ ^ '\n') * 1099511628211ull;
      if (watchStops && number_ % 4096 == 0 && StopSignals::caught() != 0)
        throw Failure("restore: " + StopSignals::describe() + " while checking " + source_);
      if (number_ == 1) {
        header(line);
        continue;
      }
      if (ended) fail("there is text after the end line");
      splitFields(line, raw_);
      fields_.resize(raw_.size() - 1);
      for (size_t i = 1; i < raw_.size(); ++i) {
        if (!decodeField(raw_[i], fields_[i - 1]))
          fail("field " + std::to_string(i + 1) + " " + quoted(raw_[i]) +
               " is not written as a backup writes a field");
      }
      const std::vector<std::string>& fields = fields_;
      if (raw_[0] == "table") {
        if (fields.size() != 2) fail("a table line holds a name and a schema line");
        table = fields[0];
        std::string problem = fileNameProblem(table);
        if (problem.empty() &&
            joinPath(dataDir_, table).size() != dataDir_.size() + 1 + table.size())
          problem = "would make a path longer than the store takes";
        if (!problem.empty()) fail("the table name " + quoted(table) + " " + problem);
        if (!tables.insert(table).second) fail("the table " + quoted(table) + " comes twice");
        problem = schemaLineProblem(fields[1]);
        if (!problem.empty())
          fail("the schema line " + quoted(fields[1]) + " of table " + table + " " + problem);
        columns = SchemaColumns(fields[1]).list.size();
        ids.clear();
        ++seen.tables;
        onTable(table, fields[1]);
      } else if (raw_[0] == "record") {
        if (seen.tables == 0) fail("a record comes before any table line");
        if (fields.size() != columns) {
          fail(plural(fields.size(), "field", "fields") + " after 'record' where table " + table +
               " has " + plural(columns, "column", "columns"));
        }
        std::string problem = recordNameProblem(fields[0]);
        // Its temporary file's path must not be cut either.
        std::string path = joinPath(joinPath(dataDir_, table), fields[0] + TalDB::kTempSuffix);
        if (problem.empty() && path.size() != dataDir_.size() + table.size() + fields[0].size() + 6)
          problem = "would make a path longer than the store takes";
        if (!problem.empty()) fail("the record name " + quoted(fields[0]) + " " + problem);
        if (!ids.insert(fields[0]))
          fail("the record " + quoted(fields[0]) + " of table " + table + " comes twice");
        for (size_t i = 1; i < fields.size(); ++i) {
          const std::string& value = fields[i];
          if (value.find_first_of(std::string("|\n\0", 3)) != std::string::npos)
            fail("a value of record " + quoted(fields[0]) +
                 " holds '|', a line feed or NUL, "
                 "which a record file cannot hold");
          if (!TalDB::IsWholeValue(value.size()))
            fail("a value of record " + quoted(fields[0]) + " is longer than the " +
                 std::to_string(TalDB::kValueLimit - 1) + " bytes the store keeps");
        }
        ++seen.records;
        onRecord(fields, number_);
      } else if (raw_[0] == "end") {
        Counts claimed;
        if (raw_.size() != 4 || !count(raw_[1], "tables=", claimed.tables) ||
            !count(raw_[2], "records=", claimed.records) ||
            !count(raw_[3], "left-out=", claimed.leftOut))
          fail("the end line is not 'end tables=N records=N left-out=N'");
        if (claimed.tables != seen.tables || claimed.records != seen.records) {
          fail("the end line counts " + plural(claimed.tables, "table", "tables") + " and " +
               plural(claimed.records, "record", "records") + ", the file holds " +
               std::to_string(seen.tables) + " and " + std::to_string(seen.records) +
               ": lines are missing or were added");
        }
        seen.leftOut = claimed.leftOut;
        if (seen.leftOut != 0 && !ctx_.options().allowPartial) {
          fail("the backup left " + plural(seen.leftOut, "entry", "entries") +
               " out when it was written; --allow-partial restores it all the same");
        }
        ended = true;
      } else {
        fail("a line begins with 'table', 'record' or 'end', not " + quoted(raw_[0]));
      }
    }
    if (in.bad()) fail("the file cannot be read to its end");
    if (number_ == 0) fail("the file is empty: not a taldb backup");
    if (!ended) fail("the file ends before its end line: it is cut short");
    return seen;
  }

  // What tells this backup from another: a hash of its text and its lines.
  std::string identity() const {
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(hash_));
    return "backup " + std::string(hex) + " lines=" + std::to_string(number_);
  }

 private:
  void header(const std::string& line) {
    if (line == kHeader) return;
    if (line.compare(0, 13, "taldb-backup ") == 0) {
      fail("the backup is of format version " + line.substr(13) + "; this taldb reads version 1");
    }
    fail("not a taldb backup: the first line is not '" + std::string(kHeader) + "'");
  }
  static bool count(const std::string& field, const char* key, size_t& value) {
    size_t length = std::strlen(key);
    std::string digits = field.compare(0, length, key) == 0 ? field.substr(length) : "";
    if (digits.empty() || digits.size() > 18 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
      return false;
    value = std::stoull(digits);
    return true;
  }
  [[noreturn]] void fail(const std::string& what) {
    throw Failure("restore: " + source_ + " line " + std::to_string(number_) + ": " + what);
  }

  Context& ctx_;
  std::string source_;
  std::string dataDir_;
  size_t number_ = 0;
  uint64_t hash_ = 0;
  std::vector<std::string> raw_, fields_;
};

// Writes what a checked backup holds: each table made the store's way, its
// records through the group write when their values survive its record text,
// the others one by one through the store's own record writer. Going on with
// a restore that stopped, a table that exists already keeps the records it
// holds. A stop signal or a failure ends it after what is on disk, saying
// how far it got and how to go on.
class Restorer {
 public:
  Restorer(Context& ctx, TalDB::CTalDatabase& db, const std::string& root, size_t total,
           const std::string& goOn)
      : ctx_(ctx), db_(db), root_(root), goOn_(goOn), total_(total) {
    progress_ =
        !ctx.options().quiet && ctx.err().rdbuf() == std::cerr.rdbuf() && isatty(STDERR_FILENO);
    start_ = std::chrono::steady_clock::now();
  }

  void table(const std::string& name, const std::string& schema) {
    finishTable();
    checkStop();
    // A table of an earlier run of this restore keeps what it holds.
    resumed_ = db_.GetTable(name.c_str()) != nullptr;
    if (!resumed_) makeTable(name, schema);
    table_.reset(new CTable(root_.c_str(), name.c_str()));
    ctx_.require(table_->Open(), "restore: open table " + name);
    std::string line;
    if (readSchemaLine(*table_, line) != "" || line != schema)
      throw Failure("restore: table " + name +
                    (resumed_ ? ": its schema file does not hold the backup's schema line"
                              : ": its schema file does not hold the backup's "
                                "schema line after it was made"));
  }

  void record(const std::vector<std::string>& fields) {
    names_.insert(fields[0]);
    if (resumed_ && pathExists(joinPath(table_->path(), fields[0]))) {
      ++kept_;
      ++written_;
      if (written_ % kBatchRecords == 0) step();
      return;
    }
    std::string text = recordText(fields);
    if (isRecordId(fields[0]) && storedValues(text) == fields) {
      batch_.push_back(text);
      if (batch_.size() == kBatchRecords) writeBatch();
    } else {
      writeBatch();
      writeOne(fields);
    }
  }

  void finish() {
    finishTable();
    if (progress_) ctx_.err() << "\r\033[K";
  }

  size_t kept() const { return kept_; }

  // What a failure of the write means: how far it got and how to go on.
  std::string stopped(const std::string& why) const {
    if (progress_) ctx_.err() << "\r\033[K";
    return "restore: " + thousands(written_) + " of " + thousands(total_) +
           " records written under " + root_ + "; the rest not written: " + why + goOn_;
  }

 private:
  // AddTable takes int and varchar columns of plain names; a table it would
  // not make with this very schema line comes from a description file, as
  // add-table makes one with a bigint column; one that a description file
  // would not carry either (blanks at the ends of its name, a schema line
  // too long for the reader) gets its schema file and directory from the
  // two calls AddTable itself makes.
  void makeTable(const std::string& name, const std::string& schema) {
    std::string spec;
    for (const CColumn* column : SchemaColumns(schema).list)
      spec += (spec.empty() ? "" : ",") + std::string(column->name()) + "(" +
              TalDB::TypeWordOf(column->type(), "none") + ")";
    std::string copy = spec;
    TalDB::TextBuffer made;
    std::string action = "restore: make table " + name;
    if (TalDB::ColumnSpecToSchema(&copy[0], made) == 0 && made.data() == schema) {
      ctx_.require(db_.AddTable(name.c_str(), spec.c_str()), action);
    } else if (readsBackWhole(name) && readsBackWhole(schema) &&
               schema.size() < TalDB::kValueLimit) {
      addTableFromSchema(ctx_, db_, name, schema, action);
    } else {
      ctx_.require(db_.createSchemaF(name.c_str(), schema.c_str()), action);
      ctx_.require(db_.createTableF(name.c_str()), action);
    }
  }

  void writeBatch() {
    if (batch_.empty()) return;
    pointers_.clear();
    for (const std::string& text : batch_) pointers_.push_back(text.c_str());
    int done = 0;
    int status = table_->addRecords(pointers_.data(), static_cast<int>(pointers_.size()), nullptr,
                                    false, &done);
    written_ += static_cast<size_t>(std::max(done, 0));
    batch_.clear();
    ctx_.require(status, "restore: write records of table " + std::string(table_->name()));
    step();
  }

  // A value with a comma or blanks at its ends, an empty one at the end, or a
  // name that is not an id: set into the columns and written by the store's
  // own record writer, under the table's directory lock as every writer.
  void writeOne(const std::vector<std::string>& fields) {
    const std::vector<CColumn*>& columns = table_->columns();
    std::string action =
        "restore: write record " + quoted(fields[0]) + " of table " + table_->name();
    for (size_t i = 0; i < columns.size(); ++i)
      ctx_.require(columns[i]->SetData(fields[i].c_str()), action);
    {
      TalDB::DirLock lock;
      lock.lockPath(table_->path());
      ctx_.require(table_->update(joinPath(table_->path(), fields[0]).c_str()), action);
    }
    ++written_;
    step();
  }

  // After each write: the progress line, and a stop asked for ends the
  // restore here, with everything before it on disk.
  void step() {
    if (progress_) {
      double seconds =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
      double rate = seconds > 0 ? written_ / seconds : 0;
      ctx_.err() << "\r\033[K" << thousands(written_) << " of " << thousands(total_) << " records, "
                 << thousands(static_cast<size_t>(rate)) << " records/s";
      if (total_ > written_ && rate > 0)
        ctx_.err() << ", " << static_cast<long>((total_ - written_) / rate + 0.5) << " s left";
      ctx_.err().flush();
    }
    checkStop();
  }

  void checkStop() {
    if (StopSignals::caught() != 0) throw Failure(stopped(StopSignals::describe()));
  }

  // The table directory must hold the records written and nothing else.
  void finishTable() {
    if (!table_) return;
    writeBatch();
    size_t found = 0;
    bool foreign = false;
    DIR* dir = opendir(table_->path());
    if (dir == nullptr)
      throw Failure("restore: cannot read " + std::string(table_->path()) + ": " +
                    std::strerror(errno));
    while (struct dirent* entry = readdir(dir)) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      ++found;
      foreign = foreign || !names_.contains(name);
    }
    closedir(dir);
    if (foreign || found != names_.size()) {
      throw Failure("restore: table " + std::string(table_->name()) + ": its directory holds " +
                    plural(found, "entry", "entries") + " after " +
                    plural(names_.size(), "record was", "records were") + " written");
    }
    names_.clear();
    table_.reset();
  }

  Context& ctx_;
  TalDB::CTalDatabase& db_;
  std::string root_, goOn_;
  std::unique_ptr<CTable> table_;
  bool resumed_ = false, progress_ = false;
  std::vector<std::string> batch_;
  std::vector<const char*> pointers_;
  NameSet names_;
  size_t total_ = 0, written_ = 0, kept_ = 0;
  std::chrono::steady_clock::time_point start_;
};

// The marker's text, or "" when there is none.
std::string readMarker(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string header, identity;
  if (!std::getline(in, header) || header != kMarkerHeader || !std::getline(in, identity))
    return in.is_open() ? "unreadable" : "";
  return identity;
}

}  // namespace

static int cmdBackup(Context& ctx) {
  std::string file = ctx.arg(0);
  LeftOut leftOut(ctx);
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, false);
  OutputFile sink("backup", file, ctx.out());
  sink.write(std::string(kHeader) + "\n");
  Counts counts;
  for (CTable* table : tables) {
    std::string schema, problem = readSchemaLine(*table, schema);
    if (!problem.empty()) {
      leftOut.add({std::string(TalDB::kSchemaDir) + "/" + table->name() + ": " + problem +
                   "; the whole table is left out"});
      continue;
    }
    sink.write("table " + encodeField(table->name()) + " " + encodeField(schema) + "\n");
    // Each record goes to the file as it is read, so that memory does not grow
    // with the table.
    std::string line;
    copyRecords(ctx, *table, leftOut, [&](const std::vector<std::string>& values) {
      line = "record";
      for (const std::string& value : values) line += " " + encodeField(value);
      sink.write(line + "\n");
      ++counts.records;
      // Standard output that can no longer be written ends the walk.
      return static_cast<bool>(ctx.out());
    });
    ++counts.tables;
  }
  sink.write("end tables=" + std::to_string(counts.tables) +
             " records=" + std::to_string(counts.records) +
             " left-out=" + std::to_string(leftOut.count()) + "\n");
  leftOut.finish("backup", sink.toStandardOutput()
                               ? "this backup is not whole, and its last line says so"
                               : "no backup was written to " + file);
  sink.commit();
  std::string report = "backed up " + plural(counts.tables, "table", "tables") + ", " +
                       plural(counts.records, "record", "records");
  if (!sink.toStandardOutput())
    ctx.note() << report << " to " << file << "\n";
  else if (!ctx.options().quiet)
    ctx.err() << "taldb: " << report << "\n";
  return kExitOk;
}

static int cmdRestore(Context& ctx) {
  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  std::string marker = joinPath(root, kMarker);
  // A root with a database holds a restore under way when the marker is
  // there; without a database the marker is a stale one, rewritten.
  bool holds = status != 10 || pathExists(joinPath(root, TalDB::kContainerDir));
  std::string underWay = holds ? readMarker(marker) : "";
  if (holds && underWay.empty()) {
    throw Failure("restore: " + root + " holds a database already, or part of one (" +
                  joinPath(root, TalDB::kContainerDir) +
                  "); restore makes a new database: give a new root");
  }
  ctx.log().clear();
  const std::string nothing =
      underWay.empty() ? "; nothing was written" : "; nothing more was written";
  StopSignals signals(true);
  std::unique_ptr<InputFile> input;
  try {
    input.reset(new InputFile("restore", ctx.arg(0), ctx.in()));
  } catch (const Failure& failure) {
    throw Failure(failure.what() + nothing);
  }
  BackupReader reader(ctx, input->source(), root);
  Counts counts;
  try {
    counts = reader.read(
        input->rewind(), true, [](const std::string&, const std::string&) {},
        [](const std::vector<std::string>&, size_t) {});
  } catch (const Failure& failure) {
    throw Failure(failure.what() + nothing);
  }
  // The root as it was given, for the commands that go on or start over.
  std::string rootOption = ctx.options().config.empty()
                               ? "--root " + shellWord(root)
                               : "--config " + shellWord(ctx.options().config);
  std::string startOver = "taldb " + rootOption + " drop --yes, then restore";
  std::string goOn = "; to go on, run the same command again (taldb " + rootOption + " restore " +
                     shellWord(ctx.arg(0)) +
                     (ctx.options().allowPartial ? " --allow-partial" : "") +
                     (input->kept() ? ", with the same backup on its input" : "") +
                     "); to start over instead: " + startOver;
  if (!underWay.empty() && underWay != reader.identity()) {
    throw Failure("restore: " + root + " holds a restore of another backup, stopped before it " +
                  "was whole (" + marker +
                  "); give that backup to go on, or start over: " + startOver + nothing);
  }

  TalDB::CTalDatabase resumed;
  TalDB::CTalDatabase* db = &ctx.db();
  std::unique_ptr<Restorer> restorer;
  try {
    if (underWay.empty()) {
      // An empty database first, then its tables: the store lays down the
      // directories of a description file without tables.
      {
        TemporaryFile empty("restore", "[database]\n; an empty database, which restore fills\n",
                            "restore");
        ctx.require(ctx.db().Create(empty.path(), 1, nullptr), "restore: create " + root);
      }
      ctx.require(ctx.db().open(), "restore: open " + root);
      OutputFile note("restore", marker, ctx.out());
      note.write(std::string(kMarkerHeader) + "\n" + reader.identity() + "\n");
      note.commit();
    } else {
      // What a stop or a crash left half written is finished or removed the
      // store's own way before going on; a database whose open fails (a
      // table made half) is repaired first on an object of its own.
      {
        TalDB::CTalDatabase unopened;
        if (unopened.open(root.c_str()) != 0) unopened.repair();
      }
      ctx.log().clear();
      ctx.require(resumed.open(root.c_str()), "restore: open " + root);
      ctx.require(resumed.repair(), "restore: repair what the restore before left half written");
      db = &resumed;
    }
    restorer.reset(new Restorer(ctx, *db, root, counts.records, goOn));
    reader.read(
        input->rewind(), false,
        [&](const std::string& name, const std::string& schema) { restorer->table(name, schema); },
        [&](const std::vector<std::string>& fields, size_t) { restorer->record(fields); });
    restorer->finish();
  } catch (const Failure& failure) {
    std::string what = failure.what();
    if (restorer && what.find(goOn) == std::string::npos)
      what = restorer->stopped(what.compare(0, 9, "restore: ") == 0 ? what.substr(9) : what);
    else if (!restorer)
      what += goOn;
    throw Failure(what);
  }
  // Whole: the marker goes, and its removal is flushed with the directory.
  if (unlink(marker.c_str()) != 0)
    throw Failure("restore: the database under " + root + " is whole, but " + marker +
                  " cannot be removed: " + std::strerror(errno) + "; remove it by hand");
  int dir = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    fsync(dir);
    close(dir);
  }
  ctx.note() << "restored " << plural(counts.tables, "table", "tables") << ", "
             << plural(counts.records, "record", "records") << " under " << root << " from "
             << input->source()
             << (restorer->kept() != 0
                     ? " (going on from an earlier run: " + thousands(restorer->kept()) +
                           (restorer->kept() == 1 ? " record was" : " records were") +
                           " there already)"
                     : std::string())
             << (counts.leftOut != 0 ? " (a partial backup: " +
                                           plural(counts.leftOut, "entry was", "entries were") +
                                           " left out when it was written)"
                                     : std::string())
             << "\n";
  return kExitOk;
}

extern const Command kBackupCommand;
const Command kBackupCommand = {
    "backup",
    "FILE|- [--allow-partial]",
    "write the whole database into one backup file",
    "Every table's schema line and every record, each value exactly as its record file\n"
    "holds it (commas, blanks at either end, an empty last value, '{{$talid}}', bytes that\n"
    "are not UTF-8), into FILE, or to standard output with '-'. The file is text, one line\n"
    "per table and per record; see taldb(1) for its format. Entries that no backup can\n"
    "carry are named as for 'dump'; then the backup fails with status 1 and FILE is not\n"
    "written. With --allow-partial it is written all the same, its last line saying how\n"
    "many entries it left out, and 'restore' takes it only with --allow-partial too.\n"
    "A regular FILE (or the file a symbolic link leads to, the link staying) is written\n"
    "whole and flushed under a temporary name, then renamed into place; a FIFO or a\n"
    "character device is written in place, never replaced; anything else is refused.\n"
    "Ctrl-C leaves no partial file; the summary comes only once FILE is written.\n",
    1,
    1,
    kOptRoot | kOptPartial,
    cmdBackup};

extern const Command kRestoreCommand;
const Command kRestoreCommand = {
    "restore",
    "FILE|- [--allow-partial]",
    "make the database of a backup file under a new root",
    "The root (--root, --config or TALDB_ROOT) must not hold a database yet, unless a\n"
    "restore of the same backup stopped there (see below). The whole file\n"
    "is read and checked first (its header, every line, every value, the counts on its\n"
    "last line), and a problem is named with its line before anything is written. Then\n"
    "the tables are made and the records written, every value as the backup holds it.\n"
    "A backup that says it left entries out is restored only with --allow-partial.\n"
    "FILE may be '-', a pipe, a process substitution or a FIFO: it is read once, kept in\n"
    "a temporary file. On a terminal a progress line shows on standard error (not with\n"
    "-q). A restore that fails or is interrupted says how far it got; while it writes,\n"
    "the file taldb-restore-under-way in the root names the backup, and the same restore\n"
    "run again goes on where it stopped. 'taldb drop --yes' starts over instead.\n",
    1,
    1,
    kOptRoot | kOptPartial,
    cmdRestore};

}  // namespace taldb_cli
