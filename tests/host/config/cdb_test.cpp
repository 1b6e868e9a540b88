// The cdb_ calls on the engine: values and each error.
#include <gmock/gmock.h>

#include "confd/error.h"
#include "confd/value_text.h"
#include "config/engine.h"
#include "runtime/process.h"
#include "support.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr char kRows[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class CdbTest : public ::testing::Test {
 protected:
  CdbTest() {
    process_.engine = &engine_;
    common::ClearError();
    engine_.ReplaceByFile(folder_.Write(
        "startup.json", CommunityJson(CommunityRow("a", "alpha") + "," + CommunityRow("b", "x"))));
    session_ = std::make_unique<VkConfdCdbSession>(&connection_, CDB_RUNNING, true);
  }
  ~CdbTest() override { session_.reset(); }

  int Socket() const { return session_->Socket(); }

  static void ExpectError(int code, const std::string& text) {
    EXPECT_EQ(confd_errno, code);
    EXPECT_THAT(confd_lasterr(), HasSubstr(text));
  }

  TestFolder folder_;
  Connection connection_;
  host::Process process_;
  host::Engine engine_{MODELS_FOLDER, folder_.Path("running.json"), nullptr};
  std::unique_ptr<VkConfdCdbSession> session_;
};

TEST_F(CdbTest, PathIsMadeOfFormatAndArguments) {
  confd_value_t value = {};
  ASSERT_EQ(cdb_get(Socket(), &value, "%s[%d]/%s", kRows, 1, "snmpCommunityIndex"), CONFD_OK);
  const common::OwnedValue key(value);
  EXPECT_EQ(common::ValueText(key.Value()), "b");
  ASSERT_EQ(cdb_get(Socket(), &value, "%s{%s}/snmpCommunitySecurityName", kRows, "a"), CONFD_OK);
  EXPECT_EQ(common::ValueText(value), "alpha");
  confd_free_value(&value);
  EXPECT_EQ(cdb_num_instances(Socket(), "%s", kRows), 2);
  EXPECT_STREQ(confd_lasterr(), "");
}

TEST_F(CdbTest, LeafListIsTheCallersToFree) {
  confd_value_t value = {};
  ASSERT_EQ(cdb_get(Socket(), &value, "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts"),
            CONFD_OK);
  EXPECT_EQ(CONFD_GET_LISTSIZE(&value), 0U);
  confd_free_value(&value);
}

TEST_F(CdbTest, NoSuchElement) {
  confd_value_t value = {C_BOOL, {}};
  EXPECT_EQ(cdb_get(Socket(), &value, "%s{c}/snmpCommunityName", kRows), CONFD_ERR);
  ExpectError(CONFD_ERR_NOEXISTS, "snmpCommunityEntry{c}/snmpCommunityName");
  EXPECT_EQ(cdb_get(Socket(), &value, "%s[2]/snmpCommunityName", kRows), CONFD_ERR);
  ExpectError(CONFD_ERR_NOEXISTS, "snmpCommunityEntry[2]/snmpCommunityName");
  EXPECT_EQ(value.type, C_BOOL);
}

TEST_F(CdbTest, NoPathOfTheSchema) {
  confd_value_t value = {C_BOOL, {}};
  for (const char* path : {"/confd_dyncfg:confdConfig/snmpAgent/typo", "no/path",
                           "/confd_dyncfg:confdConfig/snmpAgent", "/confdConfig/snmpAgent/ip{"}) {
    EXPECT_EQ(cdb_get(Socket(), &value, "%s", path), CONFD_ERR);
    ExpectError(CONFD_ERR_BADPATH, path);
    EXPECT_EQ(cdb_num_instances(Socket(), "%s", path), CONFD_ERR);
    ExpectError(CONFD_ERR_BADPATH, path);
  }
  EXPECT_EQ(cdb_num_instances(Socket(), "/confdConfig/snmpAgent/ip"), CONFD_ERR);
  ExpectError(CONFD_ERR_BADPATH, "/confdConfig/snmpAgent/ip");
  EXPECT_EQ(value.type, C_BOOL);
}

TEST_F(CdbTest, NoSession) {
  const int socket = Socket();
  session_.reset();
  confd_value_t value = {C_BOOL, {}};
  EXPECT_EQ(cdb_get(socket, &value, "%s[0]/snmpCommunityName", kRows), CONFD_ERR);
  ExpectError(CONFD_ERR_NOSESSION, "snmpCommunityEntry[0]/snmpCommunityName");
  EXPECT_EQ(cdb_num_instances(socket, "%s", kRows), CONFD_ERR);
  ExpectError(CONFD_ERR_NOSESSION, kRows);
  EXPECT_EQ(value.type, C_BOOL);
}

TEST_F(CdbTest, NoEngine) {
  process_.engine = nullptr;
  EXPECT_EQ(cdb_num_instances(Socket(), "%s", kRows), CONFD_ERR);
  ExpectError(CONFD_ERR_NOSESSION, kRows);
  EXPECT_THAT([this] { VkConfdCdbSession(&connection_, CDB_RUNNING, true); },
              ThrowsMessage<std::runtime_error>(HasSubstr("needs a connection")));
  process_.engine = &engine_;
}

TEST_F(CdbTest, SessionsHaveSocketsOfTheirOwn) {
  const VkConfdCdbSession other(&connection_, CDB_RUNNING, true);
  EXPECT_NE(other.Socket(), Socket());
  const int closed = Socket();
  session_.reset();
  EXPECT_EQ(cdb_num_instances(other.Socket(), "%s", kRows), 2);
  session_ = std::make_unique<VkConfdCdbSession>(&connection_, CDB_RUNNING, true);
  EXPECT_NE(Socket(), closed);
}

TEST_F(CdbTest, SessionsThatCannotBeOpened) {
  EXPECT_THAT([] { VkConfdCdbSession(nullptr, CDB_RUNNING, true); },
              ThrowsMessage<std::runtime_error>(HasSubstr("needs a connection")));
  EXPECT_THAT([this] { VkConfdCdbSession(&connection_, CDB_PRE_COMMIT_RUNNING, true); },
              ThrowsMessage<std::runtime_error>(HasSubstr("during its delivery only")));
  EXPECT_THAT([this] { VkConfdCdbSession(&connection_, static_cast<cdb_db_type>(3), true); },
              ThrowsMessage<std::runtime_error>(HasSubstr("no database 3")));
}

}  // namespace
}  // namespace host::test
