// The routing rules that the targets of a configuration ask for.
#include "framework/target_rules.h"

#include <gmock/gmock.h>

#include <boost/asio/ip/address.hpp>
#include <stdexcept>

#include "config/engine.h"
#include "runtime/process.h"
#include "support.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

/// A target at 10.0.0.`host` or, where it is above 255, at 2001:db8::`host`; an empty VRF is none.
struct Target {
  int host;
  std::string vrf;
  unsigned int port;
};

std::string AddressText(const Target& target) {
  return (target.host > 255 ? "2001:db8::" : "10.0.0.") + std::to_string(target.host);
}

std::string Base64(const std::string& bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    unsigned int group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | static_cast<uint8_t>(bytes[i + k]);
    for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[group >> shift & 63];
  }
  return text;
}

/// Address and port in network order, 6 or 18 bytes.
std::string TransportAddress(const Target& target) {
  const auto address = boost::asio::ip::make_address(AddressText(target));
  std::string bytes;
  if (address.is_v4()) {
    for (const unsigned char byte : address.to_v4().to_bytes()) bytes += static_cast<char>(byte);
  } else {
    for (const unsigned char byte : address.to_v6().to_bytes()) bytes += static_cast<char>(byte);
  }
  bytes += static_cast<char>(target.port >> 8);
  return bytes + static_cast<char>(target.port & 0xff);
}

std::string EntryJson(const std::string& name, const Target& target) {
  const std::string vrf = target.vrf.empty() ? "" : R"("vrf": ")" + target.vrf + "\", ";
  return R"({"name": ")" + name + "\", " + vrf + R"("ip": ")" + AddressText(target) +
         R"(", "udp-port": )" + std::to_string(target.port) + "}";
}

std::string RowJson(const std::string& name, const Target& target) {
  return R"({"snmpTargetAddrName": ")" + name + R"(", "snmpTargetAddrTAddress": ")" +
         Base64(TransportAddress(target)) + R"(", "snmpTargetAddrParams": "p"})";
}

constexpr char kVrfsJson[] =
    R"("metacli-internal:internal": {"vrf-config": {"stringTOindex": [)"
    R"({"name": "red", "vrf-idx": 256}, {"name": "blue", "vrf-idx": 7}]}})";
constexpr char kParamsJson[] =
    R"("snmpTargetParamsTable": {"snmpTargetParamsEntry": [{"snmpTargetParamsName": "p", )"
    R"("snmpTargetParamsMPModel": 1, "snmpTargetParamsSecurityName": "public"}]})";

/// Targets "t0", "t1" and so on, their rows, and the VRFs "red", 256, and "blue", 7.
std::string TargetsJson(const std::vector<Target>& targets) {
  std::string entries;
  std::string rows;
  for (size_t i = 0; i < targets.size(); ++i) {
    const std::string name = "t" + std::to_string(i);
    const std::string comma = i == 0 ? "" : ", ";
    entries += comma + EntryJson(name, targets[i]);
    rows += comma + RowJson(name, targets[i]);
  }
  return R"({"snmp:snmp": {"target": [)" + entries + "]}, " + kVrfsJson +
         R"(, "SNMP-TARGET-MIB:SNMP-TARGET-MIB": {"snmpTargetAddrTable": )" +
         R"({"snmpTargetAddrEntry": [)" + rows + "]}, " + kParamsJson + "}}";
}

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class TargetRulesTest : public ::testing::Test {
 protected:
  explicit TargetRulesTest(const char* models = MODELS_FOLDER)
      : engine_(models, folder_.Path("running.json"), nullptr) {
    process_.engine = &engine_;
  }

  void Replace(const std::vector<Target>& targets) {
    engine_.ReplaceByFile(folder_.Write("startup.json", TargetsJson(targets)));
  }

  /// The rules of the running configuration as "ADDRESS PORT TABLE".
  std::vector<std::string> Rules() {
    const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
    std::vector<std::string> texts;
    for (const host::DestinationRule& rule : host::ReadTargetRules(session.Socket())) {
      texts.push_back(rule.address.to_string() + " " + std::to_string(rule.port) + " " +
                      std::to_string(rule.table));
    }
    return texts;
  }

  static host::DestinationRule Rule(const char* address, uint16_t port, uint32_t table) {
    return {boost::asio::ip::make_address(address), port, table};
  }

  TestFolder folder_;
  Connection connection_;
  host::Process process_;
  host::Engine engine_;
  host::TargetRules rules_;
};

