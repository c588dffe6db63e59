// Where things live under a database root, and the one way paths are built.
#ifndef TALDB_UTIL_PATH_H
#define TALDB_UTIL_PATH_H

#include <stddef.h>

namespace TalDB {

// Every path is formatted into a buffer of this many bytes, NUL included, so a
// longer one is cut to 4094 characters without a report.
constexpr size_t kPathLimit = 4095;
// A single value or token passes through a buffer of this size.
constexpr size_t kValueLimit = 2048;

constexpr const char kContainerDir[] = "tal";
constexpr const char kSchemaDir[] = "tal/schema";
constexpr const char kDataDir[] = "tal/database";

// dir + "/" + name: a record file in its table directory, an entry of any
// directory. The caller's texts are used as they are: no slash is added to or
// removed from them.
void JoinPath(char* out, const char* dir, const char* name);
// root + "/" + sub: the schema directory, the data directory, the container.
inline void RootPath(char* out, const char* root, const char* sub) { JoinPath(out, root, sub); }
// root + "/" + sub + "/" + name: a table directory or a schema file.
void TablePath(char* out, const char* root, const char* sub, const char* name);

}  // namespace TalDB

#endif  // TALDB_UTIL_PATH_H
