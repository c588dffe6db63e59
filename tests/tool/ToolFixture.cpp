#include "ToolFixture.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

extern char** environ;

namespace {

int removeEntry(const char* path, const struct stat*, int, struct FTW*) { return remove(path); }

void collect(const std::string& path, const std::string& relative,
             std::map<std::string, std::string>& out) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return;
  while (const struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::string full = path + "/" + name, rel = relative + "/" + name;
    struct stat info;
    lstat(full.c_str(), &info);
    if (S_ISDIR(info.st_mode)) {
      out[rel + "/"] = "";
      collect(full, rel, out);
    } else {
      std::ifstream in(full, std::ios::binary);
      std::ostringstream content;
      content << in.rdbuf();
      out[rel] = content.str();
    }
  }
  closedir(dir);
}

}  // namespace

void ToolTest::SetUp() {
  char pattern[] = "/tmp/taldb-tool-test-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  dir_ = pattern;
  root_ = dir_ + "/db";
}

void ToolTest::TearDown() { nftw(dir_.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS); }

ToolResult ToolTest::run(const std::vector<std::string>& args, const std::string& envRoot) const {
  std::vector<std::string> env;
  for (char** entry = environ; *entry != nullptr; ++entry)
    if (std::strncmp(*entry, "TALDB_ROOT=", 11) != 0) env.push_back(*entry);
  if (!envRoot.empty()) env.push_back("TALDB_ROOT=" + envRoot);

  std::vector<std::string> argv = {TALDB_TOOL};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> argvp, envp;
  for (std::string& arg : argv) argvp.push_back(&arg[0]);
  for (std::string& entry : env) envp.push_back(&entry[0]);
  argvp.push_back(nullptr);
  envp.push_back(nullptr);

  std::string outPath = dir_ + "/stdout", errPath = dir_ + "/stderr";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0600);
  pid_t pid;
  ToolResult result;
  int spawned = posix_spawn(&pid, TALDB_TOOL, &actions, nullptr, argvp.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return result;
  int status = 0;
  waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  unlink(outPath.c_str());
  unlink(errPath.c_str());
  return result;
}

ToolResult ToolTest::runAt(const std::vector<std::string>& args) const {
  std::vector<std::string> all = {"--root", root_};
  all.insert(all.end(), args.begin(), args.end());
  return run(all);
}

void ToolTest::createDatabase() const {
  std::string description = dir_ + "/test.ini";
  writeFile(description,
            "[about]\nnote = not a table\n"
            "[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
            "rec_1 = 1, {{$talhost}}, 8080\nrec_2 = 2, db01, {{$talid}}\n"
            "[notes]\nschema = id[int]|text[varchar]\n");
  ToolResult result = runAt({"create", description, "--id", "7", "--host", "h1"});
  ASSERT_EQ(result.status, 0) << result.err;
}

std::string ToolTest::at(const std::string& relative) const { return root_ + "/" + relative; }

std::string ToolTest::data(const std::string& relative) const {
  return at("tal/database/" + relative);
}

void ToolTest::writeFile(const std::string& path, const std::string& content) const {
  std::ofstream(path, std::ios::binary) << content;
}

std::string ToolTest::readFile(const std::string& path) const {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

bool ToolTest::exists(const std::string& path) const {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

void ToolTest::makeDir(const std::string& path) const { mkdir(path.c_str(), 0775); }

std::map<std::string, std::string> ToolTest::snapshot() const {
  std::map<std::string, std::string> out;
  collect(root_, "", out);
  return out;
}
