// The store does some of its work more cheaply than the plain way of doing it: a walk opens each
// record relative to the directory stream it walks instead of by its whole path, reads the
// directory into a buffer of its own under one lock per fill instead of through the stream under
// one lock per entry, and a walk step parses its condition once instead of once per record. Each
// shortcut changes cost only: it must give exactly the statuses, values, log lines and files that
// the plain way gives, failures included. The tests hold them to it by running the same operations
// both ways and comparing.
#ifndef TALDB_UTIL_SHORTCUTS_H
#define TALDB_UTIL_SHORTCUTS_H

// Defined only by a test program that compares the two ways: while it is
// non-zero, the store takes the plain ways. In a host nothing defines it, the
// weak reference stays null and the shortcuts are always taken.
extern "C" __attribute__((weak)) int taldb_plain_ways;

namespace TalDB {

inline bool ShortcutsOn() { return &taldb_plain_ways == nullptr || taldb_plain_ways == 0; }

}  // namespace TalDB

#endif  // TALDB_UTIL_SHORTCUTS_H
