#include "table/RecordNames.h"

#include "gux.h"

namespace TalDB {

void ReportMarkedName(const char* name) { ErrorA(16, "invalid record name found: %s.", name); }

}  // namespace TalDB
