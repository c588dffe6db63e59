// The durable write that all record content goes through: PATH.tmp is
// created (mode 0640), written and flushed; an old PATH is removed; PATH.tmp
// is renamed to PATH and the directory flushed. The old file goes first so
// that the rename never has to replace one; a process stopped between the two
// leaves only PATH.tmp, which repair finishes.
#ifndef TALDB_TABLE_DURABLEWRITE_H
#define TALDB_TABLE_DURABLEWRITE_H

namespace TalDB {

// 0, or -1 after logging the failed step. What stays on disk after each
// failure: PATH unchanged and PATH.tmp as before when creating failed; PATH
// unchanged and PATH.tmp with the content in full or in part when writing or
// flushing failed, or when PATH has no "/"; PATH gone and PATH.tmp whole when
// the rename failed.
int DurableWrite(const char* path, const char* content, int length);

}  // namespace TalDB

#endif  // TALDB_TABLE_DURABLEWRITE_H
