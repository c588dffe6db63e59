#include "TempRoot.h"

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "gux.h"

std::string MakeTempDir(const char* prefix) {
  // A memory file system where there is one: the tests check what the store
  // does, not how fast a disk flushes, and flock works there as on a disk.
  const char* base = getenv("TALDB_TEST_TMPDIR");
  if (base == nullptr || *base == '\0') base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  std::string pattern = std::string(base) + "/" + prefix + "-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) return "";
  return pattern;
}

void TempRootTest::SetUp() {
  root_ = MakeTempDir("taldb-test");
  ASSERT_FALSE(root_.empty());
}

void TempRootTest::TearDown() {
  fault::reset();
  DeleteTreeA(root_.c_str());
}

std::string TempRootTest::at(const std::string& relative) const { return root_ + "/" + relative; }

void TempRootTest::writeFile(const std::string& relative, const std::string& content) const {
  std::ofstream out(at(relative), std::ios::binary | std::ios::trunc);
  out << content;
  ASSERT_TRUE(out.good()) << relative;
}

std::string TempRootTest::readFile(const std::string& relative) const {
  std::ifstream in(at(relative), std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool TempRootTest::exists(const std::string& relative) const {
  struct stat st;
  return lstat(at(relative).c_str(), &st) == 0;
}

void TempRootTest::makeDir(const std::string& relative) const {
  ASSERT_TRUE(CreateTreeA(at(relative).c_str(), 0775)) << relative;
}

std::vector<std::string> TempRootTest::list(const std::string& relative) const {
  std::vector<std::string> names;
  DIR* dir = opendir(at(relative).c_str());
  if (dir == nullptr) return names;
  while (struct dirent* e = readdir(dir)) {
    std::string name = e->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

void TempRootTest::makeTable(const std::string& name, const std::string& schemaLine) const {
  makeDir("tal/schema");
  makeDir("tal/database/" + name);
  writeFile("tal/schema/" + name, schemaLine + "\nfingerprint");
}
