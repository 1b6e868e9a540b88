#include "snmp/deaf_listeners.h"

#include <gtest/gtest.h>

namespace host::test {
namespace {

using std::chrono::seconds;
using Sign = DeafListeners::Sign;

class DeafListenersTest : public ::testing::Test {
 protected:
  std::string Reopen(Sign sign = Sign::kSystem, std::errc error = {}) {
    const std::error_code code =
        error == std::errc() ? std::error_code() : std::make_error_code(error);
    return deaf_.Reopened(a_, "reason", sign, code, now_);
  }

  const Endpoint a_ = {"10.0.0.1", 161};
  DeafListeners deaf_;
  DeafListeners::Clock::time_point now_;
};

TEST_F(DeafListenersTest, ToldOnceAndWhenItHearsAgain) {
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "");
  EXPECT_EQ(Reopen(), "10.0.0.1:161: deaf, reason; opened anew");
  now_ += seconds(600);
  EXPECT_EQ(Reopen(), "");
  EXPECT_EQ(deaf_.Hears({"10.0.0.2", 161}, Sign::kSystem), "");
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "10.0.0.1:161: hears again");
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "");
  EXPECT_EQ(deaf_.OfListeners().at(a_).reopened, 2U);
  EXPECT_TRUE(deaf_.OfListeners().at(a_).hears);
  EXPECT_EQ(deaf_.Total(), 2U);
}

TEST_F(DeafListenersTest, OneThatComesAndGoesIsToldOnceAMinute) {
  int told = 0;
  for (int second = 0; second < 120; ++second, now_ += seconds(1)) {
    told += Reopen().empty() ? 0 : 1;
    told += deaf_.Hears(a_, Sign::kSystem).empty() ? 0 : 1;
  }
  EXPECT_EQ(told, 4);
}

TEST_F(DeafListenersTest, OneThatIsNotOpenedIsNotCounted) {
  EXPECT_EQ(Reopen(Sign::kSystem, std::errc::too_many_files_open),
            "10.0.0.1:161: deaf, reason; not opened anew, and tried again until it is: "
            "Too many open files");
  EXPECT_TRUE(deaf_.OfListeners().at(a_).is_closed);
  EXPECT_EQ(deaf_.Total(), 0U);
  EXPECT_EQ(Reopen(), "") << "told already";
  EXPECT_FALSE(deaf_.OfListeners().at(a_).is_closed);
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "10.0.0.1:161: hears again");
}

TEST_F(DeafListenersTest, WhatAnOwnRequestFoundOnlyAnOwnAnswerHeals) {
  Reopen(Sign::kOwnRequest);
  EXPECT_TRUE(deaf_.IsUnheard(a_));
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "");
  EXPECT_TRUE(deaf_.IsUnheard(a_));
  EXPECT_EQ(deaf_.Hears(a_, Sign::kOwnRequest), "10.0.0.1:161: hears again");
  EXPECT_FALSE(deaf_.IsUnheard(a_));
}

TEST_F(DeafListenersTest, AClosedListenerIsForgottenAndStaysInTheTotal) {
  Reopen();
  deaf_.Forget(a_);
  EXPECT_TRUE(deaf_.OfListeners().empty());
  EXPECT_EQ(deaf_.Hears(a_, Sign::kSystem), "");
  EXPECT_EQ(deaf_.Total(), 1U);
}

}  // namespace
}  // namespace host::test
