// The store's shortcuts (records opened relative to the walked directory, the
// directory read in a buffer of the walk's own, a condition parsed once per
// walk step) against the plain ways, on random
// sequences of operations: two copies of one database, one worked on with the
// shortcuts and one without, must give the same status, current record and
// log lines after every operation and hold the same files at the end.
//
// TALDB_DIFF_SEED=N replays one sequence, TALDB_DIFF_RUNS=N runs more of them.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <random>
#include <sstream>

#include "TempRoot.h"
#include "taldb/CTable.h"

// Read by the store: non-zero takes the plain ways.
extern "C" {
__attribute__((visibility("default"))) int taldb_plain_ways = 0;
}

namespace {

using TalDB::CTable;

const char kA[] = "id[int]|name[varchar]|port[int]";
const char kB[] = "id[int]|who[varchar]|n[int]|extra[varchar]";
constexpr size_t kHuge = 2u << 20;  // a condition no allocation under 1 MiB can copy

// One copy of the database and the table objects that work on it.
struct Side {
  std::string root;
  int plain = 0;
  std::unique_ptr<CTable> table, other;
};

// Every name under a directory with its content ("<dir>" for a directory),
// read and then removed relative to descriptors, since names past the path
// limit can be neither read nor removed by path.
void Take(int dir, const std::string& prefix, std::map<std::string, std::string>& out) {
  DIR* stream = fdopendir(dup(dir));
  while (struct dirent* e = readdir(stream)) {
    std::string name = e->d_name;
    if (name == "." || name == "..") continue;
    int fd = openat(dir, e->d_name, O_RDONLY);
    struct stat st;
    fstat(fd, &st);
    if (S_ISDIR(st.st_mode)) {
      out[prefix + name] = "<dir>";
      Take(fd, prefix + name + "/", out);
    } else {
      char buffer[4096];
      ssize_t got = read(fd, buffer, sizeof buffer);
      out[prefix + name] = std::string(buffer, got > 0 ? got : 0);
    }
    close(fd);
    unlinkat(dir, e->d_name, S_ISDIR(st.st_mode) ? AT_REMOVEDIR : 0);
  }
  closedir(stream);
}

class ShortcutDiffTest : public TempRootTest {
 protected:
  // One copy of the database: a root of 3,880 characters whatever the
  // temporary directory's, so that names of about 200 characters reach the
  // path limit of a record, with `records` records in table a, and a table
  // object open on each of its tables.
  Side makeSide(int plain, int records = 0) {
    const char which = plain ? 'p' : 's';
    Side side{root_ + "/" + which, plain, nullptr, nullptr};
    std::string& root = side.root;
    while (root.size() < 3880)
      root += "/" + std::string(std::min<size_t>(200, 3880 - root.size() - 1), which);
    for (const char* table : {"a", "b"})
      EXPECT_TRUE(CreateTreeA((root + "/tal/database/" + table).c_str(), 0775));
    EXPECT_TRUE(CreateTreeA((root + "/tal/schema").c_str(), 0775));
    writeFile(root.substr(root_.size() + 1) + "/tal/schema/a", std::string(kA) + "\n");
    writeFile(root.substr(root_.size() + 1) + "/tal/schema/b", std::string(kB) + "\n");
    for (int i = 1; i <= records; ++i) writeAt(side, "a", std::to_string(i), "n|1|");
    side.table.reset(new CTable(root.c_str(), "a"));
    side.other.reset(new CTable(root.c_str(), "b"));
    EXPECT_EQ(side.table->Open() + side.other->Open(), 0);
    return side;
  }

  void writeAt(const Side& side, const std::string& table, const std::string& name,
               const std::string& content, bool directory = false) {
    int dir = open((side.root + "/tal/database/" + table).c_str(), O_RDONLY | O_DIRECTORY);
    if (directory) {
      mkdirat(dir, name.c_str(), 0775);
    } else {
      // A name that is a directory already stays one, on both sides.
      int fd = openat(dir, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0640);
      if (fd >= 0) {
        EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        close(fd);
      }
    }
    close(dir);
  }

