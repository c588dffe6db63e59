// A fresh root holding the table "hosts" (id, name, port), opened.
#ifndef TALDB_TESTS_TABLEFIXTURE_H
#define TALDB_TESTS_TABLEFIXTURE_H

#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "TempRoot.h"
#include "taldb/CTable.h"

using Values = std::vector<std::string>;

class TableTest : public TempRootTest {
 protected:
  void SetUp() override {
    TempRootTest::SetUp();
    makeTable("hosts", "id[int]|name[varchar]|port[int]");
    table.reset(new TalDB::CTable(root_.c_str(), "hosts"));
    ASSERT_EQ(table->Open(), 0);
  }
  std::string record(const std::string& name) const { return "tal/database/hosts/" + name; }
  std::string recordPath(const std::string& name) const { return at(record(name)); }
  void put(const std::string& name, const std::string& content) const {
    writeFile(record(name), content);
  }
  // A record file's content, or "(absent)".
  std::string content(const std::string& name) const {
    return exists(record(name)) ? readFile(record(name)) : "(absent)";
  }
  Values files() const { return list("tal/database/hosts"); }
  // The table's files as "name:content" words in name order; lay puts such
  // words in place of every file there, and forgets the log.
  std::string contents() const {
    std::string out;
    for (const std::string& name : files())
      out += (out.empty() ? "" : " ") + name + ":" + content(name);
    return out;
  }
  void lay(const std::string& words) {
    for (const std::string& name : files()) unlink(recordPath(name).c_str());
    std::istringstream in(words);
    for (std::string word; in >> word;)
      put(word.substr(0, word.find(':')), word.substr(word.find(':') + 1));
    log_.take();
  }
  // The current record, an absent value shown as "(null)".
  Values current() const {
    Values out;
    for (const TalDB::CColumn* c : table->columns())
      out.push_back(c->data() ? c->data() : "(null)");
    return out;
  }

  std::unique_ptr<TalDB::CTable> table;
};

#endif  // TALDB_TESTS_TABLEFIXTURE_H
