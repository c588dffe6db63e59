// In-place white-space trimming, the two rules used wherever the store splits
// text into names and values.
#ifndef TALDB_CUTILS_H
#define TALDB_CUTILS_H

#include "taldb/Export.h"

namespace TalDB {

class CUtils {
 public:
  // Removes every white-space character, wherever it stands.
  TALDB_EXPORT static void strstrip(char* text);
  // Removes leading and trailing white space; inner white space stays.
  TALDB_EXPORT static void trim(char* text);
};

}  // namespace TalDB

#endif  // TALDB_CUTILS_H
