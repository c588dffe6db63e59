// import: the rows of a CSV file added to a table, at the speed of the disk.
// The file is streamed twice: once to check every row (so that a mistake in
// its last line leaves the table as it was), once to write the rows in
// batches through the store's group write, each batch durable before its ids
// are printed. Each row goes to the store as its values, so that a value with
// a comma takes the same batch as any other. Memory holds a batch, never the
// file. An interrupted or failed import says how far it got and how to go on
// from there.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include "base/Errors.h"
#include "base/StopSignals.h"
#include "base/Text.h"
#include "commands/Command.h"
#include "input/Arguments.h"
#include "input/ColumnRules.h"
#include "input/CsvReader.h"
#include "input/InputFile.h"
#include "input/SchemaChecks.h"
#include "output/Rows.h"
#include "session/Context.h"
#include "session/Files.h"
#include "session/Records.h"
#include "session/Writes.h"
#include "store/Files.h"

namespace taldb_cli {

namespace {

// What the header says: for each cell, the table column it fills.
std::vector<int> headerColumns(const CsvRow& header, const TalDB::CTable& tableObject, bool put,
                               const std::string& source) {
  const std::vector<std::string> columns = columnNames(tableObject);
  const std::vector<Kind> kinds = columnKinds(tableObject);
  const std::string table = tableObject.name();
  std::vector<int> map;
  for (const std::string& name : header.cells) {
    int found = -1;
    for (size_t i = 0; i < columns.size(); ++i)
      if (columns[i] == name) found = static_cast<int>(i);
    std::string where =
        source + " line " + std::to_string(header.line) + ": column " + quoted(name);
    if (found < 0) throw UsageError(where + " is not a column of the table");
    for (size_t i = 0; i < map.size(); ++i)
      if (header.cells[i] == name) throw UsageError(where + " is named twice");
    // Ids are allocated unless --put keeps them: a column of ids would be
    // dropped without a word.
    if (found == 0 && !put)
      throw UsageError(where + " holds the records' ids: add --put to keep them, or leave it out");
    map.push_back(found);
  }
  if (put && std::find(map.begin(), map.end(), 0) == map.end())
    throw UsageError(source + " line " + std::to_string(header.line) +
                     ": with --put the header must name the first column, " + quoted(columns[0]) +
                     ", which holds the ids");
  // A column left out stays empty, which an int or bigint column never is:
  // refused once here rather than at every row.
  for (size_t i = 1; i < columns.size(); ++i) {
    if (kinds[i] == Kind::Text || std::find(map.begin(), map.end(), int(i)) != map.end()) continue;
    throw UsageError(source + " line " + std::to_string(header.line) + ": the header leaves out " +
                     table + "." + columns[i] + (kinds[i] == Kind::Int ? ", an " : ", a ") +
                     kindWord(kinds[i]) + " column, which cannot be empty; name it in the header");
  }
  return map;
}

class Importer {
 public:
  Importer(Context& ctx, TalDB::CTable& table, const std::string& file)
      : ctx_(ctx), table_(table), source_(file == "-" ? "standard input" : file) {
    put_ = ctx.options().put;
    const std::string& from = ctx.options().fromLine;
    fromLine_ = from.empty() ? 0 : static_cast<size_t>(parseInteger(from, "--from-line"));
    progress_ =
        !ctx.options().quiet && ctx.err().rdbuf() == std::cerr.rdbuf() && isatty(STDERR_FILENO);
  }

  // Reads the header and checks every row to be written; returns how many.
  size_t check(std::istream& in) {
    CsvReader reader(in, source_);
    size_t rows = 0;
    stopIfInterrupted();
    readHeader(reader);
    while (const CsvRow* row = reader.next()) {
      stopIfInterrupted();
      if (row->line < fromLine_) continue;
      valuesOf(*row);
      ++rows;
    }
    stopIfInterrupted();
    return rows;
  }

  // Writes the rows in batches; total is what the check counted (0 unknown).
  void write(std::istream& in, size_t total, bool checkedAll) {
    CsvReader reader(in, source_);
    readHeader(reader);
    total_ = total;
    filled_ = 0;
    start_ = std::chrono::steady_clock::now();
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> names;
    std::vector<size_t> lines;
    while (const CsvRow* row = reader.next()) {
      stopIfInterrupted();
      if (row->line < fromLine_) continue;
      try {
        rows.push_back(valuesOf(*row));
      } catch (const UsageError& error) {
        // Met only without the check of the whole file first.
        if (checkedAll) throw;
        stop(error.what());
      }
      lines.push_back(row->line);
      if (put_) names.push_back(rows.back()[0]);
      if (rows.size() == kBatchRecords || (put_ && repeats(names))) writeBatch(rows, lines, names);
    }
    stopIfInterrupted();
    writeBatch(rows, lines, names);
    if (progress_) ctx_.err() << "\r\033[K";
    if (written_ > 0) {
      ctx_.wrote("import " + std::string(table_.name()) + " (" + source_ + "): " +
                 plural(written_, "record was", "records were") + " written, the last from line " +
                 thousands(lastLine_) + "; 'taldb list " + table_.name() + "' shows their ids");
    }
    // On standard error, so that standard output holds the ids alone.
    if (ctx_.options().quiet) return;
    ctx_.err() << "imported " << plural(written_, "record", "records") << " into " << table_.name()
               << " from " << source_
               << (put_ ? " (" + std::to_string(added_) + " added, " + std::to_string(replaced_) +
                              " replaced)"
                        : "")
               << (filled_ ? "; " + plural(filled_, "row", "rows") +
                                 " left trailing cells out, filled empty"
                           : "")
               << "\n";
  }

