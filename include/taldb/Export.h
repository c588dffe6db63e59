// Symbol visibility for the exported classes of libtaldb.
#ifndef TALDB_EXPORT_H
#define TALDB_EXPORT_H

// The library is built with hidden visibility by default; only the classes
// marked here form its binary interface.
#define TALDB_EXPORT __attribute__((visibility("default")))

#endif  // TALDB_EXPORT_H
