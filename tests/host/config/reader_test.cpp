#include "config/reader.h"

#include <gmock/gmock.h>

#include "confd/value_text.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr char kAgent[] = "/confd_dyncfg:confdConfig/snmpAgent/";
constexpr char kRows[] =
    "/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";

class Readings : public ::testing::Test {
 protected:
  void Load(const host::Schema& models, const std::string& json) {
    reader_ = std::make_unique<host::Reader>(models, Read(models, json));
  }

  /// The value's type and text, "none" for a missing element.
  std::string Get(const std::string& path) {
    const common::OwnedValue value(reader_->Get(path));
    if (!value.IsSet()) return "none";
    return std::to_string(value.Value().type) + " " + common::ValueText(value.Value());
  }

  static std::string Typed(confd_vtype type, const std::string& text) {
    return std::to_string(type) + " " + text;
  }

  void ExpectRefused(const std::string& path, const std::string& reason) {
    EXPECT_THAT([&] { reader_->Get(path); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(reason)));
  }

  std::unique_ptr<host::Reader> reader_;
};

TEST_F(Readings, DefaultsOfTheAgent) {
  Load(DeviceModels(), "{}");
  EXPECT_EQ(Get(std::string(kAgent) + "enabled"), Typed(C_BOOL, "false"));
  EXPECT_EQ(Get(std::string(kAgent) + "ip"), Typed(C_IPV4, "0.0.0.0"));
  EXPECT_EQ(Get(std::string(kAgent) + "port"), Typed(C_UINT16, "161"));
  EXPECT_EQ(Get(std::string(kAgent) + "extraIpPorts"), Typed(C_LIST, "[ ]"));
}

TEST_F(Readings, ValuesOfTheAgent) {
  Load(DeviceModels(), AgentJson(R"("enabled": true, "ip": "2001:DB8:0::1", "port": 65535,
                                    "extraIpPorts": ["10.0.0.1:161", "[::1]:162"])"));
  EXPECT_EQ(Get(std::string(kAgent) + "enabled"), Typed(C_BOOL, "true"));
  EXPECT_EQ(Get(std::string(kAgent) + "ip"), Typed(C_IPV6, "2001:db8::1"));
  EXPECT_EQ(Get(std::string(kAgent) + "port"), Typed(C_UINT16, "65535"));
  EXPECT_EQ(Get(std::string(kAgent) + "extraIpPorts"), Typed(C_LIST, "[ 10.0.0.1:161 [::1]:162 ]"));
}

TEST_F(Readings, EntriesOfALeafList) {
  Load(DeviceModels(), AgentJson(R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"])"));
  const std::string list = std::string(kAgent) + "extraIpPorts";
  EXPECT_EQ(Get(list + "{10.0.0.2:161}"), Typed(C_BUF, "10.0.0.2:161"));
  EXPECT_EQ(Get(list + "{10.0.0.3:161}"), "none");
  EXPECT_EQ(Get(list + "{nonsense}"), "none");
  EXPECT_EQ(Get(list + "[1]"), Typed(C_BUF, "10.0.0.2:161"));
  EXPECT_EQ(Get(list + "[2]"), "none");
  EXPECT_EQ(reader_->Count(list), 2);
}

TEST_F(Readings, IntegersAndOtherTypes) {
  Load(ShapeModels(), R"({"shapes:shapes": {"small": 255, "wide": 4294967295,
                          "signed": -2147483648, "huge": "18446744073709551615",
                          "word": "high", "left": "text"}})");
  EXPECT_EQ(Get("/shapes/small"), Typed(C_UINT8, "255"));
  EXPECT_EQ(Get("/shapes/wide"), Typed(C_UINT32, "4294967295"));
  EXPECT_EQ(Get("/shapes/signed"), Typed(C_INT32, "-2147483648"));
  EXPECT_EQ(Get("/shapes/huge"), Typed(C_BUF, "18446744073709551615"));
  EXPECT_EQ(Get("/shapes/word"), Typed(C_BUF, "high"));
  EXPECT_EQ(Get("/shapes/left"), Typed(C_BUF, "text"));
  EXPECT_EQ(Get("/shapes/right"), "none");
  EXPECT_EQ(Get("/shapes/feature/level"), "none");
}

