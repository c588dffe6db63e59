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
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <set>

#include "Cli.h"
#include "column/TypeWords.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "table/SchemaSeal.h"
#include "taldb/CUtils.h"
#include "util/DirLock.h"
#include "util/Path.h"
#include "util/TextBuffer.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

constexpr const char kHeader[] = "taldb-backup 1";
// Records per group write, as import writes them.
constexpr size_t kBatchRecords = 2000;
// The longest file name the file systems take.
constexpr size_t kNameLimit = 255;

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

std::vector<std::string> splitFields(const std::string& line) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (size_t end; (end = line.find(' ', start)) != std::string::npos; start = end + 1)
    fields.push_back(line.substr(start, end - start));
  fields.push_back(line.substr(start));
  return fields;
}

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

// ---- Writing a backup

// Where a backup goes: standard output, or a file written under a temporary
// name beside it, flushed, and renamed into place only once it is complete,
// so that FILE is never a backup cut short.
class Sink {
 public:
  Sink(Context& ctx, const std::string& file) : ctx_(ctx), file_(file) {
    if (file == "-") return;
    temporary_ = file + ".partial-XXXXXX";
    fd_ = mkstemp(&temporary_[0]);
    if (fd_ < 0) throw Failure("backup: cannot write " + file + ": " + std::strerror(errno));
  }
  ~Sink() {
    if (fd_ < 0) return;
    close(fd_);
    unlink(temporary_.c_str());
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  void write(const std::string& text) {
    if (fd_ < 0) {
      ctx_.out() << text;
      return;
    }
    buffer_ += text;
    if (buffer_.size() >= (1u << 16)) drain();
  }

  void commit() {
    if (fd_ < 0) return;
    drain();
    if (fsync(fd_) != 0) fail();
    close(fd_);
    fd_ = -1;
    if (rename(temporary_.c_str(), file_.c_str()) != 0) {
      int error = errno;
      unlink(temporary_.c_str());
      throw Failure("backup: cannot rename " + temporary_ + " to " + file_ + ": " +
                    std::strerror(error));
    }
    // The new name is flushed too, so that the backup outlives a power cut.
    size_t slash = file_.rfind('/');
    std::string directory = slash == std::string::npos ? "." : file_.substr(0, slash + 1);
    int dir = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
      fsync(dir);
      close(dir);
    }
  }

 private:
  void drain() {
    for (size_t done = 0; done < buffer_.size();) {
      ssize_t wrote = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) fail();
      done += static_cast<size_t>(wrote);
    }
    buffer_.clear();
  }
  [[noreturn]] void fail() {
    throw Failure("backup: cannot write " + temporary_ + ": " + std::strerror(errno) +
                  "; no backup was written to " + file_);
  }

  Context& ctx_;
  std::string file_;
  std::string temporary_;
  std::string buffer_;
  int fd_ = -1;
};

// ---- Reading a backup

// The input, read twice: once to check all of it, once to write. Standard
// input is kept in a temporary file as it is first read.
class Input {
 public:
  Input(Context& ctx, const std::string& file)
      : source_(file == "-" ? std::string("standard input") : file) {
    path_ = file;
    if (file == "-") {
      path_.clear();
      bool kept = ctx.keepInput(path_);
      spooled_ = !path_.empty();
      // Thrown from here, the destructor does not run: the copy goes first.
      if (!kept) {
        int error = errno;
        if (spooled_) unlink(path_.c_str());
        errno = error;
        fail("cannot keep standard input in a temporary file " + path_);
      }
    }
    rewind();
  }
  ~Input() {
    if (spooled_) unlink(path_.c_str());
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  std::istream& stream() { return *stream_; }
  const std::string& source() const { return source_; }
  void rewind() {
    stream_.reset(new std::ifstream(path_, std::ios::binary));
    if (!*stream_) fail("cannot read " + path_);
  }

 private:
  [[noreturn]] void fail(const std::string& what) {
    throw Failure("restore: " + what + ": " + std::strerror(errno) + "; nothing was written");
  }

  std::string source_;
  std::string path_;
  bool spooled_ = false;
  std::unique_ptr<std::ifstream> stream_;
};

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
// onTable(name, schemaLine) at each table and onRecord(fields) at each
// record (the id first, then a value per column after the first). Anything
// else is a Failure that names the line.
class BackupReader {
 public:
  BackupReader(Context& ctx, Input& input, const std::string& root)
      : ctx_(ctx), input_(input), dataDir_(joinPath(root, TalDB::kDataDir)) {}

