// The command line of snmp-app-show.
#include "options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace show::test {
namespace {

using Words = std::vector<std::string>;

TEST(Options, WithoutWordsAreTablesOfEverythingOnce) {
  const auto options = ParseOptions({});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->form, Form::kTables);
  EXPECT_FALSE(options->interval);
  EXPECT_EQ(options->socket, "");
  EXPECT_EQ(options->selection.kind, nullptr);
}

TEST(Options, AreTakenInAnyOrder) {
  const auto options = ParseOptions({"target", "--json", "noc", "--socket", "/s", "two"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->form, Form::kJson);
  EXPECT_EQ(options->socket, "/s");
  EXPECT_EQ(options->selection.kind, &kTarget);
  EXPECT_EQ(options->selection.names, Words({"noc", "two"}));
}

TEST(Options, WatchHasSecondsOrTwo) {
  EXPECT_EQ(ParseOptions({"--watch"})->interval, std::chrono::seconds(2));
  EXPECT_EQ(ParseOptions({"--watch=1"})->interval, std::chrono::seconds(1));
  EXPECT_EQ(ParseOptions({"--watch=86400", "interface"})->interval, std::chrono::hours(24));
}

class RefusedWords : public testing::TestWithParam<Words> {};

TEST_P(RefusedWords, AreRefused) { EXPECT_FALSE(ParseOptions(GetParam())); }

INSTANTIATE_TEST_SUITE_P(
    Each, RefusedWords,
    testing::Values(Words{"--colour"}, Words{"--socket"}, Words{"--json", "--prometheus"},
                    Words{"--watch", "--json"}, Words{"--prometheus", "--watch=5"},
                    Words{"--watch="}, Words{"--watch=0"}, Words{"--watch=86401"},
                    Words{"--watch=-1"}, Words{"--watch=1.5"}, Words{"--watch=100000000000"},
                    Words{"router"}, Words{""}, Words{"target", ""}, Words{"target", "-x"}));

}  // namespace
}  // namespace show::test
