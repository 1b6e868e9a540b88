// The configuration in memory and the changes between two.

#include "confd/fake_database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "confd/fake_differences.h"
#include "confd/tag_table.h"
#include "confd/value_text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string Read(const fake::Database& database, const std::string& path) {
  const fake::Node* node = database.Find(path);
  if (node == nullptr) return "nothing";
  return node->value.IsSet() ? common::ValueText(node->value.Value()) : "no leaf";
}

void AddTarget(fake::Database* database, const std::string& name, uint16_t port) {
  database->AddEntry("/snmp/target", {{"name", common::MakeBuf(name)}});
  database->Set("/snmp/target{" + name + "}/port", common::MakeUint16(port));
}

TEST(FakeDatabaseTest, ModulePrefixesAreDropped) {
  fake::Database database;
  database.Set("/mod:a/b", common::MakeUint16(1));
  EXPECT_EQ("1", Read(database, "/a/other:b"));
  EXPECT_EQ("no leaf", Read(database, "/a"));
  EXPECT_EQ("nothing", Read(database, "/a/c"));
  EXPECT_EQ("nothing", Read(database, "/a/b/c"));
}

TEST(FakeDatabaseTest, EntriesAreFoundByKeyAndPosition) {
  fake::Database database;
  AddTarget(&database, "t1", 161);
  AddTarget(&database, "t2", 162);
  EXPECT_EQ(2, database.Instances("/x:snmp/target"));
  EXPECT_EQ("162", Read(database, "/snmp/target{t2}/port"));
  EXPECT_EQ("t2", Read(database, "/snmp/target[1]/name"));
  EXPECT_EQ("nothing", Read(database, "/snmp/target[2]/name"));
  EXPECT_EQ("nothing", Read(database, "/snmp/target{t3}/name"));
  EXPECT_EQ("nothing", Read(database, "/snmp/target/name"));
}

TEST(FakeDatabaseTest, ListsOfAbsentParentsHaveNoEntries) {
  const fake::Database database;
  EXPECT_EQ(0, database.Instances("/snmp/target"));
  EXPECT_EQ(0, database.Instances("/target"));
}

TEST(FakeDatabaseTest, DeletesElementsAndEmptiesLeafLists) {
  fake::Database database;
  AddTarget(&database, "t1", 161);
  AddTarget(&database, "t2", 162);
  database.Set("/list", common::MakeList({common::MakeUint16(1)}));
  database.Delete("/snmp/target[0]");
  database.Delete("/list");
  EXPECT_EQ("t2", Read(database, "/snmp/target[0]/name"));
  EXPECT_EQ("[ ]", Read(database, "/list"));
  EXPECT_THROW(database.Delete("/snmp/target{t1}"), std::out_of_range);
  EXPECT_THROW(database.Delete("/none/leaf"), std::out_of_range);
}

TEST(FakeDatabaseTest, CopyIsIndependent) {
  fake::Database database;
  database.Set("/a", common::MakeBuf("old"));
  const fake::Database copy = database.Copy();
  database.Set("/a", common::MakeBuf("new"));
  EXPECT_EQ("old", Read(copy, "/a"));
  EXPECT_EQ("new", Read(database, "/a"));
}

TEST(FakeDatabaseTest, RefusesWhatIsNoPlace) {
  fake::Database database;
  EXPECT_THROW(database.Set("a", common::MakeBuf("text")), std::invalid_argument);
  EXPECT_THROW(database.Set("/a[0]/b", common::MakeBuf("text")), std::invalid_argument);
  EXPECT_THROW(database.Find("/"), std::invalid_argument);
}

/// One line for each change, those below indented.
void Describe(const std::vector<common::Change>& changes, const std::string& indent,
              std::vector<std::string>* lines) {
  static constexpr const char* kNames[] = {"nop", "created", "deleted", "modified", "set"};
  for (const common::Change& change : changes) {
    std::string line = indent + kNames[change.op] + " ";
    line += *common::TagTable::Global().Name(change.tag);
    for (const common::OwnedValue& key : change.keys) {
      line += " {" + common::ValueText(key.Value()) + "}";
    }
    if (change.old_value.IsSet()) line += " from " + common::ValueText(change.old_value.Value());
    if (change.new_value.IsSet()) line += " to " + common::ValueText(change.new_value.Value());
    lines->push_back(line);
    Describe(change.children, indent + "  ", lines);
  }
}

class DifferencesTest : public ::testing::Test {
 protected:
  DifferencesTest() {
    AddTarget(&before_, "t1", 161);
    AddTarget(&before_, "t2", 162);
    before_.Set("/top/leaf", common::MakeUint16(1));
    before_.Set("/top/list", common::MakeList({common::MakeUint16(1)}));
    after_ = before_.Copy();
  }

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    Describe(fake::Differences(before_, after_), "", &lines);
    return lines;
  }

  fake::Database before_;
  fake::Database after_;
};

TEST_F(DifferencesTest, SameConfigurationsHaveNone) {
  after_.Set("/top/leaf", common::MakeUint16(1));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(DifferencesTest, LeafIsSetOrDeleted) {
  after_.Set("/top/leaf", common::MakeUint16(2));
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  set leaf from 1 to 2"));
  after_.Delete("/top/leaf");
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  deleted leaf from 1"));
  before_.Delete("/top/leaf");
  after_.Set("/top/leaf", common::MakeUint16(2));
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  set leaf to 2"));
}

TEST_F(DifferencesTest, OtherTypeIsAnotherValue) {
  after_.Set("/top/leaf", common::MakeUint32(1));
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  set leaf from 1 to 1"));
}

TEST_F(DifferencesTest, LeafListIsSetAsOneValue) {
  after_.Set("/top/list", common::MakeList({common::MakeUint16(1), common::MakeUint16(2)}));
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  set list from [ 1 ] to [ 1 2 ]"));
  after_.Delete("/top/list");
  EXPECT_THAT(Lines(), ElementsAre("modified top", "  set list from [ 1 ] to [ ]"));
}

TEST_F(DifferencesTest, EntriesAreCreatedDeletedAndModifiedWithoutTheirKeyLeaves) {
  AddTarget(&after_, "t3", 163);
  after_.Delete("/snmp/target{t1}");
  after_.Set("/snmp/target{t2}/port", common::MakeUint16(1162));
  EXPECT_THAT(Lines(), ElementsAre("modified snmp", "  deleted target {t1}",
                                   "  modified target {t2}", "    set port from 162 to 1162",
                                   "  created target {t3}", "    set port to 163"));
}

TEST_F(DifferencesTest, LeavesOfADeletedContainerAreDeleted) {
  after_ = fake::Database();
  after_.Set("/other", common::MakeBool(true));
  EXPECT_THAT(Lines(), ElementsAre("modified snmp", "  deleted target {t1}",
                                   "  deleted target {t2}", "modified top", "  deleted leaf from 1",
                                   "  deleted list from [ 1 ]", "set other to true"));
}

TEST_F(DifferencesTest, EntryWithoutKeyLeavesHasItsKeysAsText) {
  after_.Set("/rows{a 1}/leaf", common::MakeUint16(5));
  EXPECT_THAT(Lines(), ElementsAre("created rows {a} {1}", "  set leaf to 5"));
}

}  // namespace
