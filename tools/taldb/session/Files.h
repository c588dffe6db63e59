// The files and directories under a root as the tool looks at them itself:
// paths formatted as the store formats them, entries told apart by kind, a
// file's first line read without following a link.
#ifndef TALDB_TOOL_SESSION_FILES_H
#define TALDB_TOOL_SESSION_FILES_H

#include <string>
#include <vector>

namespace taldb_cli {

// dir + "/" + name, formatted and cut as the store formats its paths.
std::string joinPath(const std::string& dir, const std::string& name);
// Whether anything, even a dangling link, is at path.
bool pathExists(const std::string& path);
// What tells one file from another that took its name: its inode and the time
// its inode last changed (a new file may be given a freed inode number, never
// with an older change time).
struct FileIdentity {
  bool exists = false;
  unsigned long device = 0, inode = 0;
  long changedSeconds = 0, changedNanoseconds = 0;
  bool operator==(const FileIdentity& o) const {
    return exists == o.exists && device == o.device && inode == o.inode &&
           changedSeconds == o.changedSeconds && changedNanoseconds == o.changedNanoseconds;
  }
};
FileIdentity fileIdentity(const std::string& path);
// The marked names in a directory, sorted; none when it cannot be read.
std::vector<std::string> markedNames(const std::string& directory);
// "a symbolic link", "a directory", "a file" or "a FIFO, socket or device",
// for an st_mode.
std::string entryKind(unsigned mode);
// Whether the entry at path is a symbolic link (dangling or not).
bool isSymbolicLink(const std::string& path);
// The first line of the regular file at path, as the store reads a record
// or schema file, through a descriptor opened without following a symbolic
// link. False when it is no regular file (kind then says what it is) or
// cannot be opened (kind empty). beyond, when given, tells whether anything
// follows the first line's line feed.
bool readFileLine(const std::string& path, std::string& line, std::string& kind,
                  bool* beyond = nullptr);

// The entries of a directory, "." and ".." left out, sorted; false when it
// cannot be opened, errno then saying why.
bool readDirectory(const std::string& path, std::vector<std::string>& names);
// 0 when the directory at path can be opened, else the errno of the open.
int directoryError(const std::string& path);
// The number of "|"-separated fields of the first line of a schema or record
// file, split as the store splits it; -1 when the file cannot be read.
long countFields(const std::string& path);
// "; cannot write DIR: reason" when this user may not make or remove entries
// in the directory, else "".
std::string unwritable(const std::string& dir);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_FILES_H
