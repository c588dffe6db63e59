#include "table/SchemaSeal.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "gux.h"
#include "util/FileSystem.h"

namespace TalDB {

void SchemaFingerprint(const char* line, size_t length, char* out) {
  out[0] = '\0';
  // The result is not looked at: a failed fingerprint leaves the empty text.
  KwFPFromData_r(line, length, out, kFingerprintSize, 3);
}

SchemaSeal CheckSchemaSeal(const char* path) {
  int fd = OpenForRead(path);
  if (fd < 0) return SchemaSeal::kUnreadable;
  std::string content;
  char buffer[4096];
  ssize_t got;
  while ((got = ReadSome(fd, buffer, sizeof buffer)) > 0) content.append(buffer, got);
  CloseFile(fd);
  if (got < 0) return SchemaSeal::kUnreadable;
  size_t end = content.find('\n');
  if (end == std::string::npos) return SchemaSeal::kNoLineEnd;
  if (end + 1 == content.size()) return SchemaSeal::kNoFingerprint;
  char expected[kFingerprintSize];
  SchemaFingerprint(content.data(), end, expected);
  return content.compare(end + 1, std::string::npos, expected) == 0 ? SchemaSeal::kWhole
                                                                    : SchemaSeal::kMismatch;
}

const char* DescribeSchemaSeal(SchemaSeal seal) {
  switch (seal) {
    case SchemaSeal::kWhole:
      return "";
    case SchemaSeal::kNoLineEnd:
      return "schema file is cut short: no line end after the schema line, no fingerprint";
    case SchemaSeal::kNoFingerprint:
      return "schema file has no fingerprint after its schema line";
    case SchemaSeal::kMismatch:
      return "schema line does not match its fingerprint: cut short or changed since the table "
             "was made";
    case SchemaSeal::kUnreadable:
      break;
  }
  return "schema file cannot be read";
}

}  // namespace TalDB
