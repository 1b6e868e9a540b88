#include "config/schema.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "confd/tag_table.h"
#include "support.h"

namespace host::test {
namespace {

using common::ParsePath;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::string Model(const std::string& name, const std::string& body) {
  return "module " + name + " {yang-version 1.1; namespace \"urn:test:" + name +
         "\"; prefix x; import snmp-app-platform {prefix p;} revision 2026-01-01; " + body + "}";
}

class SchemaOfFolder : public ::testing::Test {
 protected:
  SchemaOfFolder() {
    for (const auto& entry : std::filesystem::directory_iterator(MODELS_FOLDER)) {
      const std::string name = entry.path().filename();
      if (name.rfind("snmp-app-platform@", 0) == 0) {
        std::filesystem::copy(entry.path(), folder_.Path(name));
      }
    }
  }

  void ExpectRefused(const std::string& reason, const std::string& also = "") {
    EXPECT_THAT([this] { host::Schema schema(folder_.Path()); },
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(reason), HasSubstr(also))));
  }

  TestFolder folder_;
};

const lysc_node* Last(const std::string& path) {
  return DeviceModels().Resolve(ParsePath(path)).back();
}

TEST(Schema, TagsAreTheOnesThatTheModelsWrite) {
  EXPECT_EQ(host::Schema::Tag(Last("/confd_dyncfg:confdConfig/snmpAgent/enabled")), 0x0BC47BAFU);
  EXPECT_EQ(host::Schema::Tag(Last("/confd_dyncfg:confdConfig/snmpAgent/ip")), 0x61FA2CDBU);
  EXPECT_EQ(host::Schema::Tag(Last("/confd_dyncfg:confdConfig/snmpAgent/port")), 0x009E8010U);
  EXPECT_EQ(host::Schema::Tag(Last("/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts")),
            0x4F2DD360U);
}

TEST(Schema, EveryElementHasATagThatPrintsAsItsName) {
  const lysc_node* table = Last("/SNMP-COMMUNITY-MIB/snmpCommunityTable");
  const std::string* name = common::TagTable::Global().Name(host::Schema::Tag(table));
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(*name, "snmpCommunityTable");
}

TEST(Schema, NamespaceHashIsTheModels) {
  EXPECT_EQ(DeviceModels().NamespaceHash(Last("/confd_dyncfg:confdConfig/snmpAgent/ip")),
            0x11E87650U);
  EXPECT_EQ(DeviceModels().NamespaceHash(Last("/SNMP-COMMUNITY-MIB")), 0x1E0709BFU);
  const lysc_node* shape = ShapeModels().Resolve(ParsePath("/shapes")).back();
  EXPECT_EQ(ShapeModels().NamespaceHash(shape), 0U);
}

TEST(Schema, PrefixMayBeThePrefixTheNameOrNone) {
  const lysc_node* row = Last("/SNMP_COMMUNITY_MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable");
  EXPECT_EQ(Last("/SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable"), row);
  EXPECT_EQ(Last("/SNMP-COMMUNITY-MIB/snmpCommunityTable"), row);
  EXPECT_EQ(Last("/SNMP-COMMUNITY-MIB/SNMP_COMMUNITY_MIB:snmpCommunityTable"), row);
}

TEST(Schema, ChoicesAreNotSteps) {
  const host::SchemaPath path = ShapeModels().Resolve(ParsePath("/sh:shapes/left"));
  EXPECT_STREQ(path.back()->name, "left");
}

TEST(Schema, PathsThatAreNotInTheModelsAreRefused) {
  const std::pair<const char*, const char*> refusals[] = {
      {"/nothing", "\"nothing\" is not in the models"},
      {"/foreign:confdConfig", "unknown prefix \"foreign\""},
      {"/SNMP_COMMUNITY_MIB:confdConfig", "is not in the models"},
      {"/confdConfig/SNMP_COMMUNITY_MIB:snmpAgent", "is not in the models"},
      {"/confdConfig/snmpAgent/ip/below", "\"below\" is not in the models"},
      {"/confdConfig{a}", "is no list"},
      {"/confdConfig[0]/snmpAgent", "is no list"},
      {"/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry/snmpCommunityName",
       "needs a key"},
      {"/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry{a b}", "has 1 key(s), not 2"},
      {"/confdConfig/snmpAgent/extraIpPorts{a b}", "has 1 key(s), not 2"},
  };
  for (const auto& [path, reason] : refusals) {
    EXPECT_THAT(([path = path] { DeviceModels().Resolve(ParsePath(path)); }),
                ThrowsMessage<std::invalid_argument>(HasSubstr(reason)))
        << path;
  }
}

TEST_F(SchemaOfFolder, MissingOrWithoutModels) {
  EXPECT_THAT([this] { host::Schema schema(folder_.Path("absent")); },
              ThrowsMessage<std::runtime_error>(HasSubstr(folder_.Path("absent"))));
  std::filesystem::create_directory(folder_.Path("empty"));
  EXPECT_THAT([this] { host::Schema schema(folder_.Path("empty")); },
              ThrowsMessage<std::runtime_error>(HasSubstr("has no models")));
}

