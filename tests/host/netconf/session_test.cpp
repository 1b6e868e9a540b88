// Sessions on a socket.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "session_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr std::chrono::milliseconds kShort(50);

const std::string kLock = "<lock><target><running/></target></lock>";

TEST_F(SessionTest, TheHelloTellsCapabilitiesAndTheSession) {
  const auto server = NewServer();
  const auto client = Connect();
  EXPECT_THAT(client->Receive(),
              AllOf(HasSubstr("<capability>urn:ietf:params:netconf:base:1.1</capability>"),
                    HasSubstr("urn:snmp-app:snmp?module=snmp&amp;revision=2026-11-21"),
                    HasSubstr("<session-id>1</session-id>")));
}

TEST_F(SessionTest, AClientWithoutAHelloIsSentAway) {
  host::SessionLimits limits;
  limits.hello = kShort;
  const auto server = NewServer(limits);
  const auto client = Connect();
  client->Send("<hello");
  EXPECT_TRUE(client->IsClosed());
  EXPECT_EQ(Counter("dropped-sessions"), "1");
}

class BadHello : public SessionTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(BadHello, EndsTheSession) {
  const auto server = NewServer();
  const auto client = Connect();
  client->Send(GetParam() + "]]>]]>");
  EXPECT_TRUE(client->IsClosed());
  EXPECT_EQ(Counter("in-bad-hellos"), "1");
}

INSTANTIATE_TEST_SUITE_P(Each, BadHello,
                         ::testing::Values("", "text", "<hello", Rpc("<commit/>"), HelloText("2.0"),
                                           R"(<hello xmlns="urn:ietf:params:xml:ns:netconf:)"
                                           R"(base:1.0"/>)"));

INSTANTIATE_TEST_SUITE_P(WithASessionId, BadHello,
                         ::testing::Values(HelloText("1.1", "<session-id>4</session-id>")));

INSTANTIATE_TEST_SUITE_P(OfAnotherNamespace, BadHello,
                         ::testing::Values(R"(<hello xmlns="urn:x"><capabilities><capability>)"
                                           "urn:ietf:params:netconf:base:1.1</capability>"
                                           "</capabilities></hello>"));

INSTANTIATE_TEST_SUITE_P(OfEntriesWithoutANamespace, BadHello,
                         ::testing::Values(R"(<hello xmlns="urn:ietf:params:xml:ns:netconf:)"
                                           R"(base:1.0"><capabilities xmlns=""><capability/>)"
                                           "<capability/></capabilities></hello>"));

INSTANTIATE_TEST_SUITE_P(OfALongerVersion, BadHello, ::testing::Values(HelloText("1.10")));

/// A session at work: its first request was answered.
class AnsweredSession : public SessionTest {
 protected:
  void Begin(const host::SessionLimits& limits) {
    server_ = NewServer(limits);
    client_ = Connect();
    client_->Greet();
    ExpectAnswer();
  }

  void ExpectAnswer() { EXPECT_THAT(client_->Ask("<commit/>"), HasSubstr("<ok/>")); }

  std::unique_ptr<host::NetconfServer> server_;
  std::unique_ptr<NetconfClient> client_;
};

TEST_F(AnsweredSession, AMessageThatIsNotFinishedEndsIt) {
  host::SessionLimits limits;
  limits.message = kShort;
  Begin(limits);
  client_->Send("\n#");
  EXPECT_TRUE(client_->IsClosed());
  EXPECT_EQ(Counter("dropped-sessions"), "1");
}

TEST_F(SessionTest, WhatIsThrownInARequestEndsAtMostItsSession) {
  bool is_exception = true;
  state_ = [&is_exception]() -> host::Tree {
    if (is_exception) throw std::runtime_error("no state");
    throw 5;
  };
  const auto server = NewServer();
  const auto client = Connect();
  const auto other = Connect();
  client->Greet();
  other->Greet();
  EXPECT_THAT(client->Ask("<get/>"), HasSubstr("no state"));
  is_exception = false;
  client->Request("<get/>");
  EXPECT_TRUE(client->IsClosed());
  EXPECT_THAT(other->Ask("<commit/>"), HasSubstr("<ok/>"));
}

TEST_F(AnsweredSession, StaysWhenItIsIdle) {
  host::SessionLimits limits;
  limits.hello = limits.message = limits.reply = kShort;
  Begin(limits);
  const auto end = std::chrono::steady_clock::now() + 3 * kShort;
  ASSERT_TRUE(RunUntil(&loop_, [&] { return std::chrono::steady_clock::now() > end; }));
  ExpectAnswer();
}

TEST_F(AnsweredSession, AMessageThatCameInTimeIsAnsweredHoweverBusyTheLoopWas) {
  host::SessionLimits limits;
  limits.message = kShort;
  Begin(limits);
  const std::string request = host::FrameChunked(Rpc("<commit/>"));
  client_->Send(request.substr(0, 5));
  ASSERT_TRUE(RunUntil(&loop_, [this] { return loop_.poll_one() == 0; }));
  client_->Send(request.substr(5));
  const auto end = std::chrono::steady_clock::now() + 2 * kShort;
  while (std::chrono::steady_clock::now() < end) {
    // The loop is busy.
  }
  EXPECT_THAT(client_->Receive(), HasSubstr("<ok/>"));
  ExpectAnswer();
}

