// Element names and their hashes.

#include "confd/tag_table.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using common::TagTable;

TEST(TagTableTest, DefinedHashAndNameAreFound) {
  TagTable table;
  table.Define("ip", 0x61FA2CDB);
  EXPECT_EQ(0x61FA2CDBU, table.Hash("ip"));
  ASSERT_NE(nullptr, table.Name(0x61FA2CDB));
  EXPECT_EQ("ip", *table.Name(0x61FA2CDB));
}

TEST(TagTableTest, DefiningTheSameTwiceIsHarmless) {
  TagTable table;
  table.Define("ip", 1);
  EXPECT_NO_THROW(table.Define("ip", 1));
}

TEST(TagTableTest, OtherNamesHaveAComputedPositiveHash) {
  TagTable table;
  const uint32_t hash = table.Hash("listen");
  EXPECT_EQ(hash, table.Hash("listen"));
  EXPECT_EQ(hash, TagTable().Hash("listen")) << "depends on the table";
  EXPECT_NE(hash, table.Hash("interface"));
  for (const char* name : {"", "a", "listen", "interface", "udp-port"}) {
    EXPECT_GE(0x7FFFFFFFU, table.Hash(name)) << name;
  }
  EXPECT_EQ("listen", *table.Name(hash));
}

TEST(TagTableTest, UnknownHashHasNoName) { EXPECT_EQ(nullptr, TagTable().Name(1)); }

/// The reason for which a definition is refused; "" when it is taken.
std::string Refusal(TagTable* table, const std::string& name, uint32_t hash) {
  try {
    table->Define(name, hash);
    return "";
  } catch (const std::runtime_error& exception) {
    return exception.what();
  }
}

TEST(TagTableTest, NameWithTwoHashesIsRefused) {
  TagTable table;
  table.Define("ip", 1);
  EXPECT_EQ("element ip has two tag hashes, 0x00000001 and 0x000000AB",
            Refusal(&table, "ip", 0xAB));
  EXPECT_EQ(1U, table.Hash("ip"));
}

TEST(TagTableTest, HashWithTwoNamesIsRefused) {
  TagTable table;
  table.Define("ip", 1);
  EXPECT_EQ("elements ip and port have the same tag hash 0x00000001", Refusal(&table, "port", 1));
  EXPECT_EQ("ip", *table.Name(1));
}

TEST(TagTableTest, RefusedNameIsNotRemembered) {
  TagTable table;
  table.Define("ip", 1);
  EXPECT_THROW(table.Define("port", 1), std::runtime_error);
  EXPECT_NE(1U, table.Hash("port"));
}

TEST(TagTableTest, ComputedHashOfAnotherNameIsRefusedEachTime) {
  TagTable table;
  table.Define("other", TagTable().Hash("listen"));
  EXPECT_THROW(table.Hash("listen"), std::runtime_error);
  EXPECT_THROW(table.Hash("listen"), std::runtime_error);
}

TEST(TagTableTest, GlobalTableIsOne) { EXPECT_EQ(&TagTable::Global(), &TagTable::Global()); }

}  // namespace
