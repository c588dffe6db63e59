// What the tool checks against a table's schema before the store is called,
// and how it reads a table directory entry by entry, so that what it prints
// and counts is what the store can read back whole.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Cli.h"
#include "database/SectionList.h"
#include "gux.h"
#include "table/RecordFormat.h"
#include "table/RecordNames.h"
#include "util/FileSystem.h"
#include "util/LineReader.h"
#include "util/Path.h"

namespace taldb_cli {

namespace {

using TalDB::CColumn;
using TalDB::CTable;

// "hosts has 3 columns: id name port", the schema a refusal is measured by.
std::string schemaText(const std::string& table, const std::vector<CColumn*>& columns) {
  std::string text = table + " has " + plural(columns.size(), "column", "columns") + ":";
  for (const CColumn* column : columns) text += std::string(" ") + column->name();
  return text;
}

// Checks a record text against columns; first is the column of the first
// value. A UsageError that starts with where.
void checkRecordText(const std::string& where, const std::string& table,
                     const std::vector<CColumn*>& columns, size_t first, const std::string& text) {
  std::vector<std::string> values = storedValues(text);
  size_t expected = columns.size() - std::min(first, columns.size());
  if (values.size() != expected) {
    throw UsageError(where + schemaText(table, columns) + "; " +
                     plural(values.size(), "value", "values") + " given for " +
                     (first ? "the " + plural(expected, "column", "columns") + " after the first"
                            : "all of them, the id first"));
  }
  for (size_t i = 0; i < values.size(); ++i)
    checkColumnValue(where, table, columns[first + i]->name(), values[i]);
}

// One table section of a description file: its schema and seed records.
void checkDescriptionTable(const std::string& file, const char* table) {
  std::string where = "create: table " + std::string(table) + ": ";
  char schema[TalDB::kValueLimit];
  if (InifileGetValueA(table, "schema", schema, sizeof schema, nullptr, file.c_str()) < 1)
    throw UsageError(where + "no 'schema' key in " + file + "; nothing was created");
  SchemaColumns columns(schema);
  for (int n = 1;; ++n) {
    std::string key = "rec_" + std::to_string(n);
    char record[TalDB::kPathLimit];
    if (InifileGetValueA(table, key.c_str(), record, sizeof record, nullptr, file.c_str()) < 1)
      return;
    try {
      checkRecordText(where + "record " + key + ": ", table, columns.list, 0, record);
    } catch (const UsageError& e) {
      throw UsageError(e.what() + std::string("; nothing was created"));
    }
  }
}

// An assignment the store would take without storing it: the first column is
// the record's file name, which an update does not rename.
std::string assignmentProblem(CTable& table, const char* name, const char* value) {
  if (table.getcolumn(name) == table.columns().front())
    return "the first column '" + std::string(name) +
           "' names the record and is not changed by an update; write the record under the "
           "new id with 'put', then delete the old one";
  checkColumnValue("invalid assignment: ", table.name(), name, value);
  checkTypedValue("invalid assignment: ", table.name(), *table.getcolumn(name), value);
  return "";
}

}  // namespace

// Split with the store's own splitter, so that the tool's count and the
// store's agree.
std::vector<std::string> storedValues(const std::string& text) {
  std::string copy = text;
  TalDB::RecordValues values(&copy[0]);
  std::vector<std::string> out;
  while (const char* value = values.next()) out.push_back(value);
  return out;
}

void checkColumnValue(const std::string& where, const std::string& table, const std::string& column,
                      const std::string& value) {
  if (value.find('|') != std::string::npos)
    throw UsageError(where + "the value of " + table + "." + column + " must not contain '|'");
  if (!TalDB::IsWholeValue(value.size())) {
    throw UsageError(where + "the value of " + table + "." + column + " is " +
                     std::to_string(value.size()) + " bytes; the store keeps at most " +
                     std::to_string(TalDB::kValueLimit - 1) + " of a value");
  }
}

void checkRecordValues(const CTable& table, const std::string& text, bool idFirst) {
  checkRecordText("", table.name(), table.columns(), idFirst ? 0 : 1, text);
}

void checkDescriptionRecords(const std::string& file) {
  TalDB::SectionList sections;
  if (sections.read(file.c_str()) != 0 || sections.next() == nullptr) return;
  while (const char* name = sections.next()) checkDescriptionTable(file, name);
}

void checkTerms(CTable& table, const std::string& text, const char* kind) {
  std::string copy = text;
  TalDB::TermList terms(&copy[0]);
  char* name;
  char* value;
  std::string problem;
  if (!terms.next(&name, &value)) problem = "it is empty";
  for (bool more = problem.empty(); more && problem.empty(); more = terms.next(&name, &value)) {
    if (name == nullptr)
      problem = "it has an empty term";
    else if (value == nullptr)
      problem = "the term '" + std::string(name) + "' has no '='";
    else if (*name == '\0')
      problem = "a term has no column name";
    else if (table.getcolumn(name) == nullptr)
      problem = "no column '" + std::string(name) + "'";
    else if (kind[0] == 'a')
      problem = assignmentProblem(table, name, value);
  }
  if (!problem.empty()) {
    throw UsageError(std::string("invalid ") + kind + " " + quoted(text) + ": " + problem + "; " +
                     schemaText(table.name(), table.columns()) + "; write COLUMN=VALUE[,...]");
  }
}

std::string entryKind(unsigned mode) {
  if (S_ISLNK(mode)) return "a symbolic link";
  if (S_ISDIR(mode)) return "a directory";
  return S_ISREG(mode) ? "a file" : "a FIFO, socket or device";
}

bool isSymbolicLink(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

bool readFileLine(const std::string& path, std::string& line, std::string& kind, bool* beyond) {
  line.clear();
  kind.clear();
  if (beyond != nullptr) *beyond = false;
  // Looked at before it is opened, so that a device is never opened at all;
  // then opened without following a link and looked at again through the
  // descriptor, so that an entry swapped for a link in between is not read.
  struct stat seen;
  if (lstat(path.c_str(), &seen) != 0) return false;
  if (!S_ISREG(seen.st_mode)) {
    kind = entryKind(seen.st_mode);
    return false;
  }
  int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ELOOP) kind = entryKind(S_IFLNK);
    return false;
  }
  struct stat opened;
  bool known = fstat(fd, &opened) == 0;
  bool regular = known && S_ISREG(opened.st_mode);
  if (known && !regular) kind = entryKind(opened.st_mode);
  // As the store reads it: the bytes before the first line feed, and an
  // unreadable rest counts as the end of the file. Past the line feed only
  // whether anything follows is of interest.
  char buffer[4096];
  bool ended = false;
  while (regular) {
    ssize_t got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    size_t skip = 0;
    if (!ended) {
      const void* feed = std::memchr(buffer, '\n', static_cast<size_t>(got));
      skip = feed != nullptr ? static_cast<const char*>(feed) - buffer + 1 : got;
      line.append(buffer, feed != nullptr ? skip - 1 : skip);
      ended = feed != nullptr;
    }
    if (ended && (beyond == nullptr || static_cast<size_t>(got) > skip)) {
      if (beyond != nullptr) *beyond = static_cast<size_t>(got) > skip;
      break;
    }
  }
  close(fd);
  return regular;
}

