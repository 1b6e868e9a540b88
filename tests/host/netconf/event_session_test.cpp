// Events on a connection.
#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>

#include "netconf/base_events.h"
#include "session_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kSubscribe =
    R"(<create-subscription xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0"/>)";
const std::string kLockRunning = "<lock><target><running/></target></lock>";

std::string PortEdit(int port) {
  return "<edit-config><target><running/></target><config><confdConfig "
         "xmlns=\"urn:snmp-app:dyncfg\"><snmpAgent><port>" +
         std::to_string(port) + "</port></snmpAgent></confdConfig></config></edit-config>";
}

class EventSession : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    if (IsSkipped()) return;
    engine_->SetCommitObserver([this](const host::CommitRecord& record) {
      host::PublishConfigChange(&events_, engine_->Models().Context(), record);
    });
  }

  /// A session that was told that it is subscribed.
  std::unique_ptr<NetconfClient> Subscriber(const std::string& version = "1.1") {
    auto client = Connect();
    client->Greet(version);
    EXPECT_THAT(client->Ask(kSubscribe), HasSubstr("<ok/>"));
    return client;
  }

  void Publish(const std::string& text) {
    events_.Publish(
        "snmp-app-events", "fault-raised",
        R"(<fault-raised xmlns="urn:snmp-app:events"><text>)" + text + "</text></fault-raised>");
  }
};

TEST_F(EventSession, AreToldInEitherFraming) {
  const auto server = NewServer();
  for (const char* version : {"1.0", "1.1"}) {
    const auto client = Subscriber(version);
    Publish("one");
    Publish("two");
    EXPECT_THAT(client->Receive(), AllOf(StartsWith("<notification "), HasSubstr("one")));
    EXPECT_THAT(client->Receive(), HasSubstr("two"));
  }
}

TEST_F(EventSession, ComeBehindTheReplyAndBetweenReplies) {
  const auto server = NewServer();
  const auto client = Connect();
  client->Greet();
  client->Request(kSubscribe);
  Publish("before");
  EXPECT_THAT(client->Receive(), HasSubstr("<ok/>"));
  Publish("one");
  client->Request("<get/>");
  std::string all;
  while (all.find("</rpc-reply>") == std::string::npos || all.find("one") == std::string::npos) {
    const std::string message = client->Receive();
    ASSERT_NE(message, "");
    all += message;
  }
  EXPECT_THAT(client->Ask(kLockRunning), HasSubstr("<ok/>"));
}

TEST_F(EventSession, ASecondSubscriptionIsRefused) {
  const auto server = NewServer();
  const auto client = Subscriber();
  EXPECT_THAT(client->Ask(kSubscribe), HasSubstr("operation-failed"));
  Publish("one");
  EXPECT_THAT(client->Receive(), HasSubstr("one"));
}

TEST_F(EventSession, AfterItsEndThereMayBeAnother) {
  const auto server = NewServer();
  const auto client = Connect();
  client->Greet();
  const std::string now = host::EventTimeText(events_.Created());
  const std::string ended =
      R"(<create-subscription xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">)"
      "<startTime>" +
      now + "</startTime><stopTime>" + now + "</stopTime></create-subscription>";
  EXPECT_THAT(client->Ask(ended), HasSubstr("<ok/>"));
  std::string last;
  do {
    last = client->Receive();
    ASSERT_NE(last, "");
  } while (last.find("notificationComplete") == std::string::npos);
  EXPECT_THAT(client->Ask(kSubscribe), HasSubstr("<ok/>"));
}

TEST_F(EventSession, WaitingForEventsIsNotIdle) {
  host::SessionLimits limits;
  limits.idle = std::chrono::milliseconds(50);
  const auto server = NewServer(limits);
  const auto client = Subscriber();
  const auto other = Connect();
  other->Greet();
  EXPECT_TRUE(other->IsClosed());
  EXPECT_THAT(client->Receive(),
              AllOf(HasSubstr("netconf-session-start"), HasSubstr("<session-id>2</session-id>")));
  EXPECT_THAT(client->Receive(),
              AllOf(HasSubstr("netconf-session-end"), HasSubstr("<termination-reason>timeout<")));
}

