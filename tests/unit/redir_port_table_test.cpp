// The table of redirect ports.

#include "app/redir_port_table.h"

#include <gtest/gtest.h>

namespace {

TEST(RedirPortTableTest, PortsAreHandedOutFromTheFirstOn) {
  RedirPortTable table;
  EXPECT_EQ(60600, kFirstRedirPort);
  EXPECT_EQ(60600, table.Allocate("l3-a"));
  EXPECT_EQ(60601, table.Allocate("l3-b"));
}

TEST(RedirPortTableTest, NameKeepsItsPort) {
  RedirPortTable table;
  table.Allocate("l3-a");
  EXPECT_EQ(60600, table.Allocate("l3-a"));
  EXPECT_EQ(60601, table.Allocate("l3-b")) << "asking again has made a row";
}

TEST(RedirPortTableTest, GapsAreFilledFirst) {
  RedirPortTable table;
  table.Add("l3-a", 60600);
  table.Add("l3-c", 60602);
  EXPECT_EQ(60601, table.Allocate("l3-b"));
  EXPECT_EQ(60603, table.Allocate("l3-d"));
}

TEST(RedirPortTableTest, ErasedPortIsHandedOutAgain) {
  RedirPortTable table;
  for (const char* name : {"l3-a", "l3-b", "l3-c"}) table.Allocate(name);
  table.Erase("l3-b");
  table.Erase("l3-a");
  EXPECT_EQ(60600, table.Allocate("l3-d"));
  EXPECT_EQ(60601, table.Allocate("l3-e"));
  EXPECT_EQ(60603, table.Allocate("l3-f"));
}

TEST(RedirPortTableTest, ErasedNameGetsTheLowestFreePort) {
  RedirPortTable table;
  table.Allocate("l3-a");
  table.Allocate("l3-b");
  table.Erase("l3-a");
  table.Erase("l3-b");
  EXPECT_EQ(60600, table.Allocate("l3-b")) << "its name was left in the table";
}

TEST(RedirPortTableTest, ErasedNameAndPortCanBeAddedAnew) {
  RedirPortTable table;
  table.Add("l3-a", 60610);
  table.Erase("l3-a");
  table.Add("l3-b", 60610);
  table.Add("l3-a", 60611);
  EXPECT_EQ(60610, table.Allocate("l3-b")) << "the port was left in the table";
  EXPECT_EQ(60611, table.Allocate("l3-a")) << "the name was left in the table";
}

TEST(RedirPortTableTest, RefusedAdditionLeavesNeitherNameNorPort) {
  RedirPortTable table;
  table.Add("l3-a", 60600);
  table.Add("l3-b", 60600);
  table.Add("l3-a", 60601);
  EXPECT_EQ(60601, table.Allocate("l3-b")) << "refused by its port, the name has none";
  table.Erase("l3-b");
  EXPECT_EQ(60601, table.Allocate("l3-c")) << "refused by its name, the port is free";
  EXPECT_EQ(60600, table.Allocate("l3-a"));
}

TEST(RedirPortTableTest, PortAddedBehindASearchIsFound) {
  RedirPortTable table;
  EXPECT_EQ(60600, table.Allocate("l3-a"));
  table.Add("l3-c", 60601);
  EXPECT_EQ(60602, table.Allocate("l3-d"));
  table.Erase("l3-c");
  EXPECT_EQ(60601, table.Allocate("l3-e"));
  EXPECT_EQ(60603, table.Allocate("l3-f"));
}

TEST(RedirPortTableTest, ErasureOfAnUnknownNameChangesNothing) {
  RedirPortTable table;
  table.Allocate("l3-a");
  table.Erase("l3-b");
  EXPECT_EQ(60600, table.Allocate("l3-a"));
}

TEST(RedirPortTableTest, NameHasOnePortAndPortOneName) {
  RedirPortTable table;
  table.Add("l3-a", 60610);
  table.Add("l3-a", 60611);
  table.Add("l3-b", 60610);
  EXPECT_EQ(60610, table.Allocate("l3-a"));
  EXPECT_EQ(60600, table.Allocate("l3-b"));
}

TEST(RedirPortTableTest, PortBelowTheFirstIsKeptAndNeverHandedOut) {
  RedirPortTable table;
  table.Add("l3-a", 161);
  EXPECT_EQ(161, table.Allocate("l3-a"));
  table.Erase("l3-a");
  EXPECT_EQ(60600, table.Allocate("l3-b"));
}

TEST(RedirPortTableTest, YieldsZeroWhenAllPortsAreTakenUntilOneIsFree) {
  RedirPortTable table;
  for (int port = 60600; port <= 65535; ++port) {
    ASSERT_EQ(port, table.Allocate("l3-" + std::to_string(port)));
  }
  EXPECT_EQ(0, table.Allocate("l3-late"));
  EXPECT_EQ(0, table.Allocate("l3-later"));
  table.Erase("l3-65535");
  EXPECT_EQ(65535, table.Allocate("l3-next"));
  EXPECT_EQ(0, table.Allocate("l3-late")) << "a name keeps what it was given";
}

}  // namespace
