// What a subscriber is told, without a connection.
#include "netconf/subscription.h"

#include <gmock/gmock.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SubscriptionTest : public RpcTest {
 protected:
  void Publish(const std::string& role) {
    events_.Publish("snmp-app-events", "role-changed",
                    R"(<role-changed xmlns="urn:snmp-app:events"><ha-role>)" + role +
                        "</ha-role></role-changed>");
  }

  Reply Subscribe(const std::string& parameters, host::SessionId session = 1) {
    subscription_.reset();
    return Ask(R"(<create-subscription xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">)" +
                   parameters + "</create-subscription>",
               session);
  }

  /// A time that many seconds from the fixture's.
  std::string At(int distance) const { return host::EventTimeText(now_ + seconds(distance)); }

  std::string Start(int distance) const { return "<startTime>" + At(distance) + "</startTime>"; }
  std::string Stop(int distance) const { return "<stopTime>" + At(distance) + "</stopTime>"; }

  /// All that comes now: the roles that events tell, and the names of others.
  std::vector<std::string> Told() {
    std::vector<std::string> told;
    while (subscription_ != nullptr && !subscription_->HasEnded() && subscription_->HasMore()) {
      for (const std::string& message : subscription_->Take(access_)) {
        const std::string role = TextOf(message, "ha-role");
        const std::string rest = Between(message, "</eventTime><", " ");
        told.push_back(role.empty() ? rest : role);
      }
    }
    return told;
  }

  host::EventAccess access_;
};

