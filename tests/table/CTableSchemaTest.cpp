// A table object: opening it, its schema file, copies and the shared lock.
#include "TableFixture.h"

using TalDB::CTable;

namespace {
std::string ColumnList(const CTable& table) {
  std::string out;
  for (const TalDB::CColumn* c : table.columns())
    out += std::string(c->name()) + ":" + std::to_string(c->type()) + " ";
  return out;
}
}  // namespace

TEST_F(TableTest, OpenFailuresLeaveTheDocumentedState) {
  EXPECT_EQ(table->path(), at("tal/database/hosts"));
  EXPECT_EQ(table->schemaPath(), at("tal/schema/hosts"));
  // A missing schema file keeps the columns of the earlier open.
  EXPECT_EQ(table->Open("gone"), 3);
  EXPECT_EQ(log_.take(), (Logs{Err(3, "no such file [" + at("tal/schema/gone") + "]")}));
  EXPECT_STREQ(table->name(), "gone");
  EXPECT_EQ(table->path(), at("tal/database/gone"));
  EXPECT_EQ(ColumnList(*table), "id:0 name:2 port:0 ");

  // Paths are cut to 4094 characters.
  std::string longName(5000, 'n');
  CTable deep(root_.c_str(), longName.c_str());
  EXPECT_EQ(deep.Open(), 3);
  EXPECT_EQ(std::string(deep.path()), (at("tal/database/") + longName).substr(0, 4094));
  EXPECT_EQ(std::string(deep.schemaPath()).size(), 4094u);
}

TEST_F(TableTest, CopiesShareTheLockAndOwnTheirValues) {
  put("1", "web01|80|");
  ASSERT_EQ(table->ListRecordsStart(nullptr), 0);
  auto* copy = new CTable(*table);
  CTable assigned;
  assigned = *table;
  assigned = assigned;
  EXPECT_EQ(assigned.path(), at("tal/database/hosts"));
  EXPECT_EQ(copy->ListRecordsNext(nullptr), 12);  // a copy has a stream of its own
  put("2", "web02|81|");
  ASSERT_EQ(table->GetValStr("2", "name", nullptr, 0), 20);
  EXPECT_STREQ(copy->getcolumn("name")->data(), "web01");
  EXPECT_STREQ(assigned.getcolumn("name")->data(), "web01");
  // The lock outlives a copy that goes first, and the source stays usable.
  delete copy;
  EXPECT_EQ(table->records(), 2);
  EXPECT_EQ(assigned.records(), 2);
}
