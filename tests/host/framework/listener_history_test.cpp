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

}  // namespace
}  // namespace host
