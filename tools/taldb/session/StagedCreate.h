// taldb create builds a new database beside its final place, under a hidden
// name inside the root, and moves it into place with one rename of "tal".
// A power cut or a kill at any point then leaves either the whole database
// (every table, every seed record, every file flushed) or no "tal" at all:
// never a half-made database that keeps a new create from running. What a
// creation cut short leaves is the hidden directory, which the next create,
// 'taldb repair' and 'taldb drop' remove and 'taldb check' reports.
#ifndef TALDB_TOOL_SESSION_STAGEDCREATE_H
#define TALDB_TOOL_SESSION_STAGEDCREATE_H

#include <string>
#include <vector>

namespace taldb_cli {

class Context;

// The library's Create of description with id and host, under a root that
// holds no database yet (the context's database object set to it and not
// opened); on success the database is in place, flushed, and the context's
// database object opened on it. A Failure, with nothing left under the root
// but the root itself, otherwise.
void createStaged(Context& ctx, const std::string& root, const std::string& description, int id,
                  const char* host);

// The names under root (relative to it, sorted) of what creations cut short
// left behind.
std::vector<std::string> creationLeftovers(const std::string& root);

// Removes them; a Failure naming the first that could not be removed, with
// the system's reason.
void removeCreationLeftovers(const std::string& root);

}  // namespace taldb_cli

#endif  // TALDB_TOOL_SESSION_STAGEDCREATE_H
