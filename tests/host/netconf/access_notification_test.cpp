// Which notifications a user gets (RFC 8341, section 3.4.6).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "access_support.h"
#include "config/tree.h"
#include "netconf/access.h"
#include "netconf/access_control.h"

namespace host::test {
namespace {

class NotificationAccess : public NetconfTest {
 protected:
  static const host::Schema& Models() { return OrderModels(); }

  /// Whether alice of group a gets a notification, given its name, or those of what it stands in
  /// and its own.
  static bool Gets(const std::string& nacm, const std::vector<const char*>& names,
                   bool is_recovery = false) {
    ly_ctx* context = Models().Context();
    host::Tree configuration = host::ParseTree(context, nacm);
    host::ValidateTree(context, &configuration);
    const host::AccessPolicy policy = host::PolicyOf(Models(), configuration.get());
    const host::Peer alice{"alice", {"a"}, is_recovery};
    const lys_module* module = ly_ctx_get_module_implemented(context, "harbour");
    lyd_node* notification = nullptr;
    host::Tree top;
    for (const char* name : names) {
      EXPECT_EQ(lyd_new_inner(notification, module, name, 0, &notification), LY_SUCCESS);
      if (top == nullptr) top.reset(notification);
    }
    return host::Access(policy, alice).MayReceive(notification->schema, lyd_parent(notification));
  }

  static std::string Denying(const std::string& about) {
    return NacmJson(RuleListJson("a", RuleJson(about, "deny")));
  }
};

const std::vector<const char*> kArrived = {"arrived"};
const std::vector<const char*> kFull = {"harbour", "full"};

TEST_F(NotificationAccess, IsThatOfReadingUnlessARuleSaysOtherwise) {
  EXPECT_TRUE(Gets(Denying(R"("module-name": "snmp", )"), kArrived));
  EXPECT_FALSE(Gets(NacmJson("", R"("read-default": "deny", )"), kArrived));
}

TEST_F(NotificationAccess, RulesNameIt) {
  EXPECT_FALSE(Gets(Denying(R"("notification-name": "arrived", )"), kArrived));
  EXPECT_FALSE(Gets(Denying(R"("notification-name": "*", )"), kArrived));
  EXPECT_TRUE(Gets(Denying(R"("notification-name": "full", )"), kArrived));
  EXPECT_FALSE(Gets(Denying(""), kArrived));
  EXPECT_FALSE(Gets(Denying(R"("module-name": "harbour", )"), kArrived));
  EXPECT_TRUE(Gets(Denying(R"("rpc-name": "*", )"), kArrived));
  EXPECT_TRUE(Gets(Denying(R"("path": "/harbour:harbour", )"), kArrived));
  EXPECT_TRUE(Gets(Denying(R"("access-operations": "exec", )"), kArrived));
}

TEST_F(NotificationAccess, OneInTheDataNeedsWhatItStandsIn) {
  EXPECT_TRUE(Gets(Denying(R"("module-name": "snmp", )"), kFull));
  EXPECT_FALSE(Gets(Denying(R"("path": "/harbour:harbour", )"), kFull));
  EXPECT_FALSE(Gets(Denying(R"("path": "/harbour:harbour/full", )"), kFull));
  EXPECT_TRUE(Gets(Denying(R"("path": "/harbour:harbour/name", )"), kFull));
}

TEST_F(NotificationAccess, WhatIsNotSentIsCounted) {
  host::AccessControl control(OrderModels());
  const host::SharedTree running = host::ParseTree(
      OrderModels().Context(), NacmJson("", R"("enable-nacm": true, "read-default": "deny", )"));
  const host::Peer alice{"alice", {"a"}, false};
  EXPECT_TRUE(control.MayReceive(running, {"root", {}, true}, "harbour", "arrived"));
  EXPECT_FALSE(control.MayReceive(running, alice, "harbour", "arrived"));
  EXPECT_FALSE(control.MayReceive(running, alice, "harbour", "nothing"));
  host::Tree data = host::CopyTree(running.get());
  control.AddState(&data);
  EXPECT_NE(Xml(data).find("<denied-notifications>2<"), std::string::npos);
}

TEST_F(NotificationAccess, RootGetsAll) { EXPECT_TRUE(Gets(Denying(""), kArrived, true)); }

TEST_F(NotificationAccess, TheBuiltInRulesLetReadersAlone) { EXPECT_FALSE(Gets("{}", kArrived)); }

}  // namespace
}  // namespace host::test
