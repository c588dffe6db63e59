// The fixture of the tool's tests: the tool run in-process through RunTool, as main() runs it, on a
// database under a fresh temporary root, and rows of command lines with what each must give.
#ifndef TALDB_TESTS_TOOL_TOOLFIXTURE_H
#define TALDB_TESTS_TOOL_TOOLFIXTURE_H

#include <stdlib.h>

#include <sstream>
#include <string>
#include <vector>

#include "TempRoot.h"
#include "cli/Tool.h"

// A command line (after --root DB, unless noRoot), its exit status, and a text that must occur in
// its standard output on success (standard error then staying empty), in its standard error else.
struct Row {
  Names args;
  int status;
  std::string text;
  bool noRoot = false;
};

struct Result {
  int status = -1;
  std::string out, err;
};

class ToolTest : public TempRootTest {
 protected:
  // Only the tool reads TALDB_ROOT; clearing it keeps one test's setting from reaching the next.
  void SetUp() override {
    TempRootTest::SetUp();
    unsetenv("TALDB_ROOT");
    db_ = at("db");
  }

  // Runs args (after --root DB, if root) with input as its standard input.
  Result run(Names args, const std::string& input = "", bool root = true) const {
    if (root) args.insert(args.begin(), {"--root", db_});
    std::ostringstream out, err;
    std::istringstream in(input);
    return {taldb_cli::RunTool(args, out, err, &in), out.str(), err.str()};
  }

  // Runs and checks every row in order, each reading input as standard input, and returns what
  // the last gave; the rows share one database, so a row sees what the rows before it did.
  Result expectRows(const std::vector<Row>& rows, const std::string& input = "") const {
    Result got;
    for (const Row& row : rows) {
      got = run(row.args, input, !row.noRoot);
      std::string shown = ::testing::PrintToString(row.args) + "\n" + got.out + got.err;
      EXPECT_EQ(got.status, row.status) << shown;
      EXPECT_NE((row.status == 0 ? got.out : got.err).find(row.text), std::string::npos) << shown;
      // A refused command line prints nothing but its message.
      EXPECT_TRUE(row.status == 0 ? got.err.empty() : row.status == 1 || got.out.empty()) << shown;
    }
    return got;
  }

  // A database under db_ with tables hosts (id, name, port; records 1, 2) and notes (id, text).
  void createDatabase() const {
    writeFile("test.ini",
              "[about]\nnote = not a table\n[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
              "rec_1 = 1, {{$talhost}}, 8080\nrec_2 = 2, db01, {{$talid}}\n"
              "[notes]\nschema = id[int]|text[varchar]\n");
    expectRows(
        {{{"create", at("test.ini"), "--id", "7", "--host", "h1"},
          0,
          "created a database under " + db_ + " (id 7, host h1) with 2 tables: hosts notes\n"}});
  }

  static std::string data(const std::string& relative) { return "db/tal/database/" + relative; }

  std::string db_;
};

#endif  // TALDB_TESTS_TOOL_TOOLFIXTURE_H
