// The SQL dump loaded into the programs it is written for: a PostgreSQL server of the test's own
// (its socket in a temporary directory, no TCP) through psql, and SQLite through sqlite3. Each
// table read back must be the CSV dump of it, row for row and value for value. Without the
// programs the tests skip, unless CI is "true": there the check must run.
#include <glob.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "ToolFixture.h"
#include "input/CsvReader.h"

namespace {

struct Shell {
  int status;
  std::string out;
};

// Runs a command line of sh, collecting its standard output.
Shell shell(const std::string& command) {
  Shell got{-1, ""};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return got;
  char chunk[4096];
  for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) got.out.append(chunk, n);
  int status = pclose(pipe);
  got.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return got;
}

// A program on PATH, else in the newest /usr/lib/postgresql/VERSION/bin (where Debian keeps the
// server's programs); "" when there is none.
std::string findProgram(const std::string& name) {
  Shell found = shell("command -v " + name + " 2>/dev/null");
  if (found.status == 0 && !found.out.empty()) return found.out.substr(0, found.out.find('\n'));
  std::string best;
  glob_t matches;
  if (glob(("/usr/lib/postgresql/*/bin/" + name).c_str(), 0, nullptr, &matches) == 0) {
    auto version = [](const std::string& path) { return atof(path.c_str() + 20); };
    for (size_t i = 0; i < matches.gl_pathc; ++i)
      if (best.empty() || version(matches.gl_pathv[i]) > version(best)) best = matches.gl_pathv[i];
  }
  globfree(&matches);
  return best;
}

// Rows of CSV as the tool, psql's COPY and sqlite3 write it, read as import reads CSV.
std::vector<Names> parseCsv(const std::string& text) {
  std::istringstream in(text);
  taldb_cli::CsvReader reader(in, "csv");
  std::vector<Names> rows;
  while (const taldb_cli::CsvRow* row = reader.next()) rows.push_back(row->cells);
  return rows;
}