  template <class OnTable, class OnRecord>
  Counts read(OnTable onTable, OnRecord onRecord) {
    Counts seen;
    std::set<std::string> tables, ids;
    std::string line, table;
    size_t columns = 0;
    bool ended = false;
    number_ = 0;
    for (std::istream& in = input_.stream(); std::getline(in, line);) {
      ++number_;
      if (number_ == 1) {
        header(line);
        continue;
      }
      if (ended) fail("there is text after the end line");
      std::vector<std::string> raw = splitFields(line);
      std::vector<std::string> fields(raw.size() - 1);
      for (size_t i = 1; i < raw.size(); ++i) {
        if (!decodeField(raw[i], fields[i - 1]))
          fail("field " + std::to_string(i + 1) + " " + quoted(raw[i]) +
               " is not written as a backup writes a field");
      }
      if (raw[0] == "table") {
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
      } else if (raw[0] == "record") {
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
        if (!ids.insert(fields[0]).second)
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
        onRecord(fields);
      } else if (raw[0] == "end") {
        Counts claimed;
        if (raw.size() != 4 || !count(raw[1], "tables=", claimed.tables) ||
            !count(raw[2], "records=", claimed.records) ||
            !count(raw[3], "left-out=", claimed.leftOut))
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
        fail("a line begins with 'table', 'record' or 'end', not " + quoted(raw[0]));
      }
    }
    if (input_.stream().bad()) fail("the file cannot be read to its end");
    if (number_ == 0) fail("the file is empty: not a taldb backup");
    if (!ended) fail("the file ends before its end line: it is cut short");
    return seen;
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
    throw Failure("restore: " + input_.source() + " line " + std::to_string(number_) + ": " + what);
  }

