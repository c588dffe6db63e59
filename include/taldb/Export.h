// Symbol visibility for the exported classes of libtaldb.
#ifndef TALDB_EXPORT_H
#define TALDB_EXPORT_H

// The library is built with hidden visibility by default. Each public member
// function carries this mark, not the class, so that private members stay
// inside the library and its binary interface is exactly what the headers
// promise.
#define TALDB_EXPORT __attribute__((visibility("default")))

#endif  // TALDB_EXPORT_H
