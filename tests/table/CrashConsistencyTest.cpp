// Crash consistency. Each workload's file-system calls are recorded; for every
// point at which a power cut could stop them, the tree a file system that
// keeps directory operations in order would leave is built afresh: directory
// operations persist in call order, those after the last flush of their
// directory possibly lost from any point on; file data not flushed is there
// whole or not at all. A fresh database opened on that tree and repaired must
// hold every record acknowledged before the cut, nothing deleted then, and
// nothing else: no leftover and no record nobody added.
#include <fcntl.h>
#include <stdlib.h>

#include <memory>
#include <set>
#include <sstream>
#include <tuple>

#include "TempRoot.h"
#include "Tool.h"
#include "table/SchemaSeal.h"
#include "taldb/CTalDatabase.h"

namespace {

using Files = std::map<std::string, std::string>;              // relative path -> content
using Allowed = std::map<std::string, std::set<std::string>>;  // record -> acceptable contents
const std::string kTable = "tal/database/hosts/", kGone = "(absent)";
const std::set<std::string> kDirs = {"tal", "tal/schema", "tal/database", "tal/database/hosts"};

// The file system after the first n recorded calls under base.
struct Disk {
  std::map<std::string, size_t> names;  // relative path -> file
  std::set<std::string> dirs = kDirs;
  std::vector<std::string> data, flushed;  // per file: every byte written, the flushed ones
  size_t durable = 0;  // calls [0, durable) hold directory operations a flush made durable

  size_t make(const std::string& path, const std::string& content) {
    data.push_back(content);
    flushed.push_back(content);
    return names[path] = data.size() - 1;
  }
};

Disk Replay(const std::string& base, const Files& start, const std::vector<fault::Recorded>& calls,
            size_t n) {
  Disk d;
  for (const auto& [path, content] : start) d.make(path, content);
  std::map<int, size_t> fds;              // descriptor -> file
  std::map<std::string, size_t> touched;  // directory -> calls up to its last directory operation
  auto rel = [&](const std::string& p) {
    return p.compare(0, base.size() + 1, base + "/") == 0 ? p.substr(base.size() + 1) : "";
  };
  for (size_t i = 0; i < n; ++i) {
    const fault::Recorded& c = calls[i];
    std::string path = rel(c.path), to = rel(c.to);
    bool known = fds.count(c.fd) != 0, file = d.names.count(path) != 0;
    auto touch = [&](const std::string& p) { touched[p.substr(0, p.rfind('/'))] = i + 1; };
    if (c.result < 0) continue;  // failed: changed nothing
    if (c.call == fault::kOpen && !path.empty() && !d.dirs.count(path) &&
        !(c.flags & O_DIRECTORY)) {
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
      } else if (d.dirs.count(path))
        d.durable = std::max(d.durable, touched[path]);
    } else if (c.call == fault::kSyncfs) {
      for (size_t f = 0; f < d.data.size(); ++f) d.flushed[f] = d.data[f];
    } else if (c.call == fault::kClose) {
      fds.erase(c.fd);
    } else if (c.call == fault::kRename && file) {
      d.names[to] = d.names[path];
      d.names.erase(path);
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
  void lay(const std::string& dir, const std::set<std::string>& dirs, const Files& files) {
    DeleteTreeA(at(dir).c_str());
    for (const std::string& d : dirs) ASSERT_TRUE(CreateTreeA(at(dir + "/" + d).c_str(), 0775));
    for (const auto& [path, content] : files) writeFile(dir + "/" + path, content);
  }

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
        bool whole = table != nullptr && table->columns().size() == 2 &&
                     exists("crash/tal/database/" + id.substr(6));
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
    // And the operator's check finds nothing left to do.
    std::ostringstream out, err;
    if (taldb_cli::RunTool({"--root", at("crash"), "check"}, out, err) != 0)
      problems << " check: " << out.str() << err.str();
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
    ASSERT_NO_FATAL_FAILURE(lay("live", kDirs, start));
    ASSERT_NO_FATAL_FAILURE(run(w));

    // Cut after the first k calls, directory operations kept up to call j,
    // each subset of the files with unflushed data losing it.
    std::set<std::tuple<Allowed, Files, std::set<std::string>>> seen;
    int states = 0, failed = 0;
    std::string first;
    for (size_t k = 0; k <= calls_.size(); ++k) {
      Allowed allowed = allowedAt(w, k);
      Disk now = Replay(live, start, calls_, k);
      for (size_t j = now.durable; j <= k; ++j) {
        Disk kept = Replay(live, start, calls_, j);
        std::vector<std::string> dirty;
        for (const auto& [path, f] : kept.names)
          if (now.data[f] != now.flushed[f]) dirty.push_back(path);
        ASSERT_LE(dirty.size(), 4u);
        for (unsigned lost = 0; lost < (1u << dirty.size()); ++lost) {
          Files tree;
          std::string emptied;
          for (const auto& [path, f] : kept.names) tree[path] = now.data[f];
          for (size_t b = 0; b < dirty.size(); ++b) {
            if ((lost & (1u << b)) == 0) continue;
            tree[dirty[b]] = now.flushed[kept.names[dirty[b]]];
            emptied += " " + dirty[b].substr(dirty[b].rfind('/') + 1);
          }
          if (!seen.insert({allowed, tree, kept.dirs}).second) continue;
          ++states;
          ASSERT_NO_FATAL_FAILURE(lay("crash", kept.dirs, tree));
          std::string problems = recover(allowed);
          if (problems.empty() || ++failed > 5) continue;
          std::ostringstream where;
          where << "\n  cut after call " << k << " of " << calls_.size()
                << (k > 0 ? " (" + fault::text(calls_[k - 1]) + ")" : "")
                << ", directory operations after call " << j
                << " lost, unflushed data lost:" << emptied << ":" << problems;
          first += where.str();
        }
      }
    }
    EXPECT_EQ(failed, 0) << failed << " of " << states << " crash states of " << w.name
                         << " recover wrongly; the first:" << first;
  }
}

}  // namespace