 private:
  void readHeader(CsvReader& reader) {
    const CsvRow* header = reader.next();
    if (header == nullptr)
      throw UsageError(source_ + " is empty: its first line must name columns");
    map_ = headerColumns(*header, table_, put_, source_);
  }

  // The values of a row as they will be stored, one per column in schema
  // order (without the first unless --put keeps the ids), every one checked
  // as add and put check it.
  std::vector<std::string> valuesOf(const CsvRow& row) {
    try {
      if (row.cells.size() > map_.size()) {
        throw UsageError(plural(row.cells.size(), "cell", "cells") + " where the header has " +
                         std::to_string(map_.size()));
      }
      // A row may leave trailing cells out, as spreadsheets write them: they
      // are empty.
      filled_ += row.cells.size() < map_.size();
      std::vector<std::string> values(table_.columns().size());
      for (size_t i = 0; i < row.cells.size(); ++i) {
        checkFieldValue(row.cells[i]);
        values[map_[i]] = row.cells[i];
      }
      if (put_) values[0] = std::to_string(parseRecordId(values[0]));
      return recordValues(table_, {values.begin() + (put_ ? 0 : 1), values.end()}, put_,
                          ctx_.options().trim);
    } catch (const UsageError& error) {
      throw UsageError(source_ + " line " + std::to_string(row.line) + ": " + error.what());
    }
  }

  // Whether the last id of the batch is in it already: the batch is written
  // first, so that the later row replaces the earlier one on disk too.
  static bool repeats(std::vector<std::string>& names) {
    return std::find(names.begin(), names.end() - 1, names.back()) != names.end() - 1;
  }

  void writeBatch(std::vector<std::vector<std::string>>& rows, std::vector<size_t>& lines,
                  std::vector<std::string>& names) {
    // A repeated id waits for the next batch.
    std::vector<std::string> carriedRow;
    std::string carriedName;
    size_t carriedLine = 0;
    bool carry = put_ && !names.empty() && repeats(names);
    if (carry) {
      carriedRow = std::move(rows.back()), carriedName = names.back(), carriedLine = lines.back();
      rows.pop_back(), names.pop_back(), lines.pop_back();
    }
    if (!rows.empty()) {
      for (const std::string& name : names)
        ++(pathExists(joinPath(table_.path(), name)) ? replaced_ : added_);
      // Each row's values, in one array; then where each row's begin.
      size_t width = rows[0].size();
      values_.clear(), records_.clear();
      for (const std::vector<std::string>& row : rows)
        for (const std::string& value : row) values_.push_back(value.c_str());
      static const char* const kNoValues[1] = {""};
      for (size_t i = 0; i < rows.size(); ++i)
        records_.push_back(width > 0 ? values_.data() + i * width : kNoValues);
      std::vector<int> ids(rows.size());
      int done = 0;
      int status = table_.addRecordValues(records_.data(), static_cast<int>(rows.size()),
                                          ids.data(), !put_, kLargestId, &done);
      // Each batch's ids are out as soon as the batch is on disk; the reason
      // of the first write that fails is kept before anything else can change
      // errno.
      int outError = 0;
      errno = 0;
      for (int i = 0; i < done && ctx_.out(); ++i) {
        if (!(ctx_.out() << ids[i] << "\n")) outError = errno;
      }
      if (ctx_.out() && !ctx_.out().flush()) outError = errno;
      written_ += done;
      if (done > 0) lastLine_ = lines[done - 1];
      // Refused before anything was written, as add refuses the id past the last.
      if (status == 15) stop(noIdLeft("failed"));
      if (status != 0) {
        stop("failed (status " + std::to_string(status) + "): " + ctx_.log().explain(status));
      }
      if (!ctx_.out()) {
        // Said here, with how far the import got, rather than once more
        // without it when the tool flushes its output at the end.
        ctx_.out().clear();
        stop("standard output could not be written" +
             (outError != 0 ? std::string(" (") + std::strerror(outError) + ")" : std::string()));
      }
      showProgress();
    }
    rows.clear(), lines.clear(), names.clear();
    if (carry) {
      rows.push_back(std::move(carriedRow)), names.push_back(carriedName);
      lines.push_back(carriedLine);
    }
  }

