// Crash consistency of the store's writes. Each workload's file-system calls
// are recorded; for every tree a power cut could leave (PowerCut), a fresh
// database opened on it and repaired must hold every record acknowledged
// before the cut, nothing deleted then, and nothing else: no leftover, no
// record nobody added, and no table in its catalogue whose schema file is not
// whole on disk.
#include <stdlib.h>

#include <memory>
#include <set>
#include <sstream>

#include "PowerCut.h"
#include "TempRoot.h"
#include "table/SchemaSeal.h"
#include "taldb/CTalDatabase.h"

namespace {

using powercut::Files;
using Allowed = std::map<std::string, std::set<std::string>>;  // record -> acceptable contents
const std::string kTable = "tal/database/hosts/", kGone = "(absent)";
const std::set<std::string> kDirs = {"tal", "tal/schema", "tal/database", "tal/database/hosts"};

// "name:content" words; "name:" is an empty file.
Files Parse(const std::string& words, const std::string& prefix = "") {
  Files out;
  std::istringstream in(words);
  for (std::string w; in >> w;) out[prefix + w.substr(0, w.find(':'))] = w.substr(w.find(':') + 1);
  return out;
}

struct Workload {
  const char* name;
  const char* seed;    // the table's files before it: "name:content" words
  const char* before;  // the records they stand for once repaired
  // Each call ("@N": the id the Nth add allocated; "put": the group write of
  // one record under its id; "table": AddTable) and the content of the record
  // it touches once it returns ("-": no record; "+": a table there).
  std::vector<std::pair<std::string, std::string>> steps;
};

const Workload kWorkloads[] = {
    {"writes",
     "",
     "",
     {{"add web1,80", "web1|80|"},
      {"add web2,90", "web2|90|"},
      {"update @1 port=81", "web1|81|"},
      {"delete @2", "-"},
      {"add web3,70", "web3|70|"},  // takes the deleted id again
      {"update @3 name=web4", "web4|70|"},
      {"delete @1", "-"}}},
    {"repair, then writes",
     "1:old|1| 2:keep|2| 2.tmp:new|9| 5.tmp:whole|5| 6.tmp:torn 7.tmp:",
     "1:old|1| 2:keep|2| 5:whole|5|",
     {{"repair", ""},
      {"update 5 port=55", "whole|55|"},
      {"delete 1", "-"},
      {"add web9,90", "web9|90|"},
      {"update 2 name=kept", "kept|2|"}}},
    // The group write, a record at a time so that each step names one.
    {"group writes",
     "3:old|3|",
     "3:old|3|",
     {{"put 3,new,4", "new|4|"}, {"put 8,b,8", "b|8|"}, {"delete 3", "-"}, {"put 3,c,5", "c|5|"}}},
    // Tables made beside records: one acknowledged is there with its columns.
    {"tables", "", "", {{"table t1", "+"}, {"add web1,80", "web1|80|"}, {"table t2", "+"}}},
};

class CrashConsistencyTest : public TempRootTest {
 protected:
  // Runs the workload on the tree at root_/live, recording its calls and
  // where each step's calls end; ids_ gets the record each step touched.
  void run(const Workload& w) {
    TalDB::CTalDatabase db;
    ASSERT_EQ(db.open(at("live").c_str()), 0);
    TalDB::CTable* table = db.GetTable("hosts");
    ASSERT_NE(table, nullptr);
    std::vector<int> added;
    for (const auto& step : w.steps) {
      const std::string& call = step.first;
      std::istringstream words(call);
      std::string verb, arg, values;  // arg: the record's values for add, else its id
      words >> verb >> arg >> values;
      std::string id = arg[0] == '@' ? std::to_string(added.at(std::stoi(arg.substr(1)) - 1)) : arg;
      fault::startRecording();
      const char* text = arg.c_str();
      int made = -1;
      int rc = verb == "add"      ? table->addRecord(text, &made, 0)
               : verb == "put"    ? table->addRecords(&text, 1, &made, false, nullptr)
               : verb == "update" ? table->updateRecord(id.c_str(), values.c_str())
               : verb == "delete" ? table->deleteRecord(id.c_str())
               : verb == "table"  ? db.AddTable(text, "id(int),v(varchar)")
                                  : db.repair();
      if (made >= 0) id = std::to_string(made);
      if (verb == "add") added.push_back(made);
      if (verb == "table") id = "table:" + arg;
      if (verb == "repair") id = "";
      std::vector<fault::Recorded> calls;
      fault::stopRecording(&calls);
      ASSERT_EQ(rc, 0) << call;
      calls_.insert(calls_.end(), calls.begin(), calls.end());
      ends_.push_back(calls_.size());
      ids_.push_back(id);
    }
  }

