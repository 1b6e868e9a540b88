// What replies tell of a configuration that is refused (RFC 7950, section 15).
#include <gmock/gmock.h>

#include <string>

#include "config/netconf_features.h"
#include "netconf/edit.h"
#include "netconf/hello.h"
#include "netconf/rpc_error.h"
#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

struct BadConfiguration {
  const char* name;
  std::string content;
  const char* tag;
  const char* app_tag;
  const char* path;
};

void PrintTo(const BadConfiguration& bad, std::ostream* out) { *out << bad.content; }

class BadConfigurations : public RpcTest, public ::testing::WithParamInterface<BadConfiguration> {};

TEST_P(BadConfigurations, AreToldWithTagsAndPath) {
  for (const char* target : {"running", "candidate"}) {
    Reply reply = Edit(GetParam().content, target);
    if (reply.tag == "ok") reply = Ask("<commit/>");
    EXPECT_EQ(reply.tag, GetParam().tag) << target;
    EXPECT_EQ(TextOf(reply.xml, "error-app-tag"), GetParam().app_tag);
    EXPECT_EQ(reply.path, GetParam().path);
    EXPECT_EQ(TextOf(reply.xml, "error-type"), "application");
  }
}

std::string Vrfs(const std::string& rows) {
  return R"(<internal xmlns="urn:snmp-app:metacli-internal"><vrf-config>)" + rows +
         "</vrf-config></internal>";
}

std::string Vrf(const std::string& name, const std::string& index) {
  return "<stringTOindex><name>" + name + "</name><vrf-idx>" + index + "</vrf-idx></stringTOindex>";
}

std::string Listener(const std::string& content) {
  return R"(<snmp xmlns="urn:snmp-app:snmp"><agent><listen><interface>)" + content +
         "</interface></listen></agent></snmp>";
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadConfigurations,
    ::testing::Values(
        BadConfiguration{
            "AReferenceToNothing", Interface("<name>eth1</name><vrf>blue</vrf>"), "data-missing",
            "instance-required",
            "/config:config/config:interface/config:l3[config:name='eth1']/config:vrf"},
        BadConfiguration{"AMustThatIsNotMet",
                         Listener("<name>l3-none</name><udp-port>161</udp-port>"),
                         "operation-failed", "must-violation",
                         "/snmp:snmp/snmp:agent/snmp:listen/snmp:interface[snmp:name='l3-none']"},
        BadConfiguration{"AValueThatIsToBeUnique", Vrfs(Vrf("a", "100") + Vrf("b", "100")),
                         "operation-failed", "data-not-unique",
                         "/metacli-internal:internal/metacli-internal:vrf-config"
                         "/metacli-internal:stringTOindex[metacli-internal:name='b']"},
        BadConfiguration{"AMissingLeaf", Target("<name>t</name>"), "operation-failed", "",
                         "/snmp:snmp/snmp:target[snmp:name='t']"},
        BadConfiguration{"ATargetWithoutARow", Target("<name>t</name><ip>10.0.0.5</ip>"),
                         "operation-failed", "", "/snmp:snmp/snmp:target[snmp:name='t']"},
        BadConfiguration{"ALeafOfTheSystems",
                         Listener("<name>a</name><udp-port>1</udp-port><redir-port>61000"
                                  "</redir-port>"),
                         "operation-failed", "",
                         "/snmp:snmp/snmp:agent/snmp:listen/snmp:interface[snmp:name='a']"
                         "/snmp:redir-port"}),
    [](const auto& test) { return std::string(test.param.name); });

class ReplyTest : public NetconfTest {};

TEST_F(ReplyTest, AnEditsRefusalHasTheTypesOwnTag) {
  static const host::Schema models(TEST_FOLDER "/constraints", kStandardFolder);
  const Content edit = Content::OfConfig(
      models, R"(<top xmlns="urn:snmp-app:test:constraints"><pattern>b</pattern></top>)");
  host::Tree tree;
  try {
    host::ApplyEdit(models.Context(), edit.Nodes(), host::EditOperation::kMerge, &tree);
    FAIL() << "nothing is refused";
  } catch (const host::RpcError& error) {
    EXPECT_EQ(error.Tag(), "invalid-value");
    EXPECT_EQ(error.AppTag(), "only-a");
    EXPECT_THAT(error.what(), HasSubstr("it consists of the letter a"));
    EXPECT_THAT(error.Xml(models.Context()), HasSubstr("<error-app-tag>only-a</error-app-tag>"));
  }
}

TEST_F(ReplyTest, EveryFeatureOfTheModelIsACapabilityAndTheOtherWayRound) {
  const ly_ctx* context = NetconfDeviceModels().Context();
  const lys_module* module = ly_ctx_get_module_implemented(context, "ietf-netconf");
  const std::vector<std::string> capabilities = host::Capabilities(context);
  size_t enabled = 0;
  uint32_t index = 0;
  const lysp_feature* feature = nullptr;
  while ((feature = lysp_feature_next(feature, module->parsed, &index)) != nullptr) {
    if ((feature->flags & LYS_FENABLED) != 0) ++enabled;
  }
  EXPECT_EQ(enabled, std::size(host::kNetconfFeatures));
  for (const host::NetconfFeature& known : host::kNetconfFeatures) {
    EXPECT_EQ(lys_feature_value(module, known.name), LY_SUCCESS) << known.name;
    EXPECT_THAT(capabilities, Contains(known.capability));
    EXPECT_THAT(known.capability, HasSubstr(std::string(":") + known.name + ":"));
  }
}

}  // namespace
}  // namespace host::test
