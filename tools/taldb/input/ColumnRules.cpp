#include "input/ColumnRules.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "base/Errors.h"
#include "base/Text.h"
#include "input/Arguments.h"
#include "store/Records.h"

namespace taldb_cli {

Kind kindOf(int columnType) {
  return columnType == TalDB::TYPE_INT      ? Kind::Int
         : columnType == TalDB::TYPE_BIGINT ? Kind::BigInt
                                            : Kind::Text;
}

std::vector<Kind> columnKinds(const TalDB::CTable& table) {
  std::vector<Kind> kinds;
  for (const TalDB::CColumn* column : table.columns()) kinds.push_back(kindOf(column->type()));
  return kinds;
}

const char* kindWord(Kind kind) {
  return kind == Kind::Int ? "int" : kind == Kind::BigInt ? "bigint" : "varchar";
}

std::string typeProblem(const std::string& text, Kind kind) {
  if (kind == Kind::Text) return "";
  if (text.empty()) {
    return "is empty: the store has no empty number; a value that may be unknown belongs in a "
           "varchar column";
  }
  size_t sign = text[0] == '-' || text[0] == '+' ? 1 : 0;
  std::string digits = text.substr(sign);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
    return "is not a whole number";
  // Any other spelling of a number would come back from a reader as the
  // number's own text, which is not what the store holds.
  if (text[0] == '+' || (digits[0] == '0' && text != "0"))
    return "is not written as the number itself: no '+', no leading zero, no '-0'";
  errno = 0;
  long long value = digits.size() > 19 ? 0 : std::strtoll(text.c_str(), nullptr, 10);
  bool inRange = digits.size() <= 19 && errno != ERANGE &&
                 (kind == Kind::BigInt || (value >= INT32_MIN && value <= INT32_MAX));
  if (!inRange) {
    return kind == Kind::Int ? "is out of the range of int, -2147483648 to 2147483647"
                             : "is out of the range of bigint, -9223372036854775808 to "
                               "9223372036854775807";
  }
  return "";
}

bool isWholeNumber(const std::string& text, Kind kind) {
  return kind != Kind::Text && typeProblem(text, kind).empty();
}

bool isRecordId(const std::string& name) {
  return isWholeNumber(name, Kind::Int) && name[0] != '-';
}

void checkTypedValue(const std::string& where, const std::string& table,
                     const TalDB::CColumn& column, const std::string& value) {
  Kind kind = kindOf(column.type());
  std::string problem = typeProblem(value, kind);
  if (!problem.empty()) {
    throw UsageError(where + "the value " + quoted(value) + " of " + table + "." + column.name() +
                     " (" + kindWord(kind) + ") " + problem);
  }
}

void checkRecordTypes(const TalDB::CTable& table, const std::string& text, bool idFirst) {
  const std::vector<TalDB::CColumn*>& columns = table.columns();
  std::vector<std::string> values = storedValues(text);
  for (size_t i = 0, first = idFirst ? 0 : 1; i < values.size() && first + i < columns.size(); ++i)
    checkTypedValue("", table.name(), *columns[first + i], values[i]);
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

void checkValueFits(const std::string& where, const TalDB::CTable& table,
                    const TalDB::CColumn& column, const std::string& value) {
  checkColumnValue(where, table.name(), column.name(), value);
  checkTypedValue(where, table.name(), column, value);
}

}  // namespace taldb_cli
