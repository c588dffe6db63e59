// In-place white-space trimming, the two rules used wherever the store splits
// text into names and values. White space is the 7-bit space, tab, line feed,
// vertical tab, form feed and carriage return; bytes of 0x80 and above are
// text. Both take null and do nothing; both are safe from any thread.
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
