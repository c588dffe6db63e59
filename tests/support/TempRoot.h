// The fixture every store test uses: a fresh, empty database root in a
// temporary directory, a log capture, and small helpers to set files up and
// look at them afterwards.
#ifndef TALDB_TESTS_TEMPROOT_H
#define TALDB_TESTS_TEMPROOT_H

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "FaultInjection.h"
#include "LogCapture.h"

using Logs = std::vector<LogLine>;
using Names = std::vector<std::string>;

class TempRootTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // A memory file system where there is one: the tests check what the store
    // does, not how fast a disk flushes, and flock works there as on a disk.
    const char* base = getenv("TALDB_TEST_TMPDIR");
    if (base == nullptr || *base == '\0')
      base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    root_ = std::string(base) + "/taldb-test-XXXXXX";
    ASSERT_NE(mkdtemp(&root_[0]), nullptr);
  }
  void TearDown() override {
    fault::reset();
    DeleteTreeA(root_.c_str());
  }

  std::string at(const std::string& relative) const { return root_ + "/" + relative; }
  void writeFile(const std::string& relative, const std::string& content) const {
    std::ofstream out(at(relative), std::ios::binary | std::ios::trunc);
    out << content;
    ASSERT_TRUE(out.good()) << relative;
  }
  std::string readFile(const std::string& relative) const {
    std::ifstream in(at(relative), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  bool exists(const std::string& relative) const {
    struct stat st;
    return lstat(at(relative).c_str(), &st) == 0;
  }
  void makeDir(const std::string& relative) const {
    ASSERT_TRUE(CreateTreeA(at(relative).c_str(), 0775)) << relative;
  }
  // The names in a directory, "." and ".." left out, sorted.
  Names list(const std::string& relative) const {
    Names names;
    if (DIR* dir = opendir(at(relative).c_str())) {
      while (struct dirent* e = readdir(dir))
        if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0) names.push_back(e->d_name);
      closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // Every path under the directory with each file's content, to show that
  // something changed nothing.
  std::map<std::string, std::string> snapshot(const std::string& dir = "") const {
    std::map<std::string, std::string> files;
    for (const std::string& name : list(dir)) {
      std::string path = dir.empty() ? name : dir + "/" + name;
      files[path] = readFile(path);
      for (const auto& entry : snapshot(path)) files.insert(entry);
    }
    return files;
  }

  // Lays down a table by hand: its schema file (schema line, "\n", any
  // fingerprint) under tal/schema and an empty directory under tal/database.
  void makeTable(const std::string& name, const std::string& schemaLine) const {
    makeDir("tal/schema");
    makeDir("tal/database/" + name);
    writeFile("tal/schema/" + name, schemaLine + "\nfingerprint");
  }

  std::string root_;
  LogCapture log_;
};

#endif  // TALDB_TESTS_TEMPROOT_H
