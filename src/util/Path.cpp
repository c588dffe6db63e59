#include "util/Path.h"

#include <stdio.h>

namespace TalDB {

void JoinPath(char* out, const char* dir, const char* name) {
  snprintf(out, kPathLimit, "%s%s%s", dir, "/", name);
}

void TablePath(char* out, const char* root, const char* sub, const char* name) {
  snprintf(out, kPathLimit, "%s%s%s%s%s", root, "/", sub, "/", name);
}

}  // namespace TalDB