  void showProgress() {
    if (!progress_) return;
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    double rate = seconds > 0 ? written_ / seconds : 0;
    ctx_.err() << "\r\033[K" << thousands(written_);
    if (total_ > 0) ctx_.err() << " of " << thousands(total_);
    ctx_.err() << " rows, " << thousands(static_cast<size_t>(rate)) << " rows/s";
    if (total_ > written_ && rate > 0)
      ctx_.err() << ", " << static_cast<long>((total_ - written_) / rate + 0.5) << " s left";
    ctx_.err().flush();
  }

  // A signal that arrived during a read cut that read short: the row it gave
  // and the rows after it are not written.
  void stopIfInterrupted() {
    // A reader of the ids that went away makes the next write of ids fail,
    // which ends the import saying so; the other signals end it here.
    int caught = StopSignals::caught();
    if (caught != 0 && caught != SIGPIPE) stop(StopSignals::describe());
  }

  // Ends the import with how far it got and how to go on.
  [[noreturn]] void stop(const std::string& why) {
    if (progress_) ctx_.err() << "\r\033[K";
    std::string message = "import " + std::string(table_.name()) + " (" + source_ +
                          "): " + thousands(written_) +
                          (total_ > 0 ? " of " + thousands(total_) : "") + " rows written";
    if (written_ == 0) throw Failure(message + ": " + why);
    throw Failure(message + ", the last from line " + thousands(lastLine_) +
                  "; rows after it not written: " + why + "; add --from-line " +
                  std::to_string(lastLine_ + 1) + " to go on from there");
  }

  Context& ctx_;
  TalDB::CTable& table_;
  std::string source_;
  std::vector<int> map_;
  bool put_ = false;
  bool progress_ = false;
  size_t fromLine_ = 0;
  size_t total_ = 0, written_ = 0, lastLine_ = 0, filled_ = 0, added_ = 0, replaced_ = 0;
  std::chrono::steady_clock::time_point start_;
  std::vector<const char*> values_;
  std::vector<const char* const*> records_;
};

}  // namespace

static int cmdImport(Context& ctx) {
  TalDB::CTable& table = tableToWrite(ctx);
  // --batch-check checks each batch just before writing it, in one reading:
  // a mistake then ends the import where it stands, with the rows before it
  // written, as an interruption does.
  bool checkFirst = !ctx.options().batchCheck;
  // From the first reading on, so that Ctrl-C while standard input is kept
  // or the rows are checked also ends the import saying so, and the copy
  // of the input goes with it.
  StopSignals stops(true);
  InputFile input("import", ctx.arg(1), ctx.in(), checkFirst);
  Importer importer(ctx, table, ctx.arg(1));
  size_t total = 0;
  if (checkFirst) total = importer.check(input.rewind());
  importer.write(input.rewind(), total, checkFirst);
  return kExitOk;
}

extern const Command kImportCommand;
const Command kImportCommand = {
    "import",
    "TABLE FILE|- [--put] [--from-line N] [--batch-check]",
    "add the rows of a CSV file (or standard input)",
    "The first line names columns of the table, in any order; the columns it leaves out\n"
    "stay empty, and so do trailing cells a row leaves out. An int or bigint column is\n"
    "never empty, so a header that leaves one out is refused, naming it. FILE may be a\n"
    "pipe or a FIFO, such as <(zcat rows.csv.gz). Each row is added under the\n"
    "next free id and the ids are printed; the header may name the first column only with\n"
    "--put, which keeps its values (0 to 2147483647) as the records' ids, replacing records\n"
    "of the same id, so that running the same --put import again is safe. Cells may be\n"
    "quoted as CSV output quotes them, and a quoted cell may hold ','; a cell with blanks\n"
    "at its ends is refused unless --trim, as for 'add'. A UTF-8 byte-order mark,\n"
    "\"\\r\\n\" line ends and blank lines are taken as spreadsheets write them.\n"
    "Every row is checked before the first is written; a problem names its line and\n"
    "writes nothing. --batch-check reads the file once and checks each batch as it goes:\n"
    "a problem then ends the import with the rows before its batch written.\n"
    "Rows are written in batches of 2,000, each on disk before its ids are printed; on a\n"
    "terminal a progress line shows on standard error (not with -q), where the summary\n"
    "at the end goes too. An import that fails or is interrupted (Ctrl-C, or a reader of\n"
    "the ids that goes away) says how many rows were written and the line of the last;\n"
    "--from-line N writes only the rows from line N of the file on, to go on from there.\n",
    2,
    2,
    kOptRoot | kOptPut | kOptTrim,
    cmdImport};

}  // namespace taldb_cli
