// The agent with many listeners, many changes and busy managers.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <boost/asio/steady_timer.hpp>
#include <iostream>

#include "agent_fixture.h"
#include "load_client.h"
#include "process_state.h"

namespace host::test {
namespace {

using std::chrono::milliseconds;

class AgentLoadTest : public AgentTest {
 protected:
  /// `count` listeners in 127.`net`.0.0/16.
  std::set<Endpoint> Net(int net, int count) const {
    std::set<Endpoint> endpoints;
    for (int i = 0; i < count; ++i) {
      endpoints.insert({"127." + std::to_string(net) + "." + std::to_string(i / 250) + "." +
                            std::to_string(i % 250 + 1),
                        port_});
    }
    return endpoints;
  }

  /// SetListeners() while only about 20 more descriptors can be opened.
  std::vector<ListenerFailure> SetWithFewDescriptors(const std::set<Endpoint>& wanted) {
    rlimit before = {};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few = {OpenDescriptors() + 20, before.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    auto failures = agent_->SetListeners(wanted);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    return failures;
  }

  const uint16_t port_ = FreePort();
  const Endpoint a_ = {"127.0.0.1", port_};
  const Endpoint b_ = {"127.0.0.2", port_};
  const Endpoint c_ = {"127.0.0.3", port_};
};

/// Changes one of the agent's listeners every few milliseconds, then stops the clients.
class Changes {
 public:
  Changes(boost::asio::io_context& loop, std::function<void(int)> change, int count,
          std::function<void()> end)
      : timer_(loop), change_(std::move(change)), left_(count), end_(std::move(end)) {
    Next();
  }

 private:
  void Next() {
    timer_.expires_after(milliseconds(20));
    timer_.async_wait([this](const boost::system::error_code& error) {
      if (!error) {
        left_ > 0 ? change_(left_--) : end_();
        Next();
      }
    });
  }

  boost::asio::steady_timer timer_;
  std::function<void(int)> change_;
  int left_;
  std::function<void()> end_;
};

TEST_F(AgentLoadTest, UnchangedListenerLosesNothing) {
  constexpr int kChanges = 50;
  ASSERT_TRUE(agent_->SetListeners({a_, b_}).empty());
  LoadClient closed(LoadClient::Kind::kClosedLoop, a_);
  LoadClient open(LoadClient::Kind::kThousandPerSecond, a_);
  const auto change = [this](int i) { agent_->SetListeners({a_, i % 2 == 0 ? c_ : b_}); };
  const auto end = [&] {
    closed.Stop();
    open.Stop();
  };
  Changes changes(loop_, change, kChanges, end);
  ASSERT_TRUE(RunUntil([&] { return closed.IsOver() && open.IsOver(); }));
  std::cout << kChanges << " changes: lost " << closed.Lost() << " of " << closed.Sent()
            << " closed-loop, " << open.Lost() << " of " << open.Sent() << " open-loop requests\n";
  EXPECT_EQ(closed.Lost(), 0);
  EXPECT_EQ(open.Lost(), 0);
  EXPECT_GE(open.Sent(), kChanges * 15) << "the clients were busy meanwhile";
}

TEST_F(AgentLoadTest, MoreListenersThanSelectCanWaitFor) {
  constexpr int kListeners = 1200;
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < kListeners + 200) {
    GTEST_SKIP() << "hard limit of descriptors: " << limit.rlim_max;
  }
  auto endpoints = Net(1, kListeners);
  ASSERT_TRUE(agent_->SetListeners(endpoints).empty());
  EXPECT_EQ(agent_->Listeners(), endpoints);
  for (const Endpoint& endpoint : endpoints) ASSERT_TRUE(Ask(endpoint)) << endpoint;
  endpoints.erase(endpoints.begin());
  endpoints.insert(a_);
  ASSERT_TRUE(agent_->SetListeners(endpoints).empty());
  EXPECT_TRUE(Ask(a_));
  EXPECT_TRUE(Ask(*endpoints.rbegin()));
}

TEST_F(AgentLoadTest, WithoutDescriptorsTheFirstOnesServe) {
  const auto failures = SetWithFewDescriptors(Net(1, 50));
  ASSERT_FALSE(failures.empty());
  EXPECT_EQ(failures[0].reason, "Too many open files");
  const auto& open = agent_->Listeners();
  ASSERT_EQ(open.size(), 50 - failures.size());
  EXPECT_TRUE(Ask(*open.begin()));
  EXPECT_TRUE(Ask(*open.rbegin()));
}

TEST_F(AgentLoadTest, NewListenersTakeTheDescriptorsOfTheOld) {
  ASSERT_TRUE(agent_->SetListeners(Net(1, 50)).empty());
  EXPECT_TRUE(SetWithFewDescriptors(Net(2, 50)).empty());
  EXPECT_EQ(agent_->Listeners(), Net(2, 50));
}

TEST_F(AgentLoadTest, ChangesAndRequestsLeaveNoMemoryBehind) {
  constexpr int kWarmUp = 200;
  constexpr int kChanges = 2000;
  size_t heap = 0;
  size_t descriptors = 0;
  for (int i = 0; i < kWarmUp + kChanges; ++i) {
    if (i == kWarmUp) {
      heap = HeapInUse();
      descriptors = OpenDescriptors();
    }
    ASSERT_TRUE(agent_->SetListeners({a_, i % 2 == 0 ? b_ : c_}).empty());
    agent_->Follow({{"public", "another " + std::to_string(i % 2)}});
    ASSERT_TRUE(Ask(i % 2 == 0 ? b_ : c_));
  }
  const auto growth = static_cast<long>(HeapInUse()) - static_cast<long>(heap);
  std::cout << kChanges << " changes: heap grew by " << growth << " bytes\n";
  EXPECT_LE(growth, 4096);
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace host::test
