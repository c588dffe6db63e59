
#include "input/Arguments.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/ColumnRules.h"
#include "input/CsvReader.h"
#include "store/Records.h"
#include "taldb/CUtils.h"

namespace taldb_cli {

namespace {

std::vector<std::string> splitAt(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  size_t start = 0;
  for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
    pieces.push_back(text.substr(start, end - start));
  pieces.push_back(text.substr(start));
  return pieces;
}

// Trimmed as the store trims every value it is given.
std::string trimmed(std::string text) {
  TalDB::CUtils::trim(&text[0]);
  return text.c_str();
}

void checkName(const char* kind, const std::string& name) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    throw UsageError(std::string("invalid ") + kind + " name " + quoted(name) +
                     ": a name must not be empty, '.' or '..', nor contain '/'");
  }
}

}  // namespace

void checkTableName(const std::string& name) { checkName("table", name); }

void checkRecordName(const std::string& name) {
  checkName("record", name);
  checkValue(name);
  // Names the store itself never takes for records, whatever is on disk.
  if (TalDB::IsMarkedName(name.c_str()) || TalDB::IsTempName(name.c_str())) {
    throw UsageError("invalid record name " + quoted(name) +
                     ": names holding '.ADD' or '.UPDATE' and names ending in '.tmp' are "
                     "leftovers of writes, never records; see 'taldb check'");
  }
}

void checkValue(const std::string& value) {
  if (value.find_first_of("|,\n") != std::string::npos) {
    throw UsageError("invalid value " + quoted(value) +
                     ": a value must not contain '|', ',' or a line feed");
  }
}

void checkFieldValue(const std::string& value) {
  if (value.find_first_of("|\n") != std::string::npos) {
    throw UsageError("invalid value " + quoted(value) +
                     ": a value must not contain '|' or a line feed");
  }
}

namespace {

// The cells of one argument as a CSV line. A line feed ends a CSV row, so an
// argument holding one is split at its commas instead, only so that the
// refusal names the value that holds it.
std::vector<std::string> argumentCells(const std::string& arg, const char* what) {
  if (arg.find('\n') != std::string::npos) return splitAt(arg, ',');
  return csvLine(arg, what);
}

}  // namespace

std::vector<std::string> splitValues(const std::vector<std::string>& args) {
  std::vector<std::string> values = args.size() == 1 ? argumentCells(args.front(), "values") : args;
  for (const std::string& value : values) checkFieldValue(value);
  return values;
}

std::string recordText(const std::vector<std::string>& values) {
  std::string text;
  for (size_t i = 0; i < values.size(); ++i) text += (i ? ", " : "") + values[i];
  return !values.empty() && values.back().empty() ? text + " " : text;
}

std::string joinValues(const std::vector<std::string>& values) {
  std::string text;
  for (size_t i = 0; i < values.size(); ++i) text += (i ? "," : "") + values[i];
  return text;
}

int parseRecordId(const std::string& given) {
  // The store trims every value, the id among them.
  std::string text = trimmed(given);
  bool digits = !text.empty() && text.size() <= 10 &&
                text.find_first_not_of("0123456789") == std::string::npos;
  if (!digits || std::strtoll(text.c_str(), nullptr, 10) > INT_MAX) {
    throw UsageError("invalid record id " + quoted(given) +
                     ": an id is a whole number from 0 to 2147483647");
  }
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

int parseInteger(const std::string& text, const char* what) {
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || errno != 0 || value < INT_MIN || value > INT_MAX)
    throw UsageError(std::string("invalid ") + what + " " + quoted(text) + ": not a whole number");
  return static_cast<int>(value);
}

std::vector<Assignment> parseAssignments(const std::vector<std::string>& args) {
  std::vector<Assignment> assignments;
  for (const std::string& arg : args) {
    for (const std::string& cell : argumentCells(arg, "assignments")) {
      // The store's own split of an assignment decides what is blank and
      // what lacks a column name; the message shows the cell as given.
      std::string term = cell;
      char* value = nullptr;
      const char* name = TalDB::SplitTerm(&term[0], &value);
      if (name == nullptr || (*name == '\0' && value == nullptr)) continue;
      if (value == nullptr || *name == '\0') {
        throw UsageError("invalid assignment " + quoted(cell) +
                         ": write COLUMN=VALUE, and quote an assignment whose value holds ',' "
                         "as CSV does: '\"address=1 Main St, Springfield\"'");
      }
      std::string given = cell.substr(cell.find('=') + 1);
      checkFieldValue(given);
      assignments.push_back({cell, name, given});
    }
  }
  if (assignments.empty()) throw UsageError("no assignment given: write COLUMN=VALUE");
  return assignments;
}

ColumnSpec parseColumnSpec(const std::vector<std::string>& args) {
  // Items may come one per argument or several in one; blank items (as from
  // "id(int), name(varchar)" split over two arguments) are dropped, since the
  // store would take them for columns without a type.
  ColumnSpec spec;
  std::vector<std::string> names;
  for (const std::string& arg : args) {
    if (arg.find_first_of("|[]\n") != std::string::npos) {
      throw UsageError("invalid column specification " + quoted(arg) +
                       ": it must not contain '|', '[', ']' or a line feed");
    }
    for (const std::string& piece : splitAt(arg, ',')) {
      std::string item = trimmed(piece);
      if (item.empty()) continue;
      size_t open = item.find('('), close = item.find(')');
      std::string name = trimmed(item.substr(0, open));
      std::string type = open < close ? trimmed(item.substr(open + 1, close - open - 1)) : "";
      const TalDB::TypeWord* word = nullptr;
      for (const TalDB::TypeWord& known : TalDB::kTypeWords)
        if (type == known.word) word = &known;
      // The store drops white space anywhere in a column list, so a name
      // holding some would come out another name.
      bool plain = !name.empty() && name.find_first_of(" \t\r\v\f()") == std::string::npos;
      if (!plain || word == nullptr || close != item.size() - 1) {
        throw UsageError("invalid column " + quoted(item) +
                         ": write NAME(TYPE), the name without blanks, the type int, bigint or "
                         "varchar");
      }
      if (std::find(names.begin(), names.end(), name) != names.end())
        throw UsageError("invalid column specification: the column " + quoted(name) +
                         " is named twice");
      names.push_back(name);
      spec.text += (spec.text.empty() ? "" : ",") + name + "(" + type + ")";
      spec.schemaLine += (spec.schemaLine.empty() ? "" : "|") + name + "[" + type + "]";
      spec.bigint = spec.bigint || word->code == TalDB::TYPE_BIGINT;
    }
  }
  if (names.empty())
    throw UsageError("empty column specification: give columns such as 'id(int), name(varchar)'");
  return spec;
}

}  // namespace taldb_cli
