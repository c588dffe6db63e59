// Everything a host needs from libtaldb.
#ifndef TALDB_TALDB_H
#define TALDB_TALDB_H

#include "taldb/CColumn.h"
#include "taldb/CDirIterator.h"
#include "taldb/CTable.h"
#include "taldb/CTalDatabase.h"
#include "taldb/CUtils.h"

#endif  // TALDB_TALDB_H
