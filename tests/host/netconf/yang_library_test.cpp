// What is told of the models (RFC 8525, RFC 6022), and of constraints that are broken.
#include "netconf/yang_library.h"

#include <gmock/gmock.h>

#include <string>

#include "config/default_mark.h"
#include "netconf/constraint_error.h"
#include "netconf/schema_request.h"
#include "rpc_fixture.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class YangLibraryTest : public NetconfTest {};

TEST_F(YangLibraryTest, HasTheDatastoresAndItsOwnContentId) {
  ly_ctx* context = NetconfDeviceModels().Context();
  const std::string told = Xml(host::YangLibrary(context, {"running", "candidate"}));
  EXPECT_THAT(told, HasSubstr(":running</name><schema>complete</schema></datastore>"));
  EXPECT_THAT(told, HasSubstr(":candidate</name><schema>complete</schema></datastore>"));
  EXPECT_EQ(TextOf(told, "content-id"), host::ContentId(context));
  EXPECT_THAT(told, HasSubstr("<name>snmp</name>"));
  EXPECT_THAT(told, Not(HasSubstr(host::kDefaultNamespace)));
}

TEST_F(YangLibraryTest, OtherModelsHaveAnotherContentId) {
  const host::Schema again(MODELS_FOLDER, kStandardFolder);
  const std::string id = host::ContentId(NetconfDeviceModels().Context());
  EXPECT_EQ(id, host::ContentId(again.Context()));
  EXPECT_NE(id, host::ContentId(NetconfShapeModels().Context()));
}

TEST_F(YangLibraryTest, TheModelOfTheDefaultsAttributeIsNobodysToHave) {
  const ly_ctx* context = NetconfDeviceModels().Context();
  EXPECT_NE(ly_ctx_get_module_implemented_ns(context, host::kDefaultNamespace), nullptr);
  EXPECT_THROW(host::FindSchema(context, "default-mark", nullptr, ""), host::RpcError);
}

TEST_F(YangLibraryTest, ASchemaThatIsThereTwiceIsNotFoundWithoutItsVersion) {
  const TestFolder folder;
  const host::Schema models(MODELS_FOLDER, kStandardFolder);
  ASSERT_EQ(ly_ctx_set_searchdir(models.Context(), folder.Path().c_str()), LY_SUCCESS);
  for (const std::string year : {"2001", "2002"}) {
    const std::string date = year + "-01-01";
    folder.Write("twice@" + date + ".yang",
                 "module twice { namespace \"urn:twice\"; prefix t; revision " + date + "; }");
    const std::string importing = "module of" + year + " { namespace \"urn:" + year +
                                  "\"; prefix of; import twice { prefix t; revision-date " + date +
                                  "; } }";
    ASSERT_EQ(lys_parse_mem(models.Context(), importing.c_str(), LYS_IN_YANG, nullptr), LY_SUCCESS);
  }
  try {
    host::FindSchema(models.Context(), "twice", nullptr, "");
    FAIL() << "one of two is found";
  } catch (const host::RpcError& error) {
    EXPECT_EQ(error.Tag(), "operation-failed");
    EXPECT_EQ(error.AppTag(), "data-not-unique");
  }
}

TEST(ConstraintErrorTest, NamesTheLeafsThatAreNotUnique) {
  const host::RpcError error = host::ConstraintError(host::Refusal(
      "operation-failed", "/snmp:a[b='1']",
      "Unique data leaf(s) \"c d/e\" not satisfied in \"x\" and \"y\"", "data-not-unique"));
  const std::string xml = error.Xml(NetconfDeviceModels().Context());
  EXPECT_THAT(xml, HasSubstr(">/snmp:a[snmp:b='1']/snmp:c</non-unique>"));
  EXPECT_THAT(xml, HasSubstr(">/snmp:a[snmp:b='1']/snmp:d/snmp:e</non-unique>"));
}

TEST(ConstraintErrorTest, NamesTheChoiceThatIsMissing) {
  const host::RpcError error = host::ConstraintError(host::Refusal(
      "data-missing", "/a:a", "Mandatory choice \"c\" data do not exist", "missing-choice"));
  EXPECT_THAT(error.Xml(NetconfDeviceModels().Context()),
              HasSubstr("<missing-choice xmlns=\"urn:ietf:params:xml:ns:yang:1\">c<"));
}

TEST(ConstraintErrorTest, WhatAConditionKeepsOutIsUnknown) {
  for (const char* path : {"/snmp:a/b", "/snmp:a/b[c='/d']", "/snmp:b"}) {
    const std::string xml =
        host::ConstraintError(
            host::Refusal("operation-failed", path, "When condition \"../c\" not satisfied"))
            .Xml(NetconfDeviceModels().Context());
    EXPECT_EQ(TextOf(xml, "error-tag"), "unknown-element");
    EXPECT_EQ(TextOf(xml, "error-info"), "<bad-element>b</bad-element>") << path;
  }
}

TEST(ConstraintErrorTest, NamesTheListThatHasTooMany) {
  const host::RpcError error = host::ConstraintError(host::Refusal(
      "operation-failed", "/snmp:a[b='/x[']/c[d='e/f']", "Too many", "too-many-elements"));
  EXPECT_EQ(error.Path(), "/snmp:a[b='/x[']/c");
}

TEST(ConstraintErrorTest, AddsNothingWhereNothingIsNamed) {
  for (const char* app_tag : {"missing-choice", "must-violation", ""}) {
    const host::RpcError error =
        host::ConstraintError(host::Refusal("operation-failed", "", "no reason", app_tag));
    EXPECT_THAT(error.Xml(NetconfDeviceModels().Context()), Not(HasSubstr("error-info")));
  }
}

}  // namespace
}  // namespace host::test
