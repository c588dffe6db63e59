#include "Check.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "Commands.h"
#include "table/RepairPlan.h"

namespace taldb_cli {

namespace {

const char kSchemaDir[] = "tal/schema";
const char kDataDir[] = "tal/database";

// The entries of a directory, "." and ".." left out, sorted.
bool listDirectory(const std::string& path, std::vector<std::string>& names) {
  names.clear();
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return false;
  while (const struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return true;
}

bool isDirectory(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool exists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

// The text up to the first line feed, the only line the store reads of a
// schema or record file.
bool readFirstLine(const std::string& path, std::string& line) {
  std::ifstream in(path, std::ios::binary);
  line.clear();
  return in && (std::getline(in, line) || in.eof());
}

// The pieces of a "|"-separated line as the store splits it: a trailing "|"
// closes the last piece instead of starting an empty one.
size_t countFields(const std::string& line) {
  if (line.empty()) return 0;
  size_t count = std::count(line.begin(), line.end(), '|') + 1;
  return line.back() == '|' ? count - 1 : count;
}

// What a check finding of a leftover or a marked name says; repair decides
// the same way when it acts.
std::string leftoverFinding(TalDB::RepairAction action) {
  switch (action) {
    case TalDB::RepairAction::kRemoveMarked:
      return "marked name, never a record; 'taldb repair' or 'taldb recover' removes it";
    case TalDB::RepairAction::kFinishWrite:
      return "whole record left by an interrupted write, its record missing; "
             "'taldb repair' renames it into place";
    case TalDB::RepairAction::kDropStale:
      return "leftover of an interrupted write beside its record; 'taldb repair' removes it";
    case TalDB::RepairAction::kLeaveTorn:
      return "leftover of an interrupted write, not a whole record; 'taldb repair' leaves it: "
             "inspect it by hand";
    default:
      return "";
  }
}

class Inspector {
 public:
  Inspector(Context& ctx, const std::string& root) : ctx_(ctx), root_(root) {}

  std::vector<std::string> run() {
    std::vector<std::string> schemas, directories;
    listDirectory(at(kSchemaDir), schemas);
    listDirectory(at(kDataDir), directories);
    for (const std::string& name : schemas) inspectTable(name);
    for (const std::string& name : directories) {
      if (!std::binary_search(schemas.begin(), schemas.end(), name))
        reportUnrepaired(std::string(kDataDir) + "/" + name,
                         "table directory without a schema file");
    }
    return findings_;
  }

 private:
  std::string at(const std::string& relative) const { return root_ + "/" + relative; }

  void report(const std::string& where, const std::string& what) {
    findings_.push_back(where + ": " + what);
  }
  // A problem that repair leaves alone says so, so that nobody runs it in vain.
  void reportUnrepaired(const std::string& where, const std::string& what) {
    report(where, what + "; 'taldb repair' does not fix it");
  }

  void inspectTable(const std::string& name) {
    std::string schema = std::string(kSchemaDir) + "/" + name;
    std::string data = std::string(kDataDir) + "/" + name;
    if (isDirectory(at(schema))) return reportUnrepaired(schema, "a directory, not a schema file");
    TalDB::CTable table(root_.c_str(), name.c_str());
    int status = table.Open();
    if (status != 0) {
      reportUnrepaired(schema, "schema file cannot be loaded (status " + std::to_string(status) +
                                   ": " + ctx_.log().explain(status) + ")");
      ctx_.log().clear();
      return;
    }
    std::string line;
    readFirstLine(at(schema), line);
    size_t defined = countFields(line);
    if (table.columns().size() < defined) {
      reportUnrepaired(schema, "schema line does not parse whole (" +
                                   std::to_string(table.columns().size()) + " of " +
                                   std::to_string(defined) + " column definitions load)");
    }
    if (!isDirectory(at(data))) {
      return reportUnrepaired(schema, exists(at(data)) ? data + " is not a directory"
                                                       : "schema file without a table directory");
    }
    inspectRecords(table, data);
  }

  void inspectRecords(TalDB::CTable& table, const std::string& data) {
    std::vector<std::string> names;
    listDirectory(at(data), names);
    for (const std::string& name : names) {
      std::string where = data + "/" + name;
      TalDB::RepairAction action =
          TalDB::PlanRepair(table.path(), name.c_str(), table.columns().size());
      if (action != TalDB::RepairAction::kNone) {
        report(where, leftoverFinding(action));
      } else if (isDirectory(at(where))) {
        reportUnrepaired(where, "a directory where only record files belong");
      } else {
        inspectRecord(table, where, name);
      }
    }
    ctx_.log().clear();
  }

  // The store's own reader decides; the file is looked at only to say why.
  void inspectRecord(TalDB::CTable& table, const std::string& where, const std::string& name) {
    int status = table.readRecord(name.c_str());
    if (status == 0) return;
    std::string line;
    size_t needed = table.columns().empty() ? 0 : table.columns().size() - 1;
    if (status == 8 || !readFirstLine(at(where), line)) {
      reportUnrepaired(where, "record file cannot be opened");
    } else if (line.empty()) {
      reportUnrepaired(where, "record file is empty");
    } else if (countFields(line) < needed) {
      reportUnrepaired(where, "record has too few fields (" + std::to_string(countFields(line)) +
                                  " of " + std::to_string(needed) + ")");
    } else {
      reportUnrepaired(where, "record cannot be read (status " + std::to_string(status) + ")");
    }
  }

  Context& ctx_;
  std::string root_;
  std::vector<std::string> findings_;
};

}  // namespace

bool isMarkedName(const std::string& name) {
  return name.find(".ADD") != std::string::npos || name.find(".UPDATE") != std::string::npos;
}

std::vector<std::string> markedNames(const std::string& directory) {
  std::vector<std::string> names;
  listDirectory(directory, names);
  names.erase(std::remove_if(names.begin(), names.end(),
                             [](const std::string& name) { return !isMarkedName(name); }),
              names.end());
  return names;
}

std::vector<std::string> inspectDatabase(Context& ctx, const std::string& root) {
  if (!isDirectory(root + "/" + kSchemaDir))
    throw Failure("no database under " + root + " (no tal/schema directory)");
  return Inspector(ctx, root).run();
}

int cmdCheck(Context& ctx) {
  std::string root = ctx.rootPath();
  std::vector<std::string> findings = inspectDatabase(ctx, root);
  for (const std::string& finding : findings) ctx.out() << finding << "\n";
  if (findings.empty()) {
    ctx.out() << "no problems found under " << root << "\n";
    return kExitOk;
  }
  ctx.out() << findings.size() << (findings.size() == 1 ? " problem" : " problems")
            << " found under " << root << "\n";
  return kExitFailed;
}

}  // namespace taldb_cli
