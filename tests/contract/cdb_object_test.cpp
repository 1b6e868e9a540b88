// Reads of whole entries, of numbers and of bytes.

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "contract_test.h"

namespace contract {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr char kTarget[] = "/snmp/target";
constexpr char kAddress[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry";
constexpr char kParameters[] =
    "/SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry";

/// Room for the values of entries; what a read leaves untouched prints as "7".
class Values {
 public:
  Values() { values_.fill(common::MakeUint16(7)); }
  ~Values() {
    for (confd_value_t& value : values_) confd_free_value(&value);
  }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  confd_value_t* Get() { return values_.data(); }
  confd_vtype Type(size_t place) const { return values_.at(place).type; }

  /// "none" for a value that is not there.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const confd_value_t& value : values_) {
      texts.push_back(value.type == C_NOEXISTS ? "none" : common::ValueText(value));
    }
    return texts;
  }

 private:
  std::array<confd_value_t, 8> values_;
};

class CdbObjectTest : public ContractTest {
 protected:
  /// Starts with two targets and opens a session.
  void SetUp() override {
    Start({false,
           "127.0.0.1",
           2161,
           {},
           {},
           {{"t1", "10.0.0.5", 162, "public", 1, "red"}, {"t2", "2001:db8::1", 65535, "ops", 3}},
           {{"red", 256}}},
          {&handler_});
    session_ = std::make_unique<VkConfdCdbSession>(handler_.Interface(), CDB_RUNNING, true);
  }

  int Socket() const { return session_->Socket(); }

  /// Expects that a read has failed so and changed nothing.
  static void ExpectRefused(int result, int code, const Values& values) {
    EXPECT_EQ(result, CONFD_ERR);
    EXPECT_EQ(confd_errno, code);
    EXPECT_STRNE(confd_lasterr(), "");
    EXPECT_THAT(values.Texts(), Each("7"));
  }

  /// The bytes at a path; "error <confd_errno>" when they cannot be read.
  std::string Bytes(const std::string& path) const {
    unsigned char* bytes = nullptr;
    int size = 0;
    if (cdb_get_binary(Socket(), &bytes, &size, "%s", path.c_str()) != CONFD_OK) {
      return "error " + std::to_string(confd_errno);
    }
    const std::string text(reinterpret_cast<char*>(bytes), static_cast<size_t>(size));
    free(bytes);
    return text;
  }

  std::unique_ptr<VkConfdCdbSession> session_;
  Values values_;
};

TEST_F(CdbObjectTest, EntryHasItsLeavesInTheOrderOfTheSchema) {
  EXPECT_EQ(cdb_get_object(Socket(), values_.Get(), 4, "%s{%s}", kTarget, "t1"), 4);
  EXPECT_THAT(values_.Texts(), ElementsAre("t1", "red", "10.0.0.5", "162", "7", "7", "7", "7"));
  EXPECT_EQ(values_.Type(0), C_BUF);
  EXPECT_EQ(values_.Type(1), C_BUF);
  EXPECT_EQ(values_.Type(2), C_IPV4);
  EXPECT_EQ(values_.Type(3), C_UINT16);
}

TEST_F(CdbObjectTest, LeafThatIsNotThereDoesNotExist) {
  EXPECT_EQ(cdb_get_object(Socket(), values_.Get(), 4, "%s[%d]", kTarget, 1), 4);
  EXPECT_THAT(values_.Texts(),
              ElementsAre("t2", "none", "2001:db8::1", "65535", "7", "7", "7", "7"));
  EXPECT_EQ(values_.Type(2), C_IPV6);
}

TEST_F(CdbObjectTest, FewerValuesAreTheFirstOnes) {
  EXPECT_EQ(cdb_get_object(Socket(), values_.Get(), 1, "%s{t1}", kTarget), 4);
  EXPECT_THAT(values_.Texts(), ElementsAre("t1", "7", "7", "7", "7", "7", "7", "7"));
}

TEST_F(CdbObjectTest, MoreValuesDoNotExist) {
  EXPECT_EQ(cdb_get_object(Socket(), values_.Get(), 6, "%s{t1}", kTarget), 4);
  EXPECT_THAT(values_.Texts(),
              ElementsAre("t1", "red", "10.0.0.5", "162", "none", "none", "7", "7"));
}

TEST_F(CdbObjectTest, EntriesStandBehindEachOther) {
  EXPECT_EQ(cdb_get_objects(Socket(), values_.Get(), 4, 0, 2, "%s", kTarget), 4);
  EXPECT_THAT(values_.Texts(),
              ElementsAre("t1", "red", "10.0.0.5", "162", "t2", "none", "2001:db8::1", "65535"));
}

TEST_F(CdbObjectTest, EntriesMayHaveFewerValues) {
  EXPECT_EQ(cdb_get_objects(Socket(), values_.Get(), 3, 0, 2, "%s", kTarget), 4);
  EXPECT_THAT(values_.Texts(),
              ElementsAre("t1", "red", "10.0.0.5", "t2", "none", "2001:db8::1", "7", "7"));
}