std::string sqlName(const std::string& name) {
  std::string text = "\"";
  for (char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + "\"";
}

class SqlLoadTest : public ToolTest {
 protected:
  // What is missing for a load into the named programs, or "".
  static std::string missing(const Names& programs) {
    for (const std::string& program : programs)
      if (findProgram(program).empty()) return program + " is not installed";
    if (geteuid() == 0 && programs.size() > 1 && getpwnam("postgres") == nullptr)
      return "there is no user postgres to run the server as";
    return "";
  }
  static bool onCi() { return getenv("CI") != nullptr && std::string(getenv("CI")) == "true"; }

  // Every column type, with the values SQL must carry whole: the ends of both number ranges,
  // bigints past 2^31, quotes of both kinds, commas (written into record files directly, since
  // the tool's values cannot hold them), backslashes, a tab, blanks at either end, empty text and
  // non-ASCII UTF-8; names that need quoting. The dump goes to dump.sql.
  void makeDatabase() {
    createDatabase();
    expectRows({
        {{"add-table", "every", "id(int), small(int), big(bigint), text(varchar)"}, 0, "added"},
        {{"add", "every", "-2147483648,-9223372036854775808,Grüße ✓"}, 0, "1\n"},
        {{"put", "every", "2147483647,2147483647,9223372036854775807,plain"}, 0, "wrote"},
        {{"put", "every", "5", "0", "5368709120", ""}, 0, "wrote"},
        {{"add-table", "odd\"name", "id(int), q\"c(varchar)"}, 0, "added"},
        {{"put", "notes", "1", "x"}, 0, "wrote"},
    });
    writeFile(data("every/10"), "-1|4294967296|it's \"a, b\", \\ back\\\\slash\t'x'|");
    writeFile(data("every/11"), "7|-5368709120| padded |");
    writeFile(data("odd\"name/3"), "a,b \"c\" 'd' \\ 日本|");
    Result dump = expectRows({{{"dump", "--format", "sql"}, 0, "BEGIN;\n"}});
    writeFile("dump.sql", dump.out);
  }

  // Each table as the database gives it back (select runs a SELECT of the whole table and returns
  // the CSV its program prints), against the tool's CSV dump of it.
  void expectSameRows(const std::function<Shell(const std::string&)>& select) const {
    for (const std::string& table : Names{"every", "hosts", "notes", "odd\"name"}) {
      Shell got = select("SELECT * FROM " + sqlName(table) + " ORDER BY 1");
      Result csv = run({"dump", table, "--format", "csv"});
      ASSERT_EQ(got.status, 0) << table << "\n" << got.out;
      EXPECT_EQ(parseCsv(got.out), parseCsv(csv.out)) << table << "\n"
                                                      << got.out << "\n"
                                                      << csv.out;
      EXPECT_GT(parseCsv(csv.out).size(), 1u) << table;
    }
  }
};

// A server of the test's own in a temporary directory owned by the user it runs as (postgres,
// when the test runs as root, since the server refuses root), listening only on a socket there.
// Stopped and removed however the test ends.
class Postgres {
 public:
  Postgres() : dir_("/tmp/taldb-pg-XXXXXX") {
    if (mkdtemp(&dir_[0]) == nullptr) return;
    if (geteuid() == 0) {
      struct passwd* user = getpwnam("postgres");
      if (user == nullptr || chown(dir_.c_str(), user->pw_uid, user->pw_gid) != 0) return;
      as_ = "runuser -u postgres -- ";
    }
    started_ = run(findProgram("initdb") + " -D data -A trust -U postgres -E UTF8 --locale=C") &&
               run(findProgram("pg_ctl") + " -D data -l server.log -w -o \"-k " + dir_ +
                   " -c listen_addresses=''\" start");
  }
  ~Postgres() {
    // Also after a start that failed part of the way: a stop without a server does nothing.
    if (!as_.empty() || geteuid() != 0) run(findProgram("pg_ctl") + " -D data -m fast -w stop");
    shell("rm -rf " + dir_);
  }
  Postgres(const Postgres&) = delete;
  Postgres& operator=(const Postgres&) = delete;

  bool started() const { return started_; }
  std::string log() const { return shell("cat " + dir_ + "/*.log").out; }
  // psql reading a file of statements, options added; its errors come after its output.
  Shell psql(const std::string& file, const std::string& options = "") const {
    return shell("cd " + dir_ + " && " + as_ + findProgram("psql") +
                 " -X -q -v ON_ERROR_STOP=1 -h " + dir_ + " -U postgres -d postgres " + options +
                 " < " + file + " 2>&1");
  }

 private:
  // A command run in the directory as the server's user, its output kept in a log there.
  bool run(const std::string& command) const {
    return shell("cd " + dir_ + " && " + as_ + command + " >> " + dir_ + "/commands.log 2>&1")
               .status == 0;
  }

  std::string dir_, as_;
  bool started_ = false;
};

TEST_F(SqlLoadTest, DumpLoadsIntoPostgres) {
  std::string lacking = missing({"initdb", "pg_ctl", "psql"});
  if (geteuid() == 0 && lacking.empty() && findProgram("runuser").empty())
    lacking = "runuser is not installed, which runs the server as postgres";
  if (!lacking.empty() && onCi()) FAIL() << lacking << "; CI is true, so the load must be checked";
  if (!lacking.empty()) GTEST_SKIP() << lacking << ": the PostgreSQL load is not checked";
  makeDatabase();
  Postgres server;
  ASSERT_TRUE(server.started()) << server.log();
  Shell load = server.psql(at("dump.sql"));
  ASSERT_EQ(load.status, 0) << load.out;
  EXPECT_EQ(load.out, "");
  expectSameRows([&](const std::string& select) {
    writeFile("copy.sql", "COPY (" + select + ") TO STDOUT WITH (FORMAT csv, HEADER);\n");
    return server.psql(at("copy.sql"));
  });
  writeFile("types.sql",
            "SELECT column_name, data_type FROM information_schema.columns WHERE table_name = "
            "'every' ORDER BY ordinal_position;\n");
  EXPECT_EQ(server.psql(at("types.sql"), "-A -t -F ,").out,
            "id,integer\nsmall,integer\nbig,bigint\ntext,text\n");
}

TEST_F(SqlLoadTest, DumpLoadsIntoSqlite) {
  std::string lacking = missing({"sqlite3"});
  if (!lacking.empty() && onCi()) FAIL() << lacking << "; CI is true, so the load must be checked";
  if (!lacking.empty()) GTEST_SKIP() << lacking << ": the SQLite load is not checked";
  makeDatabase();
  const std::string sqlite = "sqlite3 -bail " + at("copy.db");
  Shell load = shell(sqlite + " < " + at("dump.sql") + " 2>&1");
  ASSERT_EQ(load.status, 0) << load.out;
  EXPECT_EQ(load.out, "");
  expectSameRows([&](const std::string& select) {
    writeFile("select.sql", select + ";\n");
    return shell("sqlite3 -bail -csv -header " + at("copy.db") + " < " + at("select.sql") +
                 " 2>&1");
  });
  // Numbers are stored as integers, not as text that looks like them.
  writeFile("types.sql",
            "SELECT group_concat(name || ' ' || lower(type)) FROM pragma_table_info('every');\n"
            "SELECT DISTINCT typeof(id), typeof(small), typeof(big), typeof(text) FROM every;\n");
  EXPECT_EQ(shell(sqlite + " < " + at("types.sql")).out,
            "id integer,small integer,big bigint,text text\ninteger|integer|integer|text\n");
}

}  // namespace