  // The status, the current record and the log lines of one operation, the
  // side's root written as ROOT.
  std::string observe(const Side& side, int rc) {
    std::ostringstream out;
    out << rc << " [";
    for (const TalDB::CColumn* c : side.table->columns())
      out << c->name() << "=" << (c->data() ? c->data() : "(null)") << " ";
    out << "]";
    for (const LogLine& line : log_.take()) {
      std::string text = line.text;
      for (size_t at; (at = text.find(side.root)) != std::string::npos;)
        text.replace(at, side.root.size(), "ROOT");
      out << "\n  " << line.level << "/" << line.code << " " << text;
    }
    return out.str();
  }

  void runSequence(unsigned seed, int steps);
};

void ShortcutDiffTest::runSequence(unsigned seed, int steps) {
  Side sides[2] = {makeSide(0), makeSide(1)};
  std::mt19937 random(seed);
  auto pick = [&](std::vector<std::string> from) { return from[random() % from.size()]; };
  const std::string longName = std::string(198, 'L');
  const std::string huge = "name=" + std::string(kHuge, 'h');
  std::vector<std::string> ids = {"1", "2", "3",   "4",      "5",
                                  "6", "7", "sub", longName, longName + "xx"};
  std::vector<std::string> conditions = {
      "",       "name=n1", "id=2",          "port=3,name=n3", "name", "na me = n2 ",
      "who=w1", "n=4,",    "id=" + longName};
  std::string trace;

  for (int step = 0; step < steps; ++step) {
    // Each operation is described once and applied to each side in turn.
    std::string what;
    std::function<int(Side&)> op;
    switch (int kind = random() % 14) {
      case 0:
      case 1:
      case 2:
      case 3: {
        bool start = kind < 2;
        std::string c = pick(conditions);
        bool null = random() % (start ? 3 : 2) == 0;
        what = std::string(start ? "ListRecordsStart(" : "ListRecordsNext(") + (null ? "null" : c) +
               ")";
        op = [=](Side& s) {
          const char* condition = null ? nullptr : c.c_str();
          return start ? s.table->ListRecordsStart(condition) : s.table->ListRecordsNext(condition);
        };
        break;
      }
      case 4: {
        std::string id = pick(ids), key = pick({"name", "port", "who", "none"});
        what = "GetValStr(" + id + ", " + key + ")";
        op = [=](Side& s) {
          char value[64];
          int rc = s.table->GetValStr(id.c_str(), key.c_str(), value, sizeof value);
          return rc == 0 ? rc + static_cast<int>(std::hash<std::string>()(value) % 1000) * 100 : rc;
        };
        break;
      }
      case 5: {
        std::string text = "n" + std::to_string(random() % 5) + "," + std::to_string(random() % 5);
        bool allocate = random() % 2 == 0;
        if (!allocate) text = pick(ids) + "," + text;
        what = "addRecord(" + text + ")";
        op = [=](Side& s) {
          int id = -1;
          int rc = s.table->addRecord(text.c_str(), allocate ? &id : nullptr, 0);
          return rc * 1000 + id;
        };
        break;
      }
      case 6: {
        std::string id = pick(ids), values = pick({"name=u1", "port=9,name=u2", "who=x", "bad=1"});
        what = "updateRecord(" + id + ", " + values + ")";
        op = [=](Side& s) { return s.table->updateRecord(id.c_str(), values.c_str()); };
        break;
      }
      case 7: {
        std::string id = pick(ids);
        what = "deleteRecord(" + id + ")";
        op = [=](Side& s) { return s.table->deleteRecord(id.c_str()); };
        break;
      }
      case 8:
      case 9: {
        // Open, or assignment from the other table object and then its Open.
        std::string name = pick({"a", "b"});
        bool assign = kind == 9;
        what = (assign ? "table = other, then other.Open(" : "Open(") + name + ")";
        op = [=](Side& s) {
          if (assign) *s.table = *s.other;
          return (assign ? s.other : s.table)->Open(name.c_str());
        };
        break;
      }
      case 10:
        what = "records()";
        op = [](Side& s) { return s.table->records(); };
        break;
      case 11: {
        // What a directory may hold besides records.
        std::string table = pick({"a", "b"}), name = pick(ids);
        std::string entry = pick({"record", "short", "empty", "marked", "tmp", "dir"});
        what = "plant " + entry + " " + name + " in " + table;
        op = [=](Side& s) {
          std::string content =
              table == "a" ? "n" + name.substr(0, 3) + "|" + std::to_string(name.size()) + "|"
                           : "w|1|e|";
          if (entry == "short" || entry == "empty") content = entry == "short" ? "x|" : "";
          std::string file = entry == "marked" ? name + ".ADD"
                             : entry == "tmp"  ? name + ".tmp"
                                               : name;
          writeAt(s, table, entry == "dir" ? "sub" : file, content, entry == "dir");
          return 0;
        };
        break;
      }
      default: {
        // A listing step while memory runs out: for a huge condition from 1
        // MiB up, for a walk's buffer of entries from 16 KiB up (made when the
        // table's path changed), or for one allocation size that a copy in the
        // walk makes.
        int mode = random() % 3;
        std::string c = mode == 0 ? huge : pick(conditions);
        const size_t sizes[] = {2, 3, 4, 6, 7, 8, 12};
        size_t atLeast = mode == 0 ? 1u << 20 : mode == 1 ? 1u << 14 : 0;
        size_t exactly = mode == 2 ? sizes[random() % 7] : 0;
        bool start = random() % 2 == 0;
        what = std::string(start ? "ListRecordsStart" : "ListRecordsNext") + " without memory (" +
               (mode == 0 ? "huge" : c) + ", " + std::to_string(atLeast) + " up, " +
               std::to_string(exactly) + " exactly)";
        op = [=](Side& s) {
          if (!fault::failAllocations(atLeast, exactly)) return -100;
          int rc =
              start ? s.table->ListRecordsStart(c.c_str()) : s.table->ListRecordsNext(c.c_str());
          fault::failAllocations(0, 0);
          return rc;
        };
      }
    }
    trace += "  " + std::to_string(step) + ": " + what + "\n";
    std::string seen[2];
    for (Side& side : sides) {
      log_.take();
      taldb_plain_ways = side.plain;
      int rc = op(side);
      taldb_plain_ways = 0;
      seen[side.plain] = observe(side, rc);
    }
    ASSERT_EQ(seen[0], seen[1]) << "seed " << seed << " (TALDB_DIFF_SEED=" << seed
                                << " replays it), step " << step << ": " << what << "\nsteps:\n"
                                << trace;
  }
  std::map<std::string, std::string> files[2];
  for (Side& side : sides) {
    int fd = open((side.root + "/tal").c_str(), O_RDONLY | O_DIRECTORY);
    Take(fd, "", files[side.plain]);
    close(fd);
  }
  EXPECT_EQ(files[0], files[1]) << "seed " << seed << "\nsteps:\n" << trace;
}

TEST_F(ShortcutDiffTest, RandomSequencesGiveWhatThePlainWaysGive) {
  const char* seed = getenv("TALDB_DIFF_SEED");
  const char* runs = getenv("TALDB_DIFF_RUNS");
  if (seed != nullptr) return runSequence(static_cast<unsigned>(atol(seed)), 400);
  int count = runs != nullptr ? atoi(runs) : 12;
  for (int run = 0; run < count && !HasFatalFailure(); ++run) {
    runSequence(1000 + run, 400);
    DeleteTreeA((root_ + "/s").c_str());
    DeleteTreeA((root_ + "/p").c_str());
  }
}

}  // namespace

// A walk of a directory that takes more than one read, changed in the middle
// of the walk: through the walk's own buffer it sees what the stream sees,
// stale names and all.
TEST_F(ShortcutDiffTest, AWalkOfALargeDirectoryChangedUnderItSeesWhatTheStreamSees) {
  std::string seen[2];
  for (int plain : {0, 1}) {
    Side side = makeSide(plain, 3000);
    taldb_plain_ways = plain;
    int rc = side.table->ListRecordsStart(nullptr);
    for (int step = 0; rc == 0; ++step) {
      seen[plain] += observe(side, rc) + "\n";
      for (int i = 1; step == 100 && i <= 3000; i += 2) {
        side.table->deleteRecord(std::to_string(i).c_str());
        side.table->addRecord(("x" + std::to_string(i) + ",n,1").c_str(), nullptr, 0);
      }
      rc = side.table->ListRecordsNext(nullptr);
    }
    taldb_plain_ways = 0;
  }
  EXPECT_TRUE(seen[0] == seen[1]) << "the two walks differ";
}