TEST_F(SubscriptionTest, TellsWhatComesFromNowOn) {
  Publish("unknown");
  ASSERT_EQ(Subscribe("").tag, "ok");
  EXPECT_THAT(Told(), IsEmpty());
  Publish("active");
  Publish("standby");
  EXPECT_THAT(Told(), ElementsAre("active", "standby"));
  EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(SubscriptionTest, AReplayIsMarkedAndGoesOn) {
  Publish("unknown");
  now_ += seconds(10);
  Publish("active");
  ASSERT_EQ(Subscribe(Start(-5)).tag, "ok");
  Publish("standby");
  EXPECT_THAT(Told(), ElementsAre("active", "replayComplete", "standby"));
}

TEST_F(SubscriptionTest, AReplayOfNothingIsMarkedToo) {
  ASSERT_EQ(Subscribe(Start(0)).tag, "ok");
  EXPECT_THAT(Told(), ElementsAre("replayComplete"));
}

TEST_F(SubscriptionTest, AReplayThatStopsIsComplete) {
  Publish("unknown");
  now_ += seconds(10);
  Publish("active");
  ASSERT_EQ(Subscribe(Start(-20) + Stop(-5)).tag, "ok");
  EXPECT_THAT(Told(), ElementsAre("unknown", "replayComplete", "notificationComplete"));
  EXPECT_TRUE(subscription_->HasEnded());
}

TEST_F(SubscriptionTest, OneThatStopsLaterTellsUntilThen) {
  ASSERT_EQ(Subscribe(Start(0) + Stop(10)).tag, "ok");
  EXPECT_THAT(Told(), ElementsAre("replayComplete"));
  Publish("active");
  EXPECT_THAT(Told(), ElementsAre("active"));
  now_ += seconds(11);
  Publish("standby");
  EXPECT_THAT(Told(), ElementsAre("notificationComplete"));
}

TEST_F(SubscriptionTest, ALongReplayComesInParts) {
  const size_t count = 3 * host::Subscription::kAtOnce;
  for (size_t i = 0; i < count; ++i) Publish("active");
  ASSERT_EQ(Subscribe(Start(-1)).tag, "ok");
  EXPECT_EQ(subscription_->Take({}).size(), host::Subscription::kAtOnce);
  EXPECT_EQ(Told().size(), count - host::Subscription::kAtOnce + 1);
}

TEST_F(SubscriptionTest, AReplayHasAThousandEvents) {
  for (size_t i = 0; i < host::kReplayedEvents + 7; ++i) Publish("active");
  ASSERT_EQ(Subscribe(Start(-1)).tag, "ok");
  EXPECT_EQ(Told().size(), host::kReplayedEvents + 1);
}

TEST_F(SubscriptionTest, WhoIsTooSlowIsNotToldOfTheRest) {
  ASSERT_EQ(Subscribe("").tag, "ok");
  for (size_t i = 0; i < host::kReplayedEvents + host::kEventsForSlow; ++i) Publish("active");
  EXPECT_EQ(subscription_->Take({}).size(), host::Subscription::kAtOnce);
  for (size_t i = 0; i <= host::Subscription::kAtOnce; ++i) Publish("active");
  EXPECT_THROW(subscription_->Take({}), std::runtime_error);
}

TEST_F(SubscriptionTest, WhoMayNotReadIsNotTold) {
  access_ = [](const host::Event& event) { return event.xml.find("standby") == std::string::npos; };
  Publish("standby");
  Publish("active");
  ASSERT_EQ(Subscribe(Start(-1)).tag, "ok");
  EXPECT_THAT(Told(), ElementsAre("active", "replayComplete"));
}

TEST_F(SubscriptionTest, ASubtreeFilterSelects) {
  ASSERT_EQ(Subscribe(R"(<filter type="subtree"><role-changed xmlns="urn:snmp-app:events">)"
                      "<ha-role>active</ha-role></role-changed></filter>")
                .tag,
            "ok");
  Publish("standby");
  events_.Publish("snmp-app-events", "fault-raised",
                  R"(<fault-raised xmlns="urn:snmp-app:events"><code>0</code></fault-raised>)");
  Publish("active");
  EXPECT_THAT(Told(), ElementsAre("active"));
}

TEST_F(SubscriptionTest, AnEmptySubtreeFilterSelectsNothing) {
  ASSERT_EQ(Subscribe("<filter/>").tag, "ok");
  Publish("active");
  EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(SubscriptionTest, AnXPathFilterSelects) {
  ASSERT_EQ(Subscribe(R"(<filter type="xpath" xmlns:e="urn:snmp-app:events" )"
                      R"(select="/e:role-changed[e:ha-role='active']"/>)" +
                      Start(-1))
                .tag,
            "ok");
  Publish("standby");
  Publish("active");
  EXPECT_THAT(Told(), ElementsAre("replayComplete", "active"));
}

TEST_F(SubscriptionTest, FiltersThatAreNoneAreRefused) {
  EXPECT_EQ(Subscribe(R"(<filter type="xpath"/>)").tag, "missing-attribute");
  EXPECT_EQ(Subscribe(R"(<filter type="xpath" select="1+1"/>)").tag, "invalid-value");
  EXPECT_EQ(Subscribe(R"(<filter type="xpath" select="/e:a"/>)").tag, "bad-attribute");
  EXPECT_EQ(Subscribe(R"(<filter type="other"/>)").tag, "bad-attribute");
}

TEST_F(SubscriptionTest, TimesThatCannotBeAreRefused) {
  const Reply alone = Subscribe(Stop(5));
  EXPECT_EQ(alone.tag, "missing-element");
  EXPECT_EQ(alone.info, "<bad-element>startTime</bad-element>");
  const Reply to_come = Subscribe(Start(5));
  EXPECT_EQ(to_come.tag, "bad-element");
  EXPECT_EQ(to_come.info, "<bad-element>startTime</bad-element>");
  const Reply backwards = Subscribe(Start(-5) + Stop(-6));
  EXPECT_EQ(backwards.tag, "bad-element");
  EXPECT_EQ(backwards.info, "<bad-element>stopTime</bad-element>");
  EXPECT_EQ(Subscribe("<startTime>yesterday</startTime>").tag, "invalid-value");
}

/// libyang has no later times where time_t has 32 bits.
TEST_F(SubscriptionTest, AStopMayBeFarAway) {
  const std::string end = sizeof(time_t) < sizeof(int64_t) ? "2038-01-19" : "9999-12-31";
  ASSERT_EQ(Subscribe(Start(0) + "<stopTime>" + end + "T00:00:00Z</stopTime>").tag, "ok");
  EXPECT_THAT(Told(), ElementsAre("replayComplete"));
}

TEST_F(SubscriptionTest, AnotherTimeZoneIsTheSameTime) {
  now_ = host::EventLog::Clock::from_time_t(1800000000);  // 08:00 in UTC.
  EXPECT_EQ(Subscribe("<startTime>2027-01-15T10:00:00+02:00</startTime>").tag, "ok");
  EXPECT_EQ(Subscribe("<startTime>2027-01-15T10:00:01+02:00</startTime>").tag, "bad-element");
}

TEST_F(SubscriptionTest, ThereIsOneStreamAndOneSubscription) {
  EXPECT_EQ(Subscribe("<stream>NETCONF</stream>").tag, "ok");
  const Reply other = Subscribe("<stream>other</stream>");
  EXPECT_EQ(other.tag, "invalid-value");
  EXPECT_EQ(other.info, "<bad-element>stream</bad-element>");
  const Reply second = Subscribe("", 7);
  EXPECT_EQ(second.tag, "operation-failed");
  EXPECT_THAT(second.message, HasSubstr("already"));
}

}  // namespace
}  // namespace host::test
