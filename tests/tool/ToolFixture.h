// Runs the taldb binary in a fresh temporary directory and gives the tests
// small helpers to set files up and look at them afterwards.
#ifndef TALDB_TESTS_TOOL_TOOLFIXTURE_H
#define TALDB_TESTS_TOOL_TOOLFIXTURE_H

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

struct ToolResult {
  int status = -1;
  std::string out;
  std::string err;
};

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs taldb with these arguments; TALDB_ROOT is unset unless given.
  ToolResult run(const std::vector<std::string>& args, const std::string& envRoot = "") const;
  // Runs taldb --root <root_> with these arguments.
  ToolResult runAt(const std::vector<std::string>& args) const;
  // Creates a database under root_ from a small description file with the
  // tables hosts (id, name, port; records 1 and 2) and notes (id, text).
  void createDatabase() const;

  std::string at(const std::string& relative) const;    // root_ + "/" + relative
  std::string data(const std::string& relative) const;  // under tal/database
  void writeFile(const std::string& path, const std::string& content) const;
  std::string readFile(const std::string& path) const;
  bool exists(const std::string& path) const;
  void makeDir(const std::string& path) const;
  // Every path under root_ with the content of each file, to show that a
  // command changed nothing.
  std::map<std::string, std::string> snapshot() const;

  std::string dir_;   // the temporary directory of the test
  std::string root_;  // the database root inside it
};

#endif  // TALDB_TESTS_TOOL_TOOLFIXTURE_H
