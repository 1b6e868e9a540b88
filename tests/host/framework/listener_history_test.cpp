#include "framework/listener_history.h"

#include <gtest/gtest.h>

namespace host {
namespace {

class ListenerHistoryTest : public ::testing::Test {
 protected:
  const Endpoint a_ = {"10.0.0.1", 161};
  const Endpoint b_ = {"10.0.0.2", 161};
  ListenerHistory history_;
};

TEST_F(ListenerHistoryTest, KnowsWhatARebindRefused) {
  history_.Note({a_, b_}, {{b_, "in use"}});
  EXPECT_EQ(history_.Refused(), std::set<Endpoint>{b_});
  EXPECT_TRUE(history_.Find(a_)->bound);
  EXPECT_EQ(history_.Find(b_)->last_error, "in use");
  EXPECT_EQ(history_.Rebinds(), 1U);
}

TEST_F(ListenerHistoryTest, AnotherAttemptIsATryAndNoRebind) {
  history_.Note({a_, b_}, {{b_, "in use"}});
  history_.NoteRetry({b_}, {{b_, "no such device"}});
  EXPECT_EQ(history_.Find(b_)->tries, 2U);
  EXPECT_EQ(history_.Find(b_)->last_error, "no such device");
  history_.NoteRetry({b_}, {});
  EXPECT_EQ(history_.Find(b_)->tries, 3U);
  EXPECT_TRUE(history_.Find(b_)->bound);
  EXPECT_TRUE(history_.Refused().empty());
  EXPECT_EQ(history_.Find(a_)->tries, 1U);
  EXPECT_EQ(history_.Rebinds(), 1U);
}

TEST_F(ListenerHistoryTest, ForgetsWhatIsNotWanted) {
  history_.Note({a_, b_}, {{b_, "in use"}});
  history_.Note({a_}, {});
  EXPECT_TRUE(history_.Refused().empty());
  history_.NoteRetry({b_}, {});
  EXPECT_EQ(history_.Find(b_), nullptr);
}

TEST_F(ListenerHistoryTest, TellsOnceOfEachThatIsOpenOrNot) {
  std::vector<std::string> told;
  history_.SetObserver([&](const Endpoint& listener, bool bound, const std::string& reason) {
    told.push_back((bound ? "bound " : "unbound ") + ToText(listener) + " " + reason);
  });
  history_.Note({a_, b_}, {{b_, "in use"}});
  history_.Note({a_, b_}, {{b_, "in use"}});
  history_.NoteRetry({b_}, {});
  history_.Note({b_}, {});
  history_.Clear("disabled");
  history_.Clear("disabled");
  EXPECT_EQ(told,
            (std::vector<std::string>{
                "bound 10.0.0.1:161 ", "unbound 10.0.0.2:161 in use", "bound 10.0.0.2:161 ",
                "unbound 10.0.0.1:161 not configured any more", "unbound 10.0.0.2:161 disabled"}));
}

TEST_F(ListenerHistoryTest, OneThatWasNotOpenDoesNotClose) {
  history_.Note({b_}, {{b_, "in use"}});
  int told = 0;
  history_.SetObserver([&](const Endpoint&, bool, const std::string&) { ++told; });
  history_.Note({}, {});
  EXPECT_EQ(told, 0);
}

}  // namespace
}  // namespace host