TEST_F(TargetRulesTest, NoTargetsHaveNone) { EXPECT_THAT(Rules(), IsEmpty()); }

TEST_F(TargetRulesTest, EveryTargetInAVrfHasItsRule) {
  Replace({{5, "red", 162}, {6, "", 162}, {7, "blue", 65534}, {300, "red", 1}});
  EXPECT_THAT(Rules(), ElementsAre("10.0.0.5 162 256", "10.0.0.7 65534 7", "2001:db8::300 1 256"));
}

TEST_F(TargetRulesTest, TargetsOfOneRuleShareIt) {
  Replace({{5, "red", 162}, {5, "red", 162}, {5, "red", 163}});
  EXPECT_THAT(Rules(), ElementsAre("10.0.0.5 162 256", "10.0.0.5 163 256"));
}

TEST_F(TargetRulesTest, RuleIsContainedWithAllItsPartsOnly) {
  Replace({{5, "red", 162}});
  const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
  const auto contain = [&](const host::DestinationRule& rule) {
    return rules_.Contain(rule, engine_.Running(), session.Socket());
  };
  EXPECT_TRUE(contain(Rule("10.0.0.5", 162, 256)));
  EXPECT_FALSE(contain(Rule("10.0.0.6", 162, 256)));
  EXPECT_FALSE(contain(Rule("10.0.0.5", 163, 256)));
  EXPECT_FALSE(contain(Rule("10.0.0.5", 162, 7)));
}

/// A socket without a session cannot be read: who answers by it has read before.
TEST_F(TargetRulesTest, OneConfigurationIsReadOnce) {
  Replace({{5, "red", 162}});
  int socket = 0;
  {
    const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
    socket = session.Socket();
    EXPECT_TRUE(rules_.Contain(Rule("10.0.0.5", 162, 256), engine_.Running(), socket));
  }
  EXPECT_TRUE(rules_.Contain(Rule("10.0.0.5", 162, 256), engine_.Running(), socket));
  EXPECT_FALSE(rules_.Contain(Rule("10.0.0.5", 163, 256), engine_.Running(), socket));
  Replace({{6, "red", 162}});
  EXPECT_THAT([&] { rules_.Contain(Rule("10.0.0.5", 162, 256), engine_.Running(), socket); },
              ThrowsMessage<std::runtime_error>(HasSubstr("no open session")));
}

TEST_F(TargetRulesTest, NextConfigurationIsReadAnew) {
  for (const int host : {5, 6, 5}) {
    Replace({{host, "red", 162}});
    const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
    for (const int other : {5, 6}) {
      const host::DestinationRule rule = Rule(other == 5 ? "10.0.0.5" : "10.0.0.6", 162, 256);
      EXPECT_EQ(rules_.Contain(rule, engine_.Running(), session.Socket()), other == host) << other;
    }
  }
}

TEST_F(TargetRulesTest, ReadingItselfKeepsNoConfiguration) {
  Replace({{5, "red", 162}});
  const std::weak_ptr<const lyd_node> running = engine_.Running();
  {
    const VkConfdCdbSession session(&connection_, CDB_RUNNING, true);
    rules_.Contain(Rule("10.0.0.5", 162, 256), engine_.Running(), session.Socket());
  }
  Replace({{6, "red", 162}});
  EXPECT_TRUE(running.expired());
}

class OtherModelsTest : public TargetRulesTest {
 protected:
  OtherModelsTest() : TargetRulesTest(TEST_FOLDER "/models") {}
};

TEST_F(OtherModelsTest, ModelsWithoutTargetsThrow) {
  EXPECT_THAT([this] { Rules(); }, ThrowsMessage<std::runtime_error>(HasSubstr("/snmp/target")));
}

}  // namespace
}  // namespace host::test
