// Files and directories the tool keeps for the length of a command, under
// $TMPDIR (or /tmp when it is not set): one rule for all of them.
#ifndef TALDB_TOOL_BASE_TEMPORARYFILE_H
#define TALDB_TOOL_BASE_TEMPORARYFILE_H

#include <string>

namespace taldb_cli {

// "DIR/taldb-WHAT-XXXXXX", a pattern for mkstemp or mkdtemp.
std::string temporaryPattern(const std::string& what);

// A temporary file that holds text, removed with the object. A Failure
// "ACTION: cannot write a temporary file PATH: reason" when it cannot be
// made and written whole.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& what, const std::string& text, const std::string& action);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace taldb_cli

#endif  // TALDB_TOOL_BASE_TEMPORARYFILE_H