  // What each step that ended by the cut left; the step in flight may have
  // left its own content or not yet.
  Allowed allowedAt(const Workload& w, size_t cut) const {
    Allowed allowed;
    for (const auto& [id, content] : Parse(w.before)) allowed[id] = {content};
    for (size_t s = 0, from = 0; s < ends_.size() && from < cut; from = ends_[s++]) {
      if (ids_[s].empty()) continue;
      std::string after = w.steps[s].second == "-" ? kGone : w.steps[s].second;
      auto& options = allowed.emplace(ids_[s], std::set<std::string>{kGone}).first->second;
      if (ends_[s] <= cut)
        options = {after};
      else
        options.insert(after);
    }
    return allowed;
  }

  // What a fresh database opened on the tree at root_/crash and repaired
  // holds that it should not: "" when nothing.
  std::string recover(const Allowed& allowed) {
    std::ostringstream problems;
    // A creation cut short while its schema was written keeps the database
    // from opening: repair undoes it first, as a host or the tool does.
    TalDB::CTalDatabase first;
    if (first.open(at("crash").c_str()) != 0) first.repair();
    TalDB::CTalDatabase db;
    if (int rc = db.open(at("crash").c_str())) problems << " open returned " << rc << ";";
    if (int rc = db.repair()) problems << " repair returned " << rc << ";";
    log_.take();
    Files found = snapshot("crash/" + kTable.substr(0, kTable.size() - 1));
    auto show = [](const std::string& v) { return v == kGone ? v : "\"" + v + "\""; };
    for (const auto& [id, options] : allowed) {
      if (id.rfind("table:", 0) == 0) {
        const TalDB::CTable* table = db.GetTable(id.c_str() + 6);
        bool whole = table != nullptr && table->columns().size() == 2;
        if (options.count(whole ? "+" : kGone) == 0) problems << " " << id << " is not whole;";
        continue;
      }
      auto at = found.find("crash/" + kTable + id);
      std::string got = at != found.end() ? at->second : kGone;
      if (at != found.end()) found.erase(at);
      if (options.count(got) != 0) continue;
      problems << " record " << id << " is " << show(got) << ", acknowledged:";
      for (const std::string& o : options) problems << " " << show(o);
      problems << ";";
    }
    for (const auto& [path, content] : found)
      problems << " " << path.substr(path.rfind('/') + 1) << " (" << show(content) << ") is left;";
    // The catalogue is what the disk holds: every table in it has its
    // directory and a whole schema file, so no record goes where the next
    // open would not look.
    for (const TalDB::CTable* table : db.tables()) {
      std::string schema = at("crash/tal/schema/") + table->name();
      if (TalDB::CheckSchemaSeal(schema.c_str()) != TalDB::SchemaSeal::kWhole ||
          !exists("crash/tal/database/" + std::string(table->name())))
        problems << " table " << table->name() << " is in the catalogue, not whole on disk;";
    }
    return problems.str();
  }

  std::vector<fault::Recorded> calls_;
  std::vector<size_t> ends_;
  std::vector<std::string> ids_;
};

TEST_F(CrashConsistencyTest, EveryCutRecoversTheAcknowledgedRecords) {
  std::unique_ptr<char, decltype(&free)> real(realpath(root_.c_str(), nullptr), &free);
  ASSERT_NE(real, nullptr);
  root_ = real.get();  // the spelling /proc gives the descriptors the recorder did not see opened
  const std::string live = at("live");
  for (const Workload& w : kWorkloads) {
    SCOPED_TRACE(w.name);
    calls_.clear(), ends_.clear(), ids_.clear();
    Files start = Parse(w.seed, kTable);
    const char kSchema[] = "id[int]|name[varchar]|port[int]";
    char seal[TalDB::kFingerprintSize];
    TalDB::SchemaFingerprint(kSchema, sizeof kSchema - 1, seal);
    start["tal/schema/hosts"] = std::string(kSchema) + "\n" + seal;
    powercut::Lay(live, {kDirs, start});
    ASSERT_NO_FATAL_FAILURE(run(w));

    int states = 0, failed = 0;
    std::string first;
    std::set<std::pair<Allowed, powercut::Tree>> seen;
    powercut::Tree laid{kDirs, start};
    powercut::ForEachCut(
        live, laid, calls_, [&](size_t k, const powercut::Tree& tree, const std::string& how) {
          Allowed allowed = allowedAt(w, k);
          if (!seen.insert({allowed, tree}).second) return;
          ++states;
          powercut::Lay(at("crash"), tree);
          std::string problems = recover(allowed);
          if (problems.empty() || ++failed > 5) return;
          first +=
              "\n  cut after call " + std::to_string(k) + " of " + std::to_string(calls_.size()) +
              (k > 0 ? " (" + fault::text(calls_[k - 1]) + ")" : "") + ", " + how + ":" + problems;
        });
    EXPECT_EQ(failed, 0) << failed << " of " << states << " crash states of " << w.name
                         << " recover wrongly; the first:" << first;
  }
}

}  // namespace