TEST_F(CdbObjectTest, EntriesThatAreNotThereLeaveTheirValuesUntouched) {
  EXPECT_EQ(cdb_get_objects(Socket(), values_.Get(), 2, 1, 3, "%s", kTarget), 4);
  EXPECT_THAT(values_.Texts(), ElementsAre("t2", "none", "7", "7", "7", "7", "7", "7"));
}

TEST_F(CdbObjectTest, ValuesOutliveTheSession) {
  ASSERT_EQ(cdb_get_object(Socket(), values_.Get(), 4, "%s{t1}", kTarget), 4);
  session_.reset();
  platform_->Commit({});
  EXPECT_THAT(values_.Texts(), ElementsAre("t1", "red", "10.0.0.5", "162", "7", "7", "7", "7"));
}

TEST_F(CdbObjectTest, MissingEntryIsRefused) {
  ExpectRefused(cdb_get_object(Socket(), values_.Get(), 4, "%s{t3}", kTarget), CONFD_ERR_NOEXISTS,
                values_);
  ExpectRefused(cdb_get_object(Socket(), values_.Get(), 4, "%s[2]", kTarget), CONFD_ERR_NOEXISTS,
                values_);
  ExpectRefused(cdb_get_objects(Socket(), values_.Get(), 4, 2, 1, "%s", kTarget),
                CONFD_ERR_NOEXISTS, values_);
}

TEST_F(CdbObjectTest, TextThatIsNoPathIsRefused) {
  ExpectRefused(cdb_get_object(Socket(), values_.Get(), 4, "%s{t1", kTarget), CONFD_ERR_BADPATH,
                values_);
  ExpectRefused(cdb_get_objects(Socket(), values_.Get(), 4, 0, 1, "%s{", kTarget),
                CONFD_ERR_BADPATH, values_);
}

TEST_F(CdbObjectTest, ClosedSessionIsRefused) {
  const int socket = Socket();
  session_.reset();
  ExpectRefused(cdb_get_object(socket, values_.Get(), 4, "%s{t1}", kTarget), CONFD_ERR_NOSESSION,
                values_);
  ExpectRefused(cdb_get_objects(socket, values_.Get(), 4, 0, 1, "%s", kTarget), CONFD_ERR_NOSESSION,
                values_);
}

TEST_F(CdbObjectTest, NumberIsReadAsItIs) {
  int32_t model = 7;
  EXPECT_EQ(cdb_get_int32(Socket(), &model, "%s{%s}/snmpTargetParamsMPModel", kParameters, "t2"),
            CONFD_OK);
  EXPECT_EQ(model, 3);
}

TEST_F(CdbObjectTest, NumberThatCannotBeReadStaysUntouched) {
  int32_t model = 7;
  EXPECT_EQ(cdb_get_int32(Socket(), &model, "%s{t3}/snmpTargetParamsMPModel", kParameters),
            CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOEXISTS);
  for (const char* leaf : {"udp-port", "name", "ip"}) {
    EXPECT_EQ(cdb_get_int32(Socket(), &model, "%s{t1}/%s", kTarget, leaf), CONFD_ERR) << leaf;
    EXPECT_EQ(confd_errno, CONFD_ERR_BADTYPE) << leaf;
  }
  EXPECT_EQ(model, 7);
}

TEST_F(CdbObjectTest, BytesAreReadWithTheirLength) {
  EXPECT_EQ(Bytes(std::string(kAddress) + "{t1}/snmpTargetAddrTAddress"),
            std::string("\x0a\0\0\x05\0\xa2", 6));
  EXPECT_EQ(Bytes(std::string(kAddress) + "{t2}/snmpTargetAddrTAddress"),
            std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01\xff\xff", 18));
}

TEST_F(CdbObjectTest, BytesAreTheCallersOwnCopy) {
  unsigned char* bytes = nullptr;
  int size = 0;
  const std::string path = std::string(kAddress) + "{t1}/snmpTargetAddrTAddress";
  ASSERT_EQ(cdb_get_binary(Socket(), &bytes, &size, "%s", path.c_str()), CONFD_OK);
  ASSERT_EQ(size, 6);
  bytes[0] = 99;
  EXPECT_EQ(Bytes(path).substr(0, 1), "\x0a");
  session_.reset();
  EXPECT_EQ(bytes[5], 162) << "behind the session";
  free(bytes);
}

TEST_F(CdbObjectTest, BytesThatCannotBeReadStayUntouched) {
  unsigned char own = 0;
  unsigned char* bytes = &own;
  int size = 7;
  EXPECT_EQ(cdb_get_binary(Socket(), &bytes, &size, "%s{t3}/snmpTargetAddrTAddress", kAddress),
            CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_NOEXISTS);
  EXPECT_EQ(cdb_get_binary(Socket(), &bytes, &size, "%s{t1}/snmpTargetAddrParams", kAddress),
            CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_BADTYPE);
  EXPECT_EQ(bytes, &own);
  EXPECT_EQ(size, 7);
}

TEST_F(CdbObjectTest, BytesAreNoText) {
  char text[8] = "before";
  EXPECT_EQ(cdb_get_str(Socket(), text, sizeof text, "%s{t1}/snmpTargetAddrTAddress", kAddress),
            CONFD_ERR);
  EXPECT_EQ(confd_errno, CONFD_ERR_BADTYPE);
  EXPECT_STREQ(text, "before");
}

}  // namespace
}  // namespace contract
