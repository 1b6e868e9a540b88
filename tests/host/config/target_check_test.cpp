// That no configuration gets around the check of notification targets, and what programs know of
// targets by number and position.
#include "config/target_check.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "confd_maapi.h"
#include "config/store.h"
#include "recorder.h"

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr char kNothing[] = "{\n\n}\n";
constexpr char kNoRow[] = "/snmp:snmp/target[name='two']: the target has no row";

/// Valid by the models alone: it lacks the row of a target.
std::string WithoutRow() {
  return host::ReadFile(TEST_FOLDER "/instances/invalid/target_row_missing.json");
}

std::string ValidTargets() { return host::ReadFile(TEST_FOLDER "/instances/valid/targets.json"); }

/// The same with a listening interface, which hooks are called for.
std::string WithListener() {
  const std::string start = R"("snmp:snmp": {)";
  std::string json = ValidTargets();
  json.insert(json.find(start) + start.size(),
              R"("agent": {"listen": {"interface": [{"name": "eth0", "udp-port": 161}]}},)");
  return json;
}

TEST(TargetCheck, ModelsWithoutTargetsPass) {
  EXPECT_NO_THROW(host::CheckTargets(Read(ShapeModels(), "{}").get()));
}

class TargetCheckTest : public ::testing::Test {
 protected:
  TestFolder folder_;
  HookedEngine host_{folder_};
};

TEST_F(TargetCheckTest, StoredFileIsChecked) {
  folder_.Write("running.json", WithoutRow());
  const host::LoadResult result = host_.engine.LoadStored();
  EXPECT_FALSE(result.found);
  EXPECT_THAT(result.refused, HasSubstr(kNoRow));
  EXPECT_EQ(host_.RunningText(), kNothing);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("running.json")));
}

TEST_F(TargetCheckTest, OperatorsInputIsChecked) {
  EXPECT_THAT([this] { host_.Replace(WithoutRow()); },
              ThrowsMessage<std::runtime_error>(HasSubstr(kNoRow)));
  EXPECT_EQ(host_.RunningText(), kNothing);
  EXPECT_THAT(folder_.Names(), ElementsAre("startup.json"));
  EXPECT_THAT(host_.hooks.calls, IsEmpty());
}

TEST_F(TargetCheckTest, CandidateIsChecked) {
  host::Tree candidate = host::ParseTree(host_.engine.Models().Context(), WithoutRow());
  EXPECT_THAT([&] { host_.engine.Commit(std::move(candidate)); },
              ThrowsMessage<std::runtime_error>(HasSubstr(kNoRow)));
  EXPECT_EQ(host_.RunningText(), kNothing);
}

TEST_F(TargetCheckTest, WhatHooksWriteIsChecked) {
  host_.Replace(ValidTargets());
  const std::string before = host_.RunningText();
  int deleted = CONFD_ERR;
  host_.hooks.action = [&](int handle, const host::HookCall& call) -> int {
    if (call.kind != host::HookKind::kCreated) return CONFD_OK;
    return deleted = maapi_delete(1, handle, "/snmp/target{no-vrf}");
  };
  EXPECT_THAT([&] { host_.Replace(WithListener()); },
              ThrowsMessage<std::runtime_error>(HasSubstr("has no /snmp/target of this name")));
  EXPECT_EQ(deleted, CONFD_OK);
  EXPECT_EQ(host_.RunningText(), before);
}

/// The element that a path leads to, and the names of its children in the order of the model.
const lysc_node* Element(const std::string& path) {
  return DeviceModels().Resolve(common::ParsePath(path)).back();
}

std::vector<std::string> ChildrenOf(const std::string& path) {
  std::vector<std::string> names;
  for (const lysc_node* child = lysc_node_child(Element(path)); child != nullptr;
       child = child->next) {
    names.emplace_back(child->name);
  }
  return names;
}

TEST(TargetElements, EntriesHaveTheOrderThatProgramsReadThemIn) {
  EXPECT_THAT(ChildrenOf("/snmp/target{a}"), ElementsAre("name", "vrf", "ip", "udp-port"));
  EXPECT_THAT(ChildrenOf("/SNMP-TARGET-MIB/snmpTargetAddrTable/snmpTargetAddrEntry{a}"),
              ElementsAre("snmpTargetAddrName", "snmpTargetAddrTAddress", "snmpTargetAddrParams"));
  EXPECT_THAT(ChildrenOf("/SNMP-TARGET-MIB/snmpTargetParamsTable/snmpTargetParamsEntry{a}"),
              ElementsAre("snmpTargetParamsName", "snmpTargetParamsMPModel",
                          "snmpTargetParamsSecurityModel", "snmpTargetParamsSecurityName",
                          "snmpTargetParamsSecurityLevel"));
}

TEST(TargetElements, TagsAndNamespaceHashAreTheModels) {
  EXPECT_EQ(host::Schema::Tag(Element("/snmp/target{a}/ip")), 0x61FA2CDBU);
  EXPECT_EQ(host::Schema::Tag(Element("/snmp/target{a}/udp-port")), 0x0801C63AU);
  EXPECT_EQ(host::Schema::Tag(Element("/snmp/target{a}/vrf")), 0x4C5F3E78U);
  EXPECT_EQ(host::Schema::Tag(Element("/config/interface/l3{a}/vrf")), 0x4C5F3E78U);
  EXPECT_EQ(DeviceModels().NamespaceHash(Element("/SNMP-TARGET-MIB")), 0x54A1ACA8U);
}

const lyd_node_term* Parameter(const host::Tree& tree, const std::string& row,
                               const std::string& leaf) {
  const std::string path =
      "/SNMP-TARGET-MIB:SNMP-TARGET-MIB/snmpTargetParamsTable/"
      "snmpTargetParamsEntry[snmpTargetParamsName='" +
      row + "']/" + leaf;
  lyd_node* found = nullptr;
  lyd_find_path(tree.get(), path.c_str(), 0, &found);
  return reinterpret_cast<lyd_node_term*>(found);
}

TEST(TargetElements, ParametersHaveDefaultsAndLevelsHaveNumbers) {
  const host::Tree tree = Read(DeviceModels(), ValidTargets());
  const lyd_node_term* model = Parameter(tree, "v2c", "snmpTargetParamsSecurityModel");
  const lyd_node_term* lowest = Parameter(tree, "v2c", "snmpTargetParamsSecurityLevel");
  const lyd_node_term* highest = Parameter(tree, "v3", "snmpTargetParamsSecurityLevel");
  ASSERT_TRUE(model != nullptr && lowest != nullptr && highest != nullptr);
  EXPECT_EQ(model->value.int32, 2);
  EXPECT_STREQ(lowest->value.enum_item->name, "noAuthNoPriv");
  EXPECT_EQ(lowest->value.enum_item->value, 1);
  EXPECT_EQ(highest->value.enum_item->value, 3);
}

}  // namespace
}  // namespace host::test