namespace {

// The record line of `name` split into the table's columns by the store's
// own reader: 0, or 16 for an empty line, too few fields, or a value that
// could not be kept.
int setRecord(CTable& table, const std::string& name, std::string line) {
  if (line.empty()) return 16;
  const std::vector<CColumn*>& columns = table.columns();
  if (columns.empty()) return 0;
  return TalDB::SetColumns(columns, name.c_str(), &line[0]) == columns.size() ? 0 : 16;
}

// Why an entry is never a record by its name alone, or "".
std::string nameProblem(const std::string& name) {
  if (TalDB::IsMarkedName(name.c_str()))
    return "a marked name, never a record; 'taldb recover' removes it";
  if (TalDB::IsTempName(name.c_str()))
    return "the temporary file of an interrupted write, never a record; 'taldb check' says "
           "what to do with it";
  return "";
}

// Why an entry of that kind ("a directory") is no record.
std::string kindProblem(const std::string& kind) {
  return kind + " where only record files belong" +
         (kind == entryKind(S_IFLNK) ? "; it is never followed" : "");
}

}  // namespace

std::string recordProblem(CTable& table, const std::string& name, bool whole) {
  std::string problem = nameProblem(name);
  if (!problem.empty()) return problem;
  std::string path = joinPath(table.path(), name);
  std::string line, kind;
  bool beyond = false;
  if (!readFileLine(path, line, kind, whole ? &beyond : nullptr))
    return kind.empty() ? unreadableRecord(table, path, 8) : kindProblem(kind);
  int status = setRecord(table, name, line);
  if (status != 0) return unreadableRecord(table, path, status);
  if (!whole) return "";
  // A copy holds the record as the store reads it; what the store does not
  // read, or reads cut, the copy would lose.
  if (beyond) return "the record file holds more than one line; a copy would lose the rest";
  size_t fields = 0, kept = table.columns().empty() ? 0 : table.columns().size() - 1;
  std::string copy = line;
  for (TalDB::RecordFields split(&copy[0]); split.next() != nullptr;) ++fields;
  if (fields > kept) {
    return "record has more fields than its table has columns after the first (" +
           std::to_string(fields) + " for " + std::to_string(kept) +
           "); a copy would lose the rest";
  }
  long cut = TalDB::FirstCutField(&line[0]);
  if (cut >= 0 && static_cast<size_t>(cut) + 1 < table.columns().size()) {
    return "the value of column " + std::string(table.columns()[cut + 1]->name()) +
           " is longer than the " + std::to_string(TalDB::kValueLimit - 1) +
           " bytes the store reads back; a copy would hold it cut; see 'taldb check'";
  }
  return "";
}