TEST_F(Readings, RowsByKeyAndByIndex) {
  Load(DeviceModels(), CommunityJson(CommunityRow("b", "beta") + "," + CommunityRow("a", "alpha")));
  const std::string rows = kRows;
  EXPECT_EQ(reader_->Count(rows), 2);
  EXPECT_EQ(Get(rows + "{a}/snmpCommunitySecurityName"), Typed(C_BUF, "alpha"));
  EXPECT_EQ(Get(rows + "{c}/snmpCommunitySecurityName"), "none");
  EXPECT_EQ(Get(rows + "[0]/snmpCommunityIndex"), Typed(C_BUF, "b"));
  EXPECT_EQ(Get(rows + "[1]/snmpCommunityIndex"), Typed(C_BUF, "a"));
  EXPECT_EQ(Get(rows + "[2]/snmpCommunityIndex"), "none");
  EXPECT_EQ(Get(rows + "[0]/snmpCommunityIndex"), Typed(C_BUF, "b"));
}

TEST_F(Readings, KeysThatNoRowCanHave) {
  Load(DeviceModels(), CommunityJson(CommunityRow("it's", "alpha")));
  const std::string rows = kRows;
  EXPECT_EQ(Get(rows + "{it's}/snmpCommunitySecurityName"), Typed(C_BUF, "alpha"));
  EXPECT_EQ(Get(rows + "{a\"b}/snmpCommunitySecurityName"), "none");
  EXPECT_EQ(Get(rows + "{" + std::string(33, 'x') + "}/snmpCommunitySecurityName"), "none");
  EXPECT_EQ(Get(rows + "{}/snmpCommunitySecurityName"), "none");
}

TEST_F(Readings, SeveralKeysAndListsBelowLists) {
  Load(ShapeModels(), R"({"shapes:shapes": {"outer": [
      {"name": "a", "number": 1, "details": {"inner": [{"id": "x", "value": 1},
                                                       {"id": "y", "value": 2}]}},
      {"name": "a", "number": 2, "details": {"inner": [{"id": "x", "value": 3}]}}]}})");
  EXPECT_EQ(Get("/shapes/outer{a 1}/details/inner{y}/value"), Typed(C_INT32, "2"));
  EXPECT_EQ(Get("/shapes/outer{a 2}/details/inner{x}/value"), Typed(C_INT32, "3"));
  EXPECT_EQ(Get("/shapes/outer{a 3}/details/inner{x}/value"), "none");
  EXPECT_EQ(Get("/shapes/outer[1]/details/inner[0]/value"), Typed(C_INT32, "3"));
  EXPECT_EQ(Get("/shapes/outer[0]/details/inner[1]/value"), Typed(C_INT32, "2"));
  EXPECT_EQ(reader_->Count("/shapes/outer{a 1}/details/inner"), 2);
  EXPECT_EQ(reader_->Count("/shapes/outer{b 1}/details/inner"), 0);
}

TEST_F(Readings, LeafListWithoutItsParentDoesNotExist) {
  Load(ShapeModels(), "{}");
  EXPECT_EQ(Get("/shapes/ranking"), Typed(C_LIST, "[ ]"));
  EXPECT_EQ(reader_->Count("/shapes/outer"), 0);
}

TEST_F(Readings, PathsThatHaveNoValueAreRefused) {
  Load(DeviceModels(), CommunityJson(CommunityRow("a", "alpha")));
  ExpectRefused("/confdConfig/snmpAgent", "\"snmpAgent\" is no leaf");
  ExpectRefused(kRows, "\"snmpCommunityEntry\" is no leaf");
  ExpectRefused(std::string(kRows) + "{a}", "is no leaf");
  ExpectRefused("/confdConfig/typo/ip", "path \"/confdConfig/typo/ip\": element \"typo\"");
  ExpectRefused("confdConfig", "'/' is missing");
  EXPECT_THROW(reader_->Count("/confdConfig/snmpAgent/ip"), std::invalid_argument);
  EXPECT_THROW(reader_->Count(std::string(kRows) + "{a}"), std::invalid_argument);
}

TEST_F(Readings, RefusedKeysLeaveNothingBehindInTheContext) {
  Load(DeviceModels(), "{}");
  Get(std::string(kAgent) + "extraIpPorts{nonsense}");
  Load(DeviceModels(), AgentJson(R"("extraIpPorts": ["10.0.0.1:161"])"));
  Get(std::string(kAgent) + "extraIpPorts{nonsense}");
  EXPECT_EQ(ly_err_first(DeviceModels().Context()), nullptr);
}

}  // namespace
}  // namespace host::test