TEST_F(SessionTest, AnIdleSessionEndsLaterWithALock) {
  host::SessionLimits limits;
  limits.idle = kShort;
  limits.idle_locked = std::chrono::hours(1);
  const auto server = NewServer(limits);
  const auto silent = Connect();
  const auto locked = Connect();
  locked->Greet();
  EXPECT_THAT(locked->Ask(kLock), HasSubstr("<ok/>"));
  silent->Greet();
  EXPECT_TRUE(silent->IsClosed());
  EXPECT_THAT(locked->Ask("<commit/>"), HasSubstr("<ok/>"));
  EXPECT_THAT(locked->Ask("<unlock><target><running/></target></unlock>"), HasSubstr("<ok/>"));
  EXPECT_TRUE(locked->IsClosed());
}

TEST_F(SessionTest, TheLastPlaceIsForRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be both";
  host::SessionLimits limits;
  limits.sessions = 2;
  const auto server = NewServer(limits);
  chmod(path_.c_str(), 0666);
  chmod(folder_.Path("").c_str(), 0711);
  const auto connect_as_other = [this] {
    EXPECT_EQ(seteuid(65534), 0);
    auto client = Connect();
    EXPECT_EQ(seteuid(0), 0);
    return client;
  };
  const auto first = connect_as_other();
  EXPECT_NE(first->Greet(), 0U);
  EXPECT_TRUE(connect_as_other()->IsClosed());
  const auto root = Connect();
  EXPECT_NE(root->Greet(), 0U);
  EXPECT_TRUE(Connect()->IsClosed());
}

TEST_F(SessionTest, AClientThatDoesNotReadIsSentAway) {
  host::SessionLimits limits;
  limits.reply = kShort;
  const auto server = NewServer(limits);
  const auto client = Connect();
  client->Greet();
  client->Ask(kLock);
  // More replies than a socket's buffer holds; the requests fit.
  for (int i = 0; i < 60; ++i) client->Request("<get/>", i);
  const auto other = Connect();
  other->Greet();
  EXPECT_TRUE(
      RunUntil(&loop_, [&] { return other->Ask(kLock).find("<ok/>") != std::string::npos; }));
  EXPECT_EQ(Counter("dropped-sessions"), "1");
}

TEST_F(SessionTest, OneSessionTooManyIsClosedAtOnce) {
  host::SessionLimits limits;
  limits.sessions = 2;
  const auto server = NewServer(limits);
  const auto first = Connect();
  auto second = Connect();
  first->Greet();
  second->Greet();
  EXPECT_TRUE(Connect()->IsClosed());
  EXPECT_THAT(second->Ask("<close-session/>"), HasSubstr("<ok/>"));
  EXPECT_TRUE(second->IsClosed());
  EXPECT_THAT(first->Ask("<commit/>"), HasSubstr("<ok/>"));
  EXPECT_NE(Connect()->Greet(), 0U);
}

class BrokenStream : public AnsweredSession, public ::testing::WithParamInterface<std::string> {};

TEST_P(BrokenStream, EndsTheSession) {
  host::SessionLimits limits;
  limits.message_size = 500;
  Begin(limits);
  client_->Send(GetParam());
  EXPECT_TRUE(client_->IsClosed());
  EXPECT_EQ(Counter("dropped-sessions"), "1");
}

INSTANTIATE_TEST_SUITE_P(Each, BrokenStream, ::testing::Values("\n#501\n", "<rpc", "\n##\n"));

TEST_F(SessionTest, AMessageThatIsNoRequestIsAnsweredAndEndsTheSession) {
  const auto server = NewServer();
  const auto client = Connect();
  client->Greet();
  client->Send("\n#4\n<rpc\n##\n");
  EXPECT_THAT(client->Receive(), HasSubstr("<error-tag>malformed-message</error-tag>"));
  EXPECT_TRUE(client->IsClosed());
  EXPECT_EQ(Counter("in-bad-rpcs"), "1");
}

TEST_F(SessionTest, KillSessionEndsAnotherOneAndItsLock) {
  const auto server = NewServer();
  const auto victim = Connect();
  const auto killer = Connect();
  const unsigned int id = victim->Greet();
  killer->Greet();
  EXPECT_THAT(victim->Ask(kLock), HasSubstr("<ok/>"));
  EXPECT_THAT(killer->Ask(kLock), AllOf(HasSubstr("lock-denied"),
                                        HasSubstr("<session-id>" + std::to_string(id) + "<")));
  const std::string kill =
      "<kill-session><session-id>" + std::to_string(id) + "</session-id></kill-session>";
  EXPECT_THAT(killer->Ask(kill), HasSubstr("<ok/>"));
  EXPECT_TRUE(victim->IsClosed());
  EXPECT_THAT(killer->Ask(kLock), HasSubstr("<ok/>"));
  EXPECT_THAT(killer->Ask(kill), HasSubstr("there is no session"));
}

TEST_F(SessionTest, ADroppedConnectionGivesItsLockBack) {
  const auto server = NewServer();
  const auto dropped = Connect();
  dropped->Greet();
  EXPECT_THAT(dropped->Ask(kLock), HasSubstr("<ok/>"));
  dropped->Close();
  const auto other = Connect();
  other->Greet();
  EXPECT_TRUE(
      RunUntil(&loop_, [&] { return other->Ask(kLock).find("<ok/>") != std::string::npos; }));
}

}  // namespace
}  // namespace host::test
