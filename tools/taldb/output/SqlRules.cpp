#include "output/SqlRules.h"

#include <algorithm>
#include <cctype>

#include "base/Text.h"

namespace taldb_cli {

namespace {

// PostgreSQL keeps the first 63 bytes of a name.
constexpr size_t kSqlNameLimit = 63;

// SQLite compares names without regard to ASCII case.
bool sameSqlName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

}  // namespace

std::string sqlNameProblem(const std::vector<std::string>& names, size_t index, const char* kind) {
  const std::string& name = names[index];
  if (!isUtf8(name)) return "is not UTF-8 text";
  if (name.size() > kSqlNameLimit) return "is longer than the 63 bytes PostgreSQL keeps of a name";
  std::string lower;
  for (char c : name) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  // Each keeps names of these beginnings for its own tables.
  if (lower.compare(0, 3, "pg_") == 0 || lower.compare(0, 7, "sqlite_") == 0)
    return "begins with 'pg_' or 'sqlite_', which the databases keep for themselves";
  for (size_t j = 0; j < index; ++j)
    if (sameSqlName(names[j], name))
      return std::string("is the name of another ") + kind + ", to SQLite";
  return "";
}

std::string sqlValueProblem(const std::string& value, Kind kind) {
  // PostgreSQL takes only valid text of the database's encoding.
  if (kind == Kind::Text) return isUtf8(value) ? "" : "is not UTF-8 text";
  return typeProblem(value, kind);
}

}  // namespace taldb_cli