TEST_F(EventSession, WhoDoesNotReadIsSentAwayAndHoldsNobody) {
  const auto server = NewServer();
  const auto slow = Subscriber();
  const auto other = Connect();
  other->Greet();
  const std::string text(20000, 'x');
  for (int i = 0; i < 200; ++i) {
    Publish(text);
    ASSERT_THAT(
        other->Ask(i % 2 == 0 ? kLockRunning : "<unlock><target><running/></target></unlock>"),
        HasSubstr("<ok/>"));
  }
  // What was sent is read now, and what comes next is gone.
  EXPECT_TRUE(slow->IsClosed());
  EXPECT_EQ(Counter("dropped-sessions"), "1");
}

TEST_F(EventSession, AChangeIsToldByItsPlacesOnly) {
  const auto server = NewServer();
  const auto client = Subscriber();
  client->Request(PortEdit(1161));
  EXPECT_THAT(client->Receive(), HasSubstr("<ok/>"));
  EXPECT_THAT(
      client->Receive(),
      AllOf(HasSubstr("<session-id>1</session-id></changed-by><datastore>running</datastore>"),
            HasSubstr("/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:port"
                      "</target><operation>replace</operation>"),
            Not(HasSubstr("1161"))));
}

TEST_F(EventSession, SessionsAreTold) {
  const auto server = NewServer();
  const auto client = Subscriber();
  const auto other = Connect();
  other->Greet();
  EXPECT_THAT(client->Receive(), HasSubstr("netconf-session-start"));
  EXPECT_THAT(client->Ask("<kill-session><session-id>2</session-id></kill-session>"),
              HasSubstr("<ok/>"));
  EXPECT_THAT(client->Receive(), AllOf(HasSubstr("<killed-by>1</killed-by>"),
                                       HasSubstr("<termination-reason>killed<")));
  const auto rude = Connect();
  rude->Send("nonsense]]>]]>");
  EXPECT_THAT(client->Receive(), HasSubstr("<termination-reason>bad-hello<"));
  auto dropped = Connect();
  dropped->Greet();
  dropped->Close();
  EXPECT_THAT(client->Receive(), HasSubstr("netconf-session-start"));
  EXPECT_THAT(client->Receive(), HasSubstr("<termination-reason>dropped<"));
  const auto closed = Connect();
  closed->Greet();
  closed->Ask("<close-session/>");
  EXPECT_THAT(client->Receive(), HasSubstr("netconf-session-start"));
  EXPECT_THAT(client->Receive(), HasSubstr("<termination-reason>closed<"));
}

TEST_F(EventSession, ConfirmedCommitsAreTold) {
  const auto server = NewServer();
  const auto client = Subscriber();
  const auto told = [&](const std::string& operation) {
    client->Request(operation);
    EXPECT_THAT(client->Receive(), HasSubstr("<ok/>")) << operation;
    return TextOf(client->Receive(), "confirm-event");
  };
  EXPECT_EQ(told("<commit><confirmed/></commit>"), "start");
  EXPECT_EQ(told("<commit><confirmed/><confirm-timeout>100</confirm-timeout></commit>"), "extend");
  EXPECT_EQ(told("<commit/>"), "complete");
  EXPECT_EQ(told("<commit><confirmed/></commit>"), "start");
  EXPECT_EQ(told("<cancel-commit/>"), "cancel");
  EXPECT_EQ(told("<commit><confirmed/><confirm-timeout>1</confirm-timeout></commit>"), "start");
  EXPECT_EQ(TextOf(client->Receive(), "confirm-event"), "timeout");
}

TEST_F(EventSession, TheStreamAndTheCounterAreState) {
  const auto server = NewServer();
  const auto client = Subscriber();
  Publish("one");
  client->Receive();
  const std::string state = client->Ask("<get/>");
  EXPECT_THAT(state, AllOf(HasSubstr("<name>NETCONF</name>"),
                           HasSubstr("<replaySupport>true</replaySupport>"),
                           HasSubstr("<out-notifications>1</out-notifications>")));
  EXPECT_EQ(TextOf(state, "replayLogCreationTime").substr(0, 4),
            host::EventTimeText(events_.Created()).substr(0, 4));
}

TEST_F(EventSession, TheHelloTellsThem) {
  const auto server = NewServer();
  const auto client = Connect();
  EXPECT_THAT(client->Receive(),
              AllOf(HasSubstr(">urn:ietf:params:netconf:capability:notification:1.0<"),
                    HasSubstr(">urn:ietf:params:netconf:capability:interleave:1.0<"),
                    HasSubstr("?module=snmp-app-events&amp;revision=2026-11-21")));
}

}  // namespace
}  // namespace host::test
