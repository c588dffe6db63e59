// Help, usage errors and refused names and values: exit status 2, a message
// on standard error, and nothing changed on disk.
#include "ToolFixture.h"

namespace {

const char* const kCommands[] = {"create",  "tables",    "schema",     "list",   "get",
                                 "count",   "add",       "put",        "update", "delete",
                                 "seed",    "add-table", "drop-table", "clear",  "drop",
                                 "recover", "check",     "dump",       "demo"};

struct Refused {
  std::vector<std::string> args;  // after --root
  std::string message;            // part of the message on standard error
};

}  // namespace

TEST_F(ToolTest, HelpForTheToolAndEveryCommand) {
  ToolResult tool = run({"--help"});
  EXPECT_EQ(tool.status, 0);
  EXPECT_EQ(tool.out.rfind("Usage: taldb", 0), 0u) << tool.out;
  for (const char* command : kCommands) {
    EXPECT_NE(tool.out.find(std::string("  ") + command + " "), std::string::npos) << command;
    for (const auto& args :
         {std::vector<std::string>{command, "--help"}, std::vector<std::string>{"help", command}}) {
      ToolResult help = run(args);
      EXPECT_EQ(help.status, 0) << command;
      EXPECT_NE(help.out.find(std::string("Usage: taldb ")), std::string::npos) << command;
      EXPECT_NE(help.out.find(std::string(" ") + command), std::string::npos) << command;
      EXPECT_EQ(help.err, "") << command;
    }
  }
}

TEST_F(ToolTest, UsageErrorsExitWithTwoAndChangeNothing) {
  createDatabase();
  const std::vector<Refused> cases = {
      {{}, "no command given"},
      {{"frobnicate"}, "unknown command 'frobnicate'"},
      {{"tables", "--bogus"}, "unknown option '--bogus'"},
      {{"count"}, "count: missing argument"},
      {{"count", "hosts", "notes"}, "count: too many arguments"},
      {{"--config", "x.ini", "tables"}, "either --root or --config"},
      {{"count", "hosts", "--format", "csv"}, "count does not take --format"},
      {{"list", "hosts", "--format", "xml"}, "unknown format 'xml'"},
      {{"list", "hosts", "--root"}, "--root needs a value"},
      {{"drop"}, "add --yes to confirm"},
      {{"create", "x.ini", "--id", "seven"}, "invalid id 'seven'"},
      {{"add-table", "t", " , "}, "empty column specification"},
      {{"add-table", "t", "id(int)|x(int)"}, "invalid column specification"},
      {{"update", "hosts", "1", "port"}, "invalid assignment 'port'"},
      {{"update", "hosts", "1", "name=a,b"}, "invalid assignment 'b'"},
      {{"put", "hosts", "web,x,1"}, "invalid record id 'web'"},
      {{"put", "hosts", "2147483648,x,1"}, "invalid record id"},
      {{"demo"}, "demo does not take --root or --config"},
  };
  auto before = snapshot();
  for (const Refused& c : cases) {
    ToolResult result = runAt(c.args);
    EXPECT_EQ(result.status, 2) << c.message;
    EXPECT_EQ(result.out, "") << c.message;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("Try 'taldb"), std::string::npos) << result.err;
  }
  EXPECT_EQ(snapshot(), before);
  ToolResult noRoot = run({"tables"});
  EXPECT_EQ(noRoot.status, 2);
  EXPECT_NE(noRoot.err.find("no database root"), std::string::npos);
  ToolResult demoFormat = run({"demo", "--format", "csv"});
  EXPECT_EQ(demoFormat.status, 2);
  EXPECT_NE(demoFormat.err.find("demo does not take --format"), std::string::npos);
}

TEST_F(ToolTest, NamesAndValuesThatCannotBeStoredAreRefused) {
  createDatabase();
  const std::vector<Refused> cases = {
      {{"list", ".."}, "invalid table name '..'"},
      {{"schema", ""}, "invalid table name ''"},
      {{"count", "."}, "invalid table name '.'"},
      {{"add-table", "a/b", "id(int)"}, "invalid table name 'a/b'"},
      {{"drop-table", "../hosts"}, "invalid table name"},
      {{"get", "hosts", "../1"}, "invalid record name '../1'"},
      {{"delete", "hosts", ".."}, "invalid record name"},
      {{"update", "hosts", "1,2", "port=1"}, "invalid value '1,2'"},
      {{"add", "hosts", "a|b,1"}, "invalid value 'a|b'"},
      {{"add", "hosts", "a,b", "1"}, "invalid value 'a,b'"},
      {{"add", "hosts", "line\nfeed,1"}, "invalid value 'line\\nfeed'"},
      {{"put", "hosts", "5,x|y,1"}, "invalid value 'x|y'"},
      {{"update", "hosts", "1", "name=a|b"}, "invalid value 'a|b'"},
      {{"create", "x.ini", "--host", "a,b"}, "invalid value 'a,b'"},
  };
  auto before = snapshot();
  for (const Refused& c : cases) {
    ToolResult result = runAt(c.args);
    EXPECT_EQ(result.status, 2) << c.message;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
  }
  EXPECT_EQ(snapshot(), before);

  // Table names in a description file are checked before anything is made.
  std::string evil = dir_ + "/evil.ini";
  writeFile(evil, "[db]\n[../escape]\nschema = id[int]|x[int]\n");
  ToolResult result = run({"--root", dir_ + "/fresh", "create", evil});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("invalid table name '../escape'"), std::string::npos) << result.err;
  EXPECT_FALSE(exists(dir_ + "/fresh"));
}

TEST_F(ToolTest, RootComesFromTheEnvironmentOrAConfigurationFile) {
  createDatabase();
  ToolResult fromEnvironment = run({"count", "hosts"}, root_);
  EXPECT_EQ(fromEnvironment.status, 0) << fromEnvironment.err;
  EXPECT_EQ(fromEnvironment.out, "2\n");

  std::string config = dir_ + "/host.conf";
  writeFile(config, "[Storage]\nStorageDatabase = " + root_ + "\n");
  ToolResult fromConfig = run({"--config", config, "count", "hosts"});
  EXPECT_EQ(fromConfig.status, 0) << fromConfig.err;
  EXPECT_EQ(fromConfig.out, "2\n");

  writeFile(config, "[Storage]\n");
  ToolResult noEntry = run({"--config", config, "count", "hosts"});
  EXPECT_EQ(noEntry.status, 1);
  EXPECT_NE(noEntry.err.find("StorageDatabase"), std::string::npos) << noEntry.err;
}
