// How the tool reads a table directory entry by entry, so that what it prints
// and counts is what the store can read back whole.
#include "session/Records.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/Errors.h"
#include "base/Text.h"
#include "gux.h"
#include "input/Arguments.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "store/Descriptions.h"
#include "store/Files.h"
#include "store/Records.h"

namespace taldb_cli {

using TalDB::CColumn;
using TalDB::CTable;

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
  if (!walkRecords(ctx, table, condition, false, skipped, use))
    throw unreadableDirectory(ctx, table);
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

long longField(const std::string& path) {
  TalDB::LineReader reader;
  if (reader.read(path.c_str()) != TalDB::LineReader::kRead) return -1;
  return TalDB::FirstCutField(reader.data());
}
std::string unreadableRecord(TalDB::CTable& table, const std::string& path, int status) {
  long fields = status == 8 ? -1 : countFields(path);
  long needed = table.columns().empty() ? 0 : table.columns().size() - 1;
  if (fields < 0) return "record file cannot be opened";
  if (fields == 0) return "record file is empty";
  if (fields < needed) {
    return "record has too few fields (" + std::to_string(fields) + " of " +
           std::to_string(needed) + ")";
  }
  return "record cannot be read (status " + std::to_string(status) + ")";
}

std::vector<std::string> columnNames(const CTable& table) {
  std::vector<std::string> names;
  for (const CColumn* column : table.columns()) names.push_back(column->name());
  return names;
}

std::vector<std::string> currentValues(const CTable& table) {
  std::vector<std::string> values;
  for (const CColumn* column : table.columns())
    values.push_back(column->data() != nullptr ? column->data() : "");
  return values;
}

void currentValues(const CTable& table, std::vector<std::string>& values) {
  const std::vector<CColumn*>& columns = table.columns();
  values.resize(columns.size());
  for (size_t i = 0; i < columns.size(); ++i)
    values[i].assign(columns[i]->data() != nullptr ? columns[i]->data() : "");
}

std::vector<CTable*> sortedTables(TalDB::CTalDatabase& db) {
  std::vector<CTable*> tables = db.tables();
  std::sort(tables.begin(), tables.end(),
            [](const CTable* a, const CTable* b) { return std::strcmp(a->name(), b->name()) < 0; });
  return tables;
}

CTable& tableToWrite(Context& ctx) {
  CTable& table = ctx.table(ctx.arg(0));
  TalDB::SchemaSeal seal = TalDB::CheckSchemaSeal(table.schemaPath());
  if (seal != TalDB::SchemaSeal::kWhole) {
    throw Failure(
        action(ctx) + ": " + table.schemaPath() + ": " + TalDB::DescribeSchemaSeal(seal) +
        "; no record of this table is written until it is whole again; see 'taldb check'");
  }
  return table;
}

std::vector<CTable*> namedOrAllTables(Context& ctx) {
  if (!ctx.args().empty()) return {&ctx.table(ctx.arg(0))};
  ctx.openDatabase();
  return sortedTables(ctx.db());
}

}  // namespace taldb_cli