TEST_F(SchemaOfFolder, ModelThatIsNone) {
  folder_.Write("broken@2026-01-01.yang", "module broken {");
  ExpectRefused("broken@2026-01-01.yang");
}

TEST_F(SchemaOfFolder, ModelThatCannotBeRead) {
  std::filesystem::create_symlink(folder_.Path("absent"), folder_.Path("gone@2026-01-01.yang"));
  ExpectRefused("gone@2026-01-01.yang");
}

TEST_F(SchemaOfFolder, NameWithoutRevision) {
  folder_.Write("plain.yang", Model("plain", ""));
  ExpectRefused("plain.yang", "module@revision.yang");
}

TEST_F(SchemaOfFolder, NameOfAnotherModel) {
  folder_.Write("alias@2026-01-01.yang", Model("original", ""));
  ExpectRefused("alias@2026-01-01.yang");
}

TEST_F(SchemaOfFolder, ModelThatNeedsAMissingOne) {
  folder_.Write("needy@2026-01-01.yang",
                "module needy {namespace \"urn:test:needy\"; prefix n; "
                "import absent-model {prefix a;} revision 2026-01-01;}");
  ExpectRefused("needy@2026-01-01.yang", "absent-model");
}

TEST_F(SchemaOfFolder, TwoElementsWithOneTag) {
  folder_.Write("clash@2026-01-01.yang", Model("clash",
                                               "leaf clash-one {p:tag 0x7A000001; type string;}"
                                               "leaf clash-two {p:tag 0x7A000001; type string;}"));
  ExpectRefused("clash-one and clash-two", "0x7A000001");
}

TEST_F(SchemaOfFolder, OneElementNameWithTwoTags) {
  folder_.Write("twice@2026-01-01.yang",
                Model("twice",
                      "leaf twice-named {p:tag 0x7A000002; type string;}"
                      "container c {leaf twice-named {p:tag 0x7A000003; type string;}}"));
  ExpectRefused("twice-named has two tag hashes", "model twice");
}

TEST_F(SchemaOfFolder, TagThatIsNoHash) {
  folder_.Write("badtag@2026-01-01.yang", Model("badtag", "leaf bad {p:tag 7A0; type string;}"));
  ExpectRefused("\"7A0\" is no hash", "element bad");
}

TEST_F(SchemaOfFolder, CallpointThatIsAtNoList) {
  folder_.Write("nolist@2026-01-01.yang", Model("nolist", "container c {p:callpoint hook;}"));
  ExpectRefused("callpoint hook is at c, which is no list");
}

TEST_F(SchemaOfFolder, ValueTypeThatThereIsNot) {
  folder_.Write("odd@2026-01-01.yang", Model("odd", "leaf o {p:value-type colour; type string;}"));
  ExpectRefused("there is no value type colour");
}

TEST(Schema, CallpointsOfTheDevice) {
  const std::vector<host::ModelCallpoint>& callpoints = DeviceModels().Callpoints();
  ASSERT_EQ(callpoints.size(), 1U);
  EXPECT_EQ(callpoints[0].name, "listen");
  EXPECT_EQ(callpoints[0].path, "/snmp/agent/listen/interface");
  EXPECT_TRUE(host::Schema::IsSystemWritten(Last("/snmp/agent/listen/interface{a}/redir-port")));
  EXPECT_FALSE(host::Schema::IsSystemWritten(Last("/snmp/agent/listen/interface{a}/udp-port")));
}

TEST(Schema, TagsOfListeningInterfaces) {
  EXPECT_EQ(host::Schema::Tag(Last("/snmp/agent/listen/interface")), 0x0D34EE32U);
  EXPECT_EQ(host::Schema::Tag(Last("/snmp/agent/listen/interface{a}/udp-port")), 0x0801C63AU);
  EXPECT_EQ(host::Schema::Tag(Last("/snmp/agent/listen/interface{a}/redir-port")), 0x5A4D4401U);
  EXPECT_EQ(DeviceModels().NamespaceHash(Last("/snmp")), 0x1ECDF09AU);
  EXPECT_EQ(DeviceModels().NamespaceHash(Last("/config")), 0x139627C1U);
}

TEST_F(SchemaOfFolder, WrittenTagGoesBeforeAComputedOneOfAnEarlierModel) {
  folder_.Write("a-early@2026-01-01.yang", Model("a-early", "leaf late-tagged {type string;}"));
  folder_.Write("b-late@2026-01-01.yang",
                Model("b-late", "leaf late-tagged {p:tag 0x7A000004; type string;}"));
  const host::Schema schema(folder_.Path());
  EXPECT_EQ(host::Schema::Tag(schema.Resolve(ParsePath("/a-early:late-tagged")).back()),
            0x7A000004U);
}

}  // namespace
}  // namespace host::test
