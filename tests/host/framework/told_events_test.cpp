// What the daemon's work has operators be told.
#include "framework/told_events.h"

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <string>
#include <vector>

#include "config/yang_data.h"
#include "runtime/process.h"
#include "support.h"

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ToldEventsTest : public ::testing::Test {
 protected:
  /// What was published since the last call; each must be what its model has.
  std::vector<std::string> Published() {
    loop_.restart();
    loop_.poll();
    std::vector<std::string> all;
    for (; next_ < events_.End(); ++next_) {
      all.push_back(events_.At(next_).xml);
      ExpectValid(all.back());
    }
    return all;
  }

  static void ExpectValid(const std::string& xml) {
    const Input input(xml);
    lyd_node* tree = nullptr;
    lyd_node* operation = nullptr;
    ly_ctx* context = test::DeviceModels().Context();
    EXPECT_EQ(lyd_parse_op(context, nullptr, input.Get(), LYD_XML, LYD_TYPE_NOTIF_YANG, &tree,
                           &operation),
              LY_SUCCESS)
        << xml;
    const Tree owned(tree);
    EXPECT_EQ(lyd_validate_op(tree, nullptr, LYD_TYPE_NOTIF_YANG, nullptr), LY_SUCCESS)
        << TakeErrors(context);
  }

  boost::asio::io_context loop_;
  EventLog events_;
  EventLog::Number next_ = 0;
  ToldEvents told_{loop_, &events_};
};

TEST_F(ToldEventsTest, NothingIsPublishedInTheMiddleOfTheWork) {
  told_.NoteRole(HaRole::kActive);
  EXPECT_EQ(events_.End(), 0U);
  EXPECT_THAT(Published(), ElementsAre(R"(<role-changed xmlns="urn:snmp-app:events">)"
                                       "<ha-role>active</ha-role></role-changed>"));
  EXPECT_EQ(events_.At(0).module, "snmp-app-events");
  EXPECT_EQ(events_.At(0).name, "role-changed");
}

TEST_F(ToldEventsTest, WhatIsOfOneKindIsToldTogether) {
  told_.NoteListener({"10.0.0.1", 161}, true, "");
  told_.NoteListener({"10.0.0.2", 161}, true, "");
  told_.NoteListener({"10.0.0.3", 161}, false, "in <use>");
  told_.NoteListener({"10.0.0.1", 161}, true, "");
  const std::vector<std::string> all = Published();
  ASSERT_THAT(all, SizeIs(3));
  EXPECT_THAT(all[0], HasSubstr("<endpoint>10.0.0.1:161</endpoint></listener><listener>"));
  EXPECT_THAT(all[1],
              HasSubstr("<endpoint>10.0.0.3:161</endpoint><reason>in &lt;use&gt;</reason>"));
  EXPECT_THAT(Published(), IsEmpty());
  told_.NoteRole(HaRole::kStandby);
  EXPECT_THAT(Published(), SizeIs(1));
}

TEST_F(ToldEventsTest, ManyAreToldInParts) {
  const size_t count = 2 * ToldEvents::kMostTogether + 1;
  for (size_t i = 0; i < count; ++i) {
    told_.NoteListener({"10.0.0.1", static_cast<uint16_t>(i + 1)}, true, "");
  }
  EXPECT_THAT(Published(), SizeIs(3));
}

TEST_F(ToldEventsTest, FaultsAndRolesAreToldOneByOne) {
  told_.NoteFault({{}, 0, "f", "file", 1, "a & b"});
  told_.NoteFault({{}, 1, "f", "file", 1, "c"});
  told_.NoteRole(HaRole::kUnknown);
  EXPECT_THAT(Published(), ElementsAre(HasSubstr("<code>0</code><text>a &amp; b</text>"),
                                       HasSubstr("<code>1</code>"), HasSubstr("unknown")));
}

TEST_F(ToldEventsTest, RulesAreToldAsRefusedAndHealed) {
  told_.NoteRule({"redirect", "eth1 port 161 to 60600", "no memory"});
  told_.NoteRule({"routing-rule", "mark 5", ""});
  EXPECT_THAT(Published(),
              ElementsAre(HasSubstr("<rules-refused xmlns=\"urn:snmp-app:events\"><rule><kind>"
                                    "redirect</kind>"),
                          HasSubstr("<rules-healed ")));
}

TEST_F(ToldEventsTest, AProcessTellsItsFaultsAndItsRole) {
  Process process;
  const ProcessScope scope(process);
  process.on_fault = [this](const Fault& fault) { told_.NoteFault(fault); };
  process.on_role = [this](HaRole role) { told_.NoteRole(role); };
  HOST_FAULT(std::string("broken"));
  process.TakeRole(HaRole::kActive);
  process.TakeRole(HaRole::kActive);
  EXPECT_THAT(Published(), ElementsAre(HasSubstr("broken"), HasSubstr("active")));
}

TEST_F(ToldEventsTest, WhatIsThrownByWhoIsToldIsLost) {
  Process process;
  const ProcessScope scope(process);
  process.on_fault = [](const Fault&) { throw std::runtime_error("no"); };
  process.on_role = [](HaRole) { throw std::runtime_error("no"); };
  HOST_FAULT(std::string("broken"));
  process.TakeRole(HaRole::kStandby);
  EXPECT_EQ(process.faults.size(), 1U);
  EXPECT_EQ(process.role, HaRole::kStandby);
}

}  // namespace
}  // namespace host
