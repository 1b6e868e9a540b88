// What the fake device adds to reads of whole entries, numbers and bytes: it has no schema.

#include <array>
#include <cstdlib>
#include <limits>

#include "confd/value_text.h"
#include "confd_cdb.h"
#include "device_test.h"
#include "vkconfd/cdb_session.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

class FakeObjectTest : public DeviceTest {
 protected:
  FakeObjectTest() {
    for (confd_value_t& value : values_) value = common::MakeUint8(7);
  }
  ~FakeObjectTest() override {
    for (confd_value_t& value : values_) confd_free_value(&value);
  }

  fake::Database& Running() const { return device_.confd.running; }

  void AddTarget(const std::string& name) {
    Running().AddEntry("/snmp/target", {{"name", common::MakeBuf(name)}});
  }

  /// "none" for a value that is not there.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const confd_value_t& value : values_) {
      texts.push_back(value.type == C_NOEXISTS ? "none" : common::ValueText(value));
    }
    return texts;
  }

  int GetObject(int n, const char* path) {
    const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
    return cdb_get_object(session.Socket(), values_.data(), n, "%s", path);
  }
  int GetObjects(int n, int ix, int nobj, const char* path) {
    const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
    return cdb_get_objects(session.Socket(), values_.data(), n, ix, nobj, "%s", path);
  }

  /// Expects that a read has failed so and touched no value.
  void ExpectRefused(int result, int code, const std::string& text) const {
    EXPECT_EQ(CONFD_ERR, result);
    EXPECT_EQ(code, confd_errno);
    EXPECT_EQ(text, confd_lasterr());
    EXPECT_THAT(Texts(), Each("7"));
  }

  std::array<confd_value_t, 4> values_ = {};
};

TEST_F(FakeObjectTest, LeavesHaveTheOrderOfTheSchemaHoweverTheyWereSet) {
  Running().Set("/snmp/target{t1}/udp-port", common::MakeUint16(162));
  Running().Set("/snmp/target{t1}/vrf", common::MakeBuf("red"));
  Running().Set("/snmp/target{t1}/other", common::MakeBuf("not among them"));
  EXPECT_EQ(4, GetObject(4, "/snmp/target{t1}"));
  EXPECT_THAT(Texts(), ElementsAre("none", "red", "none", "162"));
}

TEST_F(FakeObjectTest, ValuesAreCopies) {
  AddTarget("t1");
  EXPECT_EQ(4, GetObject(1, "/snmp/target{t1}"));
  Running().Delete("/snmp/target{t1}");
  EXPECT_THAT(Texts(), ElementsAre("t1", "7", "7", "7"));
}

TEST_F(FakeObjectTest, EntriesComeInTheOrderOfTheirCreation) {
  for (const char* name : {"c", "a", "b"}) AddTarget(name);
  EXPECT_EQ(4, GetObjects(1, 1, 9, "/snmp/target"));
  EXPECT_THAT(Texts(), ElementsAre("a", "b", "7", "7"));
}

TEST_F(FakeObjectTest, NoEntriesAreAskedForSoNoneIsThere) {
  AddTarget("t1");
  ExpectRefused(GetObjects(1, 0, 0, "/snmp/target"), CONFD_ERR_NOEXISTS,
                "/snmp/target has no such entry");
  ExpectRefused(GetObjects(1, 1, 1, "/snmp/target"), CONFD_ERR_NOEXISTS,
                "/snmp/target has no such entry");
}

TEST_F(FakeObjectTest, OrderOfOtherEntriesIsNotKnown) {
  Running().AddEntry("/rows", {{"name", common::MakeBuf("r")}});
  ExpectRefused(GetObject(1, "/rows{r}"), CONFD_ERR_BADPATH, "unknown leaves of rows");
  ExpectRefused(GetObjects(1, 0, 1, "/rows"), CONFD_ERR_BADPATH, "unknown leaves of rows");
}

TEST_F(FakeObjectTest, ReadsAreTakenDownAndRefused) {
  AddTarget("t1");
  device_.confd.RefuseNext("cdb_get_object /", CONFD_ERR_EXTERNAL, "not now");
  device_.confd.RefuseNext("cdb_get_objects", CONFD_ERR_EXTERNAL, "nor now");
  ExpectRefused(GetObjects(1, 0, 1, "/snmp/target"), CONFD_ERR_EXTERNAL, "nor now");
  ExpectRefused(GetObject(1, "/snmp/target{t1}"), CONFD_ERR_EXTERNAL, "not now");
  EXPECT_THAT(device_.Events("cdb"),
              ElementsAre("cdb_get_objects /snmp/target", "cdb_get_object /snmp/target{t1}"));
}

TEST_F(FakeObjectTest, NumbersKeepTheirSign) {
  const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
  for (const int32_t number :
       {std::numeric_limits<int32_t>::min(), -1, std::numeric_limits<int32_t>::max()}) {
    Running().Set("/a/number", common::MakeInt32(number));
    int32_t read = 0;
    EXPECT_EQ(CONFD_OK, cdb_get_int32(session.Socket(), &read, "/%s/number", "a"));
    EXPECT_EQ(number, read);
  }
  EXPECT_THAT(device_.Events("cdb"), Each("cdb_get_int32 /a/number"));
}

TEST_F(FakeObjectTest, NumberOfAnotherTypeIsRefused) {
  const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
  Running().Set("/a/flag", common::MakeBool(true));
  Running().Set("/a/number", common::MakeInt32(1));
  int32_t number = 5;
  ExpectRefused(cdb_get_int32(session.Socket(), &number, "/a/flag"), CONFD_ERR_BADTYPE,
                "/a/flag is of another type");
  EXPECT_EQ(5, number);
  int flag = 5;
  ExpectRefused(cdb_get_bool(session.Socket(), &flag, "/a/number"), CONFD_ERR_BADTYPE,
                "/a/number is of another type");
  EXPECT_EQ(5, flag);
}

TEST_F(FakeObjectTest, BytesMayBeNoneButAreThere) {
  const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
  Running().Set("/a/bytes", common::MakeBinary(""));
  unsigned char* bytes = nullptr;
  int size = 5;
  EXPECT_EQ(CONFD_OK, cdb_get_binary(session.Socket(), &bytes, &size, "/a/%s", "bytes"));
  EXPECT_EQ(0, size);
  EXPECT_NE(nullptr, bytes);
  free(bytes);
  EXPECT_THAT(device_.Events("cdb"), ElementsAre("cdb_get_binary /a/bytes"));
}

TEST_F(FakeObjectTest, TextIsNoBytes) {
  const VkConfdCdbSession session(&device_.confd.interface, CDB_RUNNING, true);
  Running().Set("/a/text", common::MakeBuf("text"));
  unsigned char* bytes = nullptr;
  int size = 5;
  ExpectRefused(cdb_get_binary(session.Socket(), &bytes, &size, "/a/text"), CONFD_ERR_BADTYPE,
                "/a/text is of another type");
  EXPECT_EQ(nullptr, bytes);
  EXPECT_EQ(5, size);
}

}  // namespace
