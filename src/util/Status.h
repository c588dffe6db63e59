// Reporting a failure: the message goes to the utility library's log with the
// code, and the same code comes back to be returned, so that a failing branch
// is one statement. Where the logged code and the returned one differ on
// purpose, the branch calls ErrorA itself and stands out.
#ifndef TALDB_UTIL_STATUS_H
#define TALDB_UTIL_STATUS_H

namespace TalDB {

// ErrorA(code, format, ...), then returns code.
int Fail(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
// InfoA(code, format, ...), then returns code: the expected conditions that
// are logged at information level yet still fail.
int FailInfo(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
// The one report of memory running out: ErrorA(18, "no memory"), returns 18.
int NoMemory();

}  // namespace TalDB

#endif  // TALDB_UTIL_STATUS_H
