#include "PowerCut.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "gux.h"

namespace powercut {

namespace {

// The file system after some of the recorded calls.
// Whether p is from or lies under it.
bool Under(const std::string& p, const std::string& from) {
  return p == from || p.compare(0, from.size() + 1, from + "/") == 0;
}

struct Disk {
  std::map<std::string, size_t> names;  // relative path -> file
  std::set<std::string> dirs;
  std::vector<std::string> data, flushed;  // per file: every byte written, the flushed ones
  size_t durable = 0;  // calls [0, durable) hold directory operations a flush made durable

  size_t make(const std::string& path, const std::string& content) {
    data.push_back(content);
    flushed.push_back(content);
    return names[path] = data.size() - 1;
  }
};

Disk Replay(const std::string& base, const Tree& start, const std::vector<fault::Recorded>& calls,
            size_t n) {
  Disk d;
  d.dirs = start.dirs;
  for (const auto& [path, content] : start.files) d.make(path, content);
  std::map<int, size_t> fds;              // descriptor -> file
  std::map<std::string, size_t> touched;  // directory -> calls up to its last directory operation
  auto rel = [&](const std::string& p) {
    return p == base                                        ? "."
           : p.compare(0, base.size() + 1, base + "/") == 0 ? p.substr(base.size() + 1)
                                                            : "";
  };
  auto parent = [](const std::string& p) {
    return p.find('/') == std::string::npos ? "." : p.substr(0, p.rfind('/'));
  };
  for (size_t i = 0; i < n; ++i) {
    const fault::Recorded& c = calls[i];
    std::string path = rel(c.path), to = rel(c.to);
    bool known = fds.count(c.fd) != 0, file = d.names.count(path) != 0;
    bool dir = path == "." || d.dirs.count(path) != 0;
    auto touch = [&](const std::string& p) { touched[parent(p)] = i + 1; };
    if (c.result < 0 || path.empty()) continue;  // failed, or outside base: changed nothing here
    if (c.call == fault::kOpen && !dir && !(c.flags & O_DIRECTORY)) {
      if (!file && (c.flags & O_CREAT)) {
        touch(path);
        d.make(path, "");
      } else if (file && (c.flags & O_TRUNC)) {
        // The old bytes do not come back: what is written next is unflushed.
        d.data[d.names[path]].clear();
        d.flushed[d.names[path]].clear();
      }
      if (d.names.count(path)) fds[c.fd] = d.names[path];
    } else if (c.call == fault::kWrite && known) {
      d.data[fds[c.fd]] += c.data;
    } else if (c.call == fault::kFsync || c.call == fault::kFdatasync) {
      // A descriptor the recording did not see opened counts by its path.
      if (known || file) {
        size_t f = known ? fds[c.fd] : d.names[path];
        d.flushed[f] = d.data[f];
      } else if (dir) {
        d.durable = std::max(d.durable, touched[path]);
      }
    } else if (c.call == fault::kSyncfs) {
      for (size_t f = 0; f < d.data.size(); ++f) d.flushed[f] = d.data[f];
    } else if (c.call == fault::kClose) {
      fds.erase(c.fd);
    } else if (c.call == fault::kRename && (file || dir) && !to.empty()) {
      // A directory's rename moves everything below it; a file renamed over
      // another replaces it, as a directory renamed over an empty one does.
      d.names.erase(to), d.dirs.erase(to);
      std::map<std::string, size_t> names;
      for (const auto& [p, f] : d.names) names[Under(p, path) ? to + p.substr(path.size()) : p] = f;
      std::set<std::string> dirs;
      for (const std::string& p : d.dirs)
        dirs.insert(Under(p, path) ? to + p.substr(path.size()) : p);
      d.names.swap(names), d.dirs.swap(dirs);
      touch(path), touch(to);
    } else if (c.call == fault::kUnlink) {
      d.names.erase(path), touch(path);
    } else if (c.call == fault::kMkdir || c.call == fault::kRmdir) {
      c.call == fault::kMkdir ? (void)d.dirs.insert(path) : (void)d.dirs.erase(path);
      touch(path);
    }
  }
  return d;
}

// Unflushed data cut just after its first field separator, where a reader
// would find fewer fields rather than a torn one; halfway when it has none.
std::string Cut(const std::string& flushed, const std::string& data) {
  size_t bar = data.find('|', flushed.size());
  size_t end = bar != std::string::npos && bar + 1 < data.size()
                   ? bar + 1
                   : (flushed.size() + data.size()) / 2;
  return data.substr(0, std::max(end, flushed.size()));
}

void ReadInto(const std::string& base, const std::string& rel, Tree& tree) {
  DIR* dir = opendir((base + (rel.empty() ? "" : "/" + rel)).c_str());
  if (dir == nullptr) return;
  while (struct dirent* e = readdir(dir)) {
    if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0) continue;
    std::string path = rel.empty() ? e->d_name : rel + "/" + e->d_name;
    struct stat st;
    if (lstat((base + "/" + path).c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode)) {
      tree.dirs.insert(path);
      ReadInto(base, path, tree);
    } else {
      std::ifstream in(base + "/" + path, std::ios::binary);
      std::ostringstream text;
      text << in.rdbuf();
      tree.files[path] = text.str();
    }
  }
  closedir(dir);
}

}  // namespace

Tree Read(const std::string& base) {
  Tree tree;
  ReadInto(base, "", tree);
  return tree;
}

void Lay(const std::string& dir, const Tree& tree) {
  DeleteTreeA(dir.c_str());
  CreateTreeA(dir.c_str(), 0775);
  for (const std::string& d : tree.dirs) CreateTreeA((dir + "/" + d).c_str(), 0775);
  for (const auto& [path, content] : tree.files)
    std::ofstream(dir + "/" + path, std::ios::binary | std::ios::trunc) << content;
}

void ForEachCut(const std::string& base, const Tree& start,
                const std::vector<fault::Recorded>& calls,
                const std::function<void(size_t k, const Tree&, const std::string& how)>& visit) {
  std::set<std::pair<size_t, Tree>> seen;
  for (size_t k = 0; k <= calls.size(); ++k) {
    Disk now = Replay(base, start, calls, k);
    for (size_t j = now.durable; j <= k; ++j) {
      Disk kept = Replay(base, start, calls, j);
      std::vector<std::string> dirty;
      for (const auto& [path, f] : kept.names)
        if (now.data[f] != now.flushed[f]) dirty.push_back(path);
      // Each file with unflushed data keeps it whole (0), loses it (1) or
      // keeps it cut (2).
      size_t variants = 1;
      for (size_t b = 0; b < dirty.size(); ++b) variants *= 3;
      for (size_t v = 0; v < variants; ++v) {
        Tree tree;
        tree.dirs = kept.dirs;
        std::ostringstream how;
        how << "directory operations after call " << j << " lost";
        for (const auto& [path, f] : kept.names) tree.files[path] = now.data[f];
        for (size_t b = 0, rest = v; b < dirty.size(); ++b, rest /= 3) {
          size_t f = kept.names[dirty[b]];
          if (rest % 3 == 1) tree.files[dirty[b]] = now.flushed[f];
          if (rest % 3 == 2) tree.files[dirty[b]] = Cut(now.flushed[f], now.data[f]);
          if (rest % 3 != 0) how << (rest % 3 == 1 ? ", lost: " : ", cut: ") << dirty[b];
        }
        if (seen.insert({k, tree}).second) visit(k, tree, how.str());
      }
    }
  }
}

}  // namespace powercut