bool recordNameLess(const std::string& a, const std::string& b) {
  auto numeric = [](const std::string& s) {
    size_t start = !s.empty() && s[0] == '-' ? 1 : 0;
    return s.size() > start && s.size() < 19 &&
           s.find_first_not_of("0123456789", start) == std::string::npos;
  };
  bool na = numeric(a), nb = numeric(b);
  if (na && nb) return std::stoll(a) < std::stoll(b);
  if (na != nb) return na;
  return a < b;
}

bool EntryNames::read(const std::string& path) {
  ids_.clear();
  others_.clear();
  // Opened as readDirectory opens it, so that what failed is one call whose
  // errno the caller can report.
  int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = fd >= 0 ? fdopendir(fd) : nullptr;
  if (dir == nullptr) {
    int error = errno;
    if (fd >= 0) close(fd);
    errno = error;
    return false;
  }
  while (const struct dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (TalDB::IsDotEntry(name)) continue;
    if (isRecordId(name))
      ids_.push_back(static_cast<uint32_t>(std::strtoul(name, nullptr, 10)));
    else
      others_.push_back(name);
  }
  closedir(dir);
  std::sort(ids_.begin(), ids_.end());
  // Equal names in record order ("7", "07") keep the order of their text.
  std::sort(others_.begin(), others_.end());
  std::stable_sort(others_.begin(), others_.end(), recordNameLess);
  return true;
}

bool EntryNames::contains(const std::string& name) const {
  if (isRecordId(name))
    return std::binary_search(ids_.begin(), ids_.end(), std::strtoul(name.c_str(), nullptr, 10));
  auto at = std::lower_bound(others_.begin(), others_.end(), name, recordNameLess);
  for (; at != others_.end() && !recordNameLess(name, *at); ++at)
    if (*at == name) return true;
  return false;
}

void EntryNames::forEach(const std::function<bool(const std::string&)>& use) const {
  std::string id;
  size_t i = 0, j = 0;
  while (i < ids_.size() || j < others_.size()) {
    if (i < ids_.size()) id = std::to_string(ids_[i]);
    if (j < others_.size() && (i == ids_.size() || recordNameLess(others_[j], id))) {
      if (!use(others_[j++])) return;
    } else {
      ++i;
      if (!use(id)) return;
    }
  }
}

namespace {

// A readable record's values, or an entry that is not one.
struct Entry {
  bool skipped = false;
  std::string line;
  std::vector<std::string> values;
};

}  // namespace

bool walkRecords(Context& ctx, CTable& table, const char* condition, bool whole,
                 const std::function<void(const std::string&)>& skipped, const RecordUse& use) {
  EntryNames names;
  {
    // Listed between writes, so that a record being rewritten is not missed.
    SettledTable settled(table);
    if (!names.read(table.path())) return false;
  }
  std::vector<Entry> block(kBlockRecords);
  size_t held = 0;
  bool going = true;
  auto giveOut = [&] {
    for (size_t i = 0; i < held && going; ++i) {
      if (block[i].skipped)
        skipped(block[i].line);
      else
        going = use(block[i].values);
    }
    held = 0;
  };
  std::unique_ptr<SettledTable> settled;
  names.forEach([&](const std::string& name) {
    // Each record is read between writes, neither missed while it is being
    // rewritten nor reported as unreadable.
    if (!settled) settled.reset(new SettledTable(table));
    std::string problem = recordProblem(table, name, whole);
    Entry& entry = block[held];
    if (!problem.empty()) {
      // Deleted since the names were listed: no longer part of the table.
      if (!pathExists(joinPath(table.path(), name))) return true;
      entry.skipped = true;
      entry.line = std::string(table.name()) + "/" + name + ": " + problem;
      ++held;
    } else if (condition == nullptr || table.MatchColumn(condition)) {
      entry.skipped = false;
      currentValues(table, entry.values);
      ++held;
    }
    if (held == block.size()) {
      settled.reset();
      giveOut();
    }
    return going;
  });
  settled.reset();
  giveOut();
  ctx.log().clear();
  return true;
}

