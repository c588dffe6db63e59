// The trees a power cut can leave. A workload's file-system calls are
// recorded (FaultInjection); for every point at which a power cut could stop
// them, ForEachCut builds what a file system that keeps directory operations
// in order would hold: directory operations persist in call order, those
// after the last flush of their directory possibly lost from any point on;
// file data not flushed is lost, cut after its first field separator, or
// there whole.
#ifndef TALDB_TESTS_POWERCUT_H
#define TALDB_TESTS_POWERCUT_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "FaultInjection.h"

namespace powercut {

using Files = std::map<std::string, std::string>;  // relative path -> content

struct Tree {
  std::set<std::string> dirs;  // relative paths; the root itself is implied
  Files files;
  bool operator<(const Tree& o) const { return dirs != o.dirs ? dirs < o.dirs : files < o.files; }
};

// The tree under base (the directories and files below it).
Tree Read(const std::string& base);

// Replaces whatever is at dir with the tree.
void Lay(const std::string& dir, const Tree& tree);

// Calls visit(k, tree, how) for every tree a cut after the first k of calls
// (made under base, which held start) can leave, each distinct (k, tree) pair
// once; how says which directory operations and data were lost.
void ForEachCut(const std::string& base, const Tree& start,
                const std::vector<fault::Recorded>& calls,
                const std::function<void(size_t k, const Tree&, const std::string& how)>& visit);

}  // namespace powercut

#endif  // TALDB_TESTS_POWERCUT_H
