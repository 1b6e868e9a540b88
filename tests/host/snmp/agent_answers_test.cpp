// What the agent answers, and to whom.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "agent_fixture.h"

namespace host::test {
namespace {

constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kText = 0x04;
constexpr uint8_t kTimeTicks = 0x43;
constexpr int32_t kNoAccess = 6;
constexpr int32_t kNoSuchName = 2;

class AgentAnswersTest : public AgentTest {
 protected:
  AgentAnswersTest() { EXPECT_TRUE(agent_->SetListeners({v4_, v6_}).empty()); }

  std::optional<Response> Get(uint8_t object) {
    return Ask(v4_, {"public", Operation::kGet, object, 5});
  }

  const Endpoint v4_ = {"127.0.0.1", FreePort()};
  const Endpoint v6_ = {"::1", v4_.port};
};

TEST_F(AgentAnswersTest, DescriptionOverIpv4AndIpv6) {
  for (const Endpoint& endpoint : {v4_, v6_}) {
    const auto answer = Ask(endpoint, {"public", Operation::kGet, kSysDescr, 4711});
    ASSERT_TRUE(answer) << endpoint;
    EXPECT_EQ(answer->id, 4711);
    EXPECT_EQ(answer->error, 0);
    EXPECT_EQ(answer->value_type, kText);
    EXPECT_EQ(answer->value.rfind("snmp-app SNMP agent, Linux ", 0), 0U) << answer->value;
  }
}

TEST_F(AgentAnswersTest, UpTimeInTicks) {
  const auto answer = Get(kSysUpTime);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->value_type, kTimeTicks);
  EXPECT_LE(answer->value.size(), 3U) << "the agent is young";
}

TEST_F(AgentAnswersTest, NameOfTheHost) {
  std::array<char, 256> name = {};
  ASSERT_EQ(::gethostname(name.data(), name.size() - 1), 0);
  const auto answer = Get(kSysName);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->value, name.data());
}

TEST_F(AgentAnswersTest, ServicesOfAHost) {
  const auto answer = Get(kSysServices);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->value_type, kInteger);
  EXPECT_EQ(answer->value, "\x48");
}

TEST_F(AgentAnswersTest, ContactAndLocationAreNotMadeUp) {
  for (const uint8_t object : {kSysContact, kSysLocation}) {
    const auto answer = Get(object);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->value_type, kText);
    EXPECT_EQ(answer->value, "");
  }
}

TEST_F(AgentAnswersTest, NextObject) {
  const auto answer = Ask(v4_, {"public", Operation::kGetNext, kSysContact, 5});
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->value, Get(kSysName)->value);
}

TEST_F(AgentAnswersTest, Version1) {
  Message message;
  message.version = 0;
  const auto answer = Ask(v6_, message);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->error, 0);
}

TEST_F(AgentAnswersTest, NobodyWrites) {
  Message message = {"public", Operation::kSet, kSysContact, 5};
  const auto answer = Ask(v4_, message);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->error, kNoAccess);
  message.version = 0;
  const auto answer_of_version_1 = Ask(v4_, message);
  ASSERT_TRUE(answer_of_version_1);
  EXPECT_EQ(answer_of_version_1->error, kNoSuchName);
}

TEST_F(AgentAnswersTest, StrangersGetNoAnswer) {
  for (const Endpoint& endpoint : {v4_, v6_}) {
    for (const char* community : {"private", "publi", "publicc", "Public", ""}) {
      EXPECT_TRUE(IsIgnored(endpoint, Encode({community}))) << endpoint << " " << community;
    }
    EXPECT_TRUE(IsIgnored(endpoint, Encode({"private", Operation::kSet, kSysContact, 1})));
    EXPECT_TRUE(IsIgnored(endpoint, EncodeDiscovery())) << endpoint;
  }
}

TEST_F(AgentAnswersTest, OnlyStrangersCountAsBadCommunities) {
  Message count = {"public", Operation::kGet, kInBadCommunityNames, 5};
  count.group = kSnmp;
  const auto before = Ask(v4_, count);
  ASSERT_TRUE(before);
  EXPECT_EQ(before->value, std::string(1, '\0'));
  EXPECT_TRUE(IsIgnored(v4_, Encode({"private"})));
  const auto after = Ask(v4_, count);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->value, "\x01");
}

TEST_F(AgentAnswersTest, BytesThatAreNoRequestAreIgnored) {
  const std::string whole = Encode(Message());
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_TRUE(IsIgnored(v4_, whole.substr(0, size))) << size;
  }
  EXPECT_TRUE(IsIgnored(v4_, std::string(1400, '\x30')));
  EXPECT_TRUE(IsIgnored(v4_, Encode({std::string(300, 'x')})));
}

TEST_F(AgentAnswersTest, CommunitiesAreReplaced) {
  agent_->Follow({{"one", "two words", "public"}});
  EXPECT_TRUE(Ask(v4_, {"one"}));
  EXPECT_TRUE(Ask(v6_, {"two words"}));
  agent_->Follow({{"two words"}});
  EXPECT_TRUE(IsIgnored(v4_, Encode({"one"}), "two words"));
  EXPECT_TRUE(IsIgnored(v6_, Encode({"public"}), "two words"));
}

TEST_F(AgentAnswersTest, CommunitiesOfAnyBytesUpTo255) {
  const std::string longest(255, 'c');
  const std::string odd("a\0\"#'\xff", 6);
  agent_->Follow({{longest, odd, ""}});
  EXPECT_TRUE(Ask(v4_, {longest}));
  EXPECT_TRUE(Ask(v4_, {odd}));
  EXPECT_TRUE(IsIgnored(v4_, Encode({"a"}), odd));
  EXPECT_TRUE(IsIgnored(v4_, Encode({""}), odd));
}

TEST_F(AgentAnswersTest, NoCommunitiesNoAnswers) {
  Client client(v4_);
  agent_->Follow({});
  client.Send({"public", Operation::kGet, kSysDescr, 1});
  client.Send({"", Operation::kGet, kSysDescr, 2});
  // Requests are taken in order, so the first two are over when the third is answered.
  loop_.restart();
  ASSERT_EQ(loop_.run_one_for(kDeadline), 1U);
  agent_->Follow({{"public"}});
  const auto answer = Ask(client, {"public", Operation::kGet, kSysDescr, 3});
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->id, 3);
}

TEST_F(AgentAnswersTest, QueuedRequestsAreJudgedByTheCommunitiesOfTheirAnswer) {
  Client client(v4_);
  client.Send({"later", Operation::kGet, kSysDescr, 9});
  agent_->Follow({{"later"}});
  EXPECT_TRUE(AnswerTo(client));
}

}  // namespace
}  // namespace host::test
