// Power cuts in the tool's creations and writes. For every tree a cut could
// leave (PowerCut), an operator's check, repair, check must agree with each
// other (what check says repair fixes is gone after it, what it says repair
// does not fix is still there), and after that one repair the root is either
// the tree some step in flight left (every acknowledged step in it, whole) or,
// while the create is not acknowledged, a root a new create then makes whole.
#include <stdlib.h>

#include <memory>

#include "PowerCut.h"
#include "ToolFixture.h"

namespace {

const char kDescription[] =
    "[about]\nnote = not a table\n"
    "[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
    "rec_1 = 1, {{$talhost}}, 8080\nrec_2 = 2, db01, {{$talid}}\n"
    "[notes]\nschema = id[int]|text[varchar]\nrec_1 = 1, first note\n"
    "[sizes]\nschema = id[int]|path[varchar]|bytes[bigint]\nrec_1 = 1, /var, 9000000000\n"
    "[empty]\nschema = id[int]|v[varchar]\n";

struct Workload {
  const char* name;
  bool made;                 // a database created (not recorded) before the steps
  std::vector<Names> steps;  // command lines after --root; "DESC" names the description file
};

const Workload kWorkloads[] = {
    {"create", false, {{"create", "DESC", "--id", "7", "--host", "h1"}}},
    {"tables and records",
     true,
     {{"add-table", "t1", "id(int),v(varchar)"},
      {"add", "hosts", "web3,80"},
      {"add-table", "t2", "id(int),n(bigint)"},
      {"update", "hosts", "1", "port=81"},
      {"delete", "hosts", "2"}}},
};

// The findings of a check, without its summary line; none when it found no
// database at all.
std::set<std::string> Findings(const Result& check) {
  std::set<std::string> lines;
  std::istringstream in(check.out);
  for (std::string line; std::getline(in, line);)
    if (line.find(" found under ") == std::string::npos) lines.insert(line);
  return lines;
}

class CreateCrashTest : public ToolTest {
 protected:
  Result tool(const std::string& root, Names args) const {
    for (std::string& arg : args)
      if (arg == "DESC") arg = at("desc.ini");
    args.insert(args.begin(), {"--root", at(root)});
    return run(args, "", false);
  }

  // What is wrong with the tree at root_/crash after a cut that acknowledged
  // the first `done` steps and may have been inside step `done` + 1: "" when
  // nothing.
  std::string recover(const Workload& w, size_t done, size_t inFlight) const {
    std::string problems;
    std::set<std::string> before = Findings(tool("crash", {"check"}));
    Result repair = tool("crash", {"repair"});
    std::set<std::string> after = Findings(tool("crash", {"check"}));
    bool fixable = true;
    for (const std::string& finding : before) {
      bool promised = finding.find("does not fix it") == std::string::npos;
      fixable = fixable && promised;
      if (promised == (after.count(finding) != 0))
        problems += " check said '" + finding + "', and repair " +
                    (promised ? "left it" : "fixed it after all") + ";";
    }
    for (const std::string& finding : after)
      if (before.count(finding) == 0) problems += " repair left a new problem: " + finding + ";";
    if (fixable && exists("crash/tal/schema") && repair.status != 0)
      problems += " repair failed: " + repair.err;
    if (!exists("crash/tal/schema")) {
      // Nothing that blocks a new create: it must make the whole database.
      if (done > 0 || w.made) return problems + " the database is gone;";
      Result create = tool("crash", w.steps[0]);
      if (create.status != 0) return problems + " a new create failed: " + create.err;
      done = inFlight = 1;
    }
    powercut::Tree got = powercut::Read(at("crash"));
    for (size_t s = done; s <= inFlight; ++s)
      if (got.dirs == states_[s].dirs && got.files == states_[s].files) return problems;
    std::string shown;
    for (const std::string& d : got.dirs) shown += " " + d + "/";
    for (const auto& [path, content] : got.files) shown += " " + path + "=" + content;
    return problems + " the tree is no step's:" + shown;
  }

  std::vector<powercut::Tree> states_;  // the tree before the first step and after each
};

TEST_F(CreateCrashTest, EveryCutLeavesAWholeDatabaseOrNoneAfterOneRepair) {
  std::unique_ptr<char, decltype(&free)> real(realpath(root_.c_str(), nullptr), &free);
  ASSERT_NE(real, nullptr);
  root_ = real.get();  // the spelling /proc gives the descriptors the recorder did not see opened
  writeFile("desc.ini", kDescription);
  for (const Workload& w : kWorkloads) {
    SCOPED_TRACE(w.name);
    powercut::Lay(at("live"), {});
    if (w.made) {
      ASSERT_EQ(tool("live", {"create", "DESC"}).status, 0);
    }
    states_ = {powercut::Read(at("live"))};
    std::vector<fault::Recorded> calls;
    std::vector<size_t> ends;
    for (const Names& step : w.steps) {
      fault::startRecording();
      Result result = tool("live", step);
      std::vector<fault::Recorded> made;
      fault::stopRecording(&made);
      ASSERT_EQ(result.status, 0) << result.err;
      calls.insert(calls.end(), made.begin(), made.end());
      ends.push_back(calls.size());
      states_.push_back(powercut::Read(at("live")));
    }
    int states = 0, failed = 0;
    std::string first;
    powercut::ForEachCut(
        at("live"), states_[0], calls,
        [&](size_t k, const powercut::Tree& tree, const std::string& how) {
          size_t done = 0;
          while (done < ends.size() && ends[done] <= k) ++done;
          size_t inFlight =
              done < ends.size() && k > (done == 0 ? 0 : ends[done - 1]) ? done + 1 : done;
          ++states;
          powercut::Lay(at("crash"), tree);
          std::string problems = recover(w, done, inFlight);
          if (problems.empty() || ++failed > 3) return;
          first +=
              "\n  cut after call " + std::to_string(k) + " of " + std::to_string(calls.size()) +
              (k > 0 ? " (" + fault::text(calls[k - 1]) + ")" : "") + ", " + how + ":" + problems;
        });
    EXPECT_EQ(failed, 0) << failed << " of " << states << " crash states of " << w.name
                         << " recover wrongly; the first:" << first;
  }
}

}  // namespace