namespace {

// Names the command that was reading ("count hosts: ...").
Failure unreadableDirectory(const Context& ctx, const CTable& table) {
  return Failure(ctx.options().command + " " + table.name() +
                 ": failed (status 7): cannot open the table directory " + table.path() + ": " +
                 std::strerror(errno));
}

}  // namespace

size_t countRecordFiles(Context& ctx, CTable& table, bool named, size_t* other) {
  SettledTable settled(table);
  int fd = open(table.path(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = fd >= 0 ? fdopendir(fd) : nullptr;
  if (dir == nullptr) {
    Failure failure = unreadableDirectory(ctx, table);
    if (fd >= 0) close(fd);
    throw failure;
  }
  size_t count = 0;
  std::vector<std::pair<std::string, std::string>> skipped;
  while (const struct dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (TalDB::IsDotEntry(name)) continue;
    std::string problem = nameProblem(name);
    if (problem.empty()) {
      // The kind readdir gives, looked at without following a link where
      // the file system does not give it.
      unsigned mode = entry->d_type == DT_REG   ? S_IFREG
                      : entry->d_type == DT_DIR ? S_IFDIR
                      : entry->d_type == DT_LNK ? S_IFLNK
                                                : S_IFIFO;
      struct stat info;
      if (entry->d_type == DT_UNKNOWN) {
        if (fstatat(dirfd(dir), name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        mode = info.st_mode;
      }
      if (S_ISREG(mode)) {
        ++count;
        continue;
      }
      problem = kindProblem(entryKind(mode));
    }
    skipped.emplace_back(name, problem);
  }
  closedir(dir);
  ctx.log().clear();
  std::sort(skipped.begin(), skipped.end(),
            [](const auto& a, const auto& b) { return recordNameLess(a.first, b.first); });
  for (const auto& entry : skipped) {
    if (named)
      ctx.err() << "taldb: skipped " << table.name() << "/" << entry.first << ": " << entry.second
                << "\n";
  }
  if (other != nullptr) *other = skipped.size();
  return count;
}

size_t listRecords(Context& ctx, CTable& table, const char* condition, const RecordUse& use,
                   bool named) {
  size_t count = 0;
  auto skipped = [&](const std::string& line) {
    ++count;
    if (named) ctx.err() << "taldb: skipped " << line << "\n";
  };
  if (!walkRecords(ctx, table, condition, false, skipped, use)) throw unreadableDirectory(ctx, table);
  return count;
}

void LeftOut::add(const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) add(entry);
}

void LeftOut::add(const std::string& entry) {
  ctx_.err() << "taldb: skipped " << entry << "\n";
  ++count_;
}

void LeftOut::finish(const std::string& command, const std::string& what) {
  if (count_ == 0) return;
  std::string text =
      command + ": " + plural(count_, "entry was", "entries were") + " left out (named above)";
  if (!ctx_.options().allowPartial) {
    throw Failure(text + ": " + what +
                  "; 'taldb check' says what each is; --allow-partial takes a partial copy");
  }
  ctx_.err() << "taldb: " << text << "; a partial copy, as --allow-partial asks\n";
}

std::vector<CTable*> copiedTables(Context& ctx, LeftOut& leftOut, bool named) {
  if (named) return {&ctx.table(ctx.arg(0))};
  ctx.openDatabase();
  std::vector<CTable*> tables = sortedTables(ctx.db());
  // Records in a directory without a schema file belong to no table: no copy
  // can carry them, and saying nothing would lose them without a word.
  std::vector<std::string> directories, stray;
  readDirectory(joinPath(ctx.db().path(), TalDB::kDataDir), directories);
  for (const std::string& name : directories) {
    if (ctx.db().GetTable(name.c_str()) == nullptr)
      stray.push_back(std::string(TalDB::kDataDir) + "/" + name +
                      ": a table directory without a schema file, which no copy can carry");
  }
  leftOut.add(stray);
  return tables;
}

bool copyRecords(Context& ctx, CTable& table, LeftOut& leftOut, const RecordUse& use) {
  auto skipped = [&](const std::string& line) { leftOut.add(line); };
  if (walkRecords(ctx, table, nullptr, true, skipped, use)) return true;
  leftOut.add(std::string(table.name()) + ": the table directory " + table.path() +
              " cannot be read, so the whole table is left out");
  return false;
}

}  // namespace taldb_cli
