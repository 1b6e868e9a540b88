// An agent on a loop of the test, and managers that ask it.
#pragma once

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client.h"
#include "snmp/agent.h"

namespace host::test {

constexpr std::chrono::seconds kDeadline(20);

class AgentTest : public ::testing::Test {
 protected:
  AgentTest() { agent_->Follow({{"public"}}); }

  /// Runs the loop until the condition holds; false when it does not within the deadline.
  bool RunUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!condition()) {
      loop_.restart();
      if (loop_.run_one_until(deadline) == 0) return condition();
    }
    return true;
  }

  /// Runs the loop until the client has an answer.
  std::optional<Response> AnswerTo(Client& client) {
    std::optional<Response> answer;
    RunUntil([&] {
      answer = client.TakeAnswer();
      return answer.has_value();
    });
    return answer;
  }

  std::optional<Response> Ask(Client& client, const Message& message = {}) {
    client.Send(message);
    return AnswerTo(client);
  }

  /// Asks as a new client.
  std::optional<Response> Ask(const Endpoint& server, const Message& message = {}) {
    Client client(server);
    return Ask(client, message);
  }

  /// True when the request is passed over: the next answer is that to a good one sent after it.
  bool IsIgnored(const Endpoint& server, const std::string& request,
                 const std::string& good_community = "public") {
    Client client(server);
    client.Send(request);
    const auto answer = Ask(client, {good_community, Operation::kGet, kSysDescr, 77});
    return answer && answer->id == 77;
  }

  boost::asio::io_context loop_;
  std::vector<std::pair<int, std::string>> log_;
  std::unique_ptr<SnmpAgent> agent_ = std::make_unique<SnmpAgent>(
      loop_, [this](int priority, const std::string& text) { log_.emplace_back(priority, text); });
};

/// Sends `count` requests with the ids 1 to `count`.
inline void SendMany(Client& client, int count) {
  for (int id = 1; id <= count; ++id) {
    client.Send({"public", Operation::kGet, kSysDescr, id});
  }
}

/// Number of answers that have come.
inline int CountAnswers(Client& client) {
  int count = 0;
  while (client.TakeAnswer()) ++count;
  return count;
}

}  // namespace host::test