  Context& ctx_;
  Input& input_;
  std::string dataDir_;
  size_t number_ = 0;
};

// Text as the store's readers of a description file read it back: without
// blanks at either end, on one line.
bool readsBackWhole(const std::string& text) {
  std::string copy = text;
  TalDB::CUtils::trim(&copy[0]);
  return copy.c_str() == text && text.find('\n') == std::string::npos;
}

// A temporary description file that holds text, removed with the object.
class TemporaryDescription {
 public:
  explicit TemporaryDescription(const std::string& text) {
    const char* dir = std::getenv("TMPDIR");
    path_ = std::string(dir != nullptr && *dir ? dir : "/tmp") + "/taldb-restore-XXXXXX";
    int fd = mkstemp(&path_[0]);
    bool written =
        fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (fd >= 0) close(fd);
    if (!written) {
      if (fd >= 0) unlink(path_.c_str());
      throw Failure("restore: cannot write a temporary file " + path_);
    }
  }
  ~TemporaryDescription() { unlink(path_.c_str()); }
  TemporaryDescription(const TemporaryDescription&) = delete;
  TemporaryDescription& operator=(const TemporaryDescription&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

// Writes what a checked backup holds: each table made the store's way, its
// records through the group write when their values survive its record text,
// the others one by one through the store's own record writer.
class Restorer {
 public:
  Restorer(Context& ctx, const std::string& root) : ctx_(ctx), root_(root) {}

  void table(const std::string& name, const std::string& schema) {
    finishTable();
    makeTable(name, schema);
    table_.reset(new CTable(root_.c_str(), name.c_str()));
    ctx_.require(table_->Open(), "restore: open table " + name);
    std::string line;
    if (readSchemaLine(*table_, line) != "" || line != schema)
      throw Failure("restore: table " + name +
                    ": its schema file does not hold the backup's "
                    "schema line after it was made");
  }

  void record(const std::vector<std::string>& fields) {
    names_.push_back(fields[0]);
    std::string text = recordText(fields);
    if (isRecordId(fields[0]) && storedValues(text) == fields) {
      batch_.push_back(text);
      if (batch_.size() == kBatchRecords) writeBatch();
    } else {
      writeOne(fields);
    }
  }

  void finish() { finishTable(); }

 private:
  // AddTable takes int and varchar columns of plain names; a table it would
  // not make with this very schema line comes from a description file, as
  // add-table makes one with a bigint column; one that a description file
  // would not carry either (blanks at the ends of its name, a schema line
  // too long for the reader) gets its schema file and directory from the
  // two calls AddTable itself makes.
  void makeTable(const std::string& name, const std::string& schema) {
    TalDB::CTalDatabase& db = ctx_.db();
    std::string spec;
    for (const CColumn* column : SchemaColumns(schema).list)
      spec += (spec.empty() ? "" : ",") + std::string(column->name()) + "(" +
              TalDB::TypeWordOf(column->type(), "none") + ")";
    std::string copy = spec;
    TalDB::TextBuffer made;
    std::string action = "restore: make table " + name;
    if (TalDB::ColumnSpecToSchema(&copy[0], made) == 0 && made.data() == schema) {
      ctx_.require(db.AddTable(name.c_str(), spec.c_str()), action);
    } else if (readsBackWhole(name) && readsBackWhole(schema) &&
               schema.size() < TalDB::kValueLimit) {
      TemporaryDescription description("[" + name + "]\nschema = " + schema + "\n");
      ctx_.require(db.CheckAddTable(name.c_str(), description.path()), action);
    } else {
      ctx_.require(db.createSchemaF(name.c_str(), schema.c_str()), action);
      ctx_.require(db.createTableF(name.c_str()), action);
    }
  }

  void writeBatch() {
    if (batch_.empty()) return;
    std::vector<const char*> texts;
    for (const std::string& text : batch_) texts.push_back(text.c_str());
    ctx_.require(
        table_->addRecords(texts.data(), static_cast<int>(texts.size()), nullptr, false, nullptr),
        "restore: write records of table " + std::string(table_->name()));
    batch_.clear();
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
    TalDB::DirLock lock;
    lock.lockPath(table_->path());
    ctx_.require(table_->update(joinPath(table_->path(), fields[0]).c_str()), action);
  }

  // The table directory must hold the records written and nothing else.
  void finishTable() {
    if (!table_) return;
    writeBatch();
    std::vector<std::string> found;
    readDirectory(table_->path(), found);
    std::sort(names_.begin(), names_.end());
    if (found != names_) {
      throw Failure("restore: table " + std::string(table_->name()) + ": its directory holds " +
                    plural(found.size(), "entry", "entries") + " after " +
                    plural(names_.size(), "record was", "records were") + " written");
    }
    names_.clear();
    table_.reset();
  }

  Context& ctx_;
  std::string root_;
  std::unique_ptr<CTable> table_;
  std::vector<std::string> batch_;
  std::vector<std::string> names_;
};

}  // namespace

int cmdBackup(Context& ctx) {
  std::string file = ctx.arg(0);
  LeftOut leftOut(ctx);
  std::vector<CTable*> tables = copiedTables(ctx, leftOut, false);
  Sink sink(ctx, file);
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
  leftOut.finish("backup", file == "-" ? "this backup is not whole, and its last line says so"
                                       : "no backup was written to " + file);
  sink.commit();
  std::string report = "backed up " + plural(counts.tables, "table", "tables") + ", " +
                       plural(counts.records, "record", "records");
  if (file != "-")
    ctx.note() << report << " to " << file << "\n";
  else if (!ctx.options().quiet)
    ctx.err() << "taldb: " << report << "\n";
  return kExitOk;
}

int cmdRestore(Context& ctx) {
  int status = ctx.openRoot();
  std::string root = ctx.db().path();
  if (status != 10 || pathExists(joinPath(root, TalDB::kContainerDir))) {
    throw Failure("restore: " + root + " holds a database already, or part of one (" +
                  joinPath(root, TalDB::kContainerDir) +
                  "); restore makes a new database: give a new root");
  }
  ctx.log().clear();
  Input input(ctx, ctx.arg(0));
  BackupReader reader(ctx, input, root);
  try {
    reader.read([](const std::string&, const std::string&) {},
                [](const std::vector<std::string>&) {});
  } catch (const Failure& failure) {
    throw Failure(failure.what() + std::string("; nothing was written"));
  }

  // An empty database first, then its tables: the store lays down the
  // directories of a description file without tables.
  {
    TemporaryDescription empty("[database]\n; an empty database, which restore fills\n");
    ctx.require(ctx.db().Create(empty.path(), 1, nullptr), "restore: create " + root);
  }
  ctx.require(ctx.db().open(), "restore: open " + root);
  Restorer restorer(ctx, root);
  input.rewind();
  Counts counts;
  try {
    counts = reader.read(
        [&](const std::string& name, const std::string& schema) { restorer.table(name, schema); },
        [&](const std::vector<std::string>& fields) { restorer.record(fields); });
    restorer.finish();
  } catch (const Failure& failure) {
    throw Failure(failure.what() + std::string("; the partial database stays under ") + root +
                  ": remove it with 'taldb --root " + root + " drop --yes'");
  }
  ctx.note() << "restored " << plural(counts.tables, "table", "tables") << ", "
             << plural(counts.records, "record", "records") << " under " << root << " from "
             << input.source()
             << (counts.leftOut != 0 ? " (a partial backup: " +
                                           plural(counts.leftOut, "entry was", "entries were") +
                                           " left out when it was written)"
                                     : std::string())
             << "\n";
  return kExitOk;
}

}  // namespace taldb_cli
