// The extra list: parsing of its printed form and the probes of its entries.

#include <stdexcept>

#include "agent_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BindExtraTest : public AgentTest {
 protected:
  /// The probes that were tried, as address:port.
  std::vector<std::string> Probes() const {
    const std::string start = "log BindAgent: Trying to bind to ";
    std::vector<std::string> probes = device_.Events(start);
    for (std::string& probe : probes) probe.erase(0, start.size());
    return probes;
  }
};

std::string Extra(const std::string& text) { return agent::Line("BindExtra", 10, text); }

TEST_F(BindExtraTest, ProbesEntryAndLogsEachStep) {
  EXPECT_TRUE(BindExtra(agent::List({"127.0.0.1:10161"})));
  EXPECT_THAT(LogLines(),
              ElementsAre(Extra("Extra list: [ 127.0.0.1:10161 ]"), Extra("Processing ["),
                          Extra("Processing 127.0.0.1:10161"), Extra("IP: 127.0.0.1, port 10161"),
                          agent::Line("BindAgent", 10, "Trying to bind to 127.0.0.1:10161"),
                          agent::Line("BindAgent", 11, agent::kBound), Extra("Processing ]")));
}

TEST_F(BindExtraTest, ProbesV4AndBracketedV6) {
  EXPECT_FALSE(BindExtra(agent::List({"10.0.0.1:161", "[2001:db8::1]:162"})));
  EXPECT_THAT(Probes(), ElementsAre("10.0.0.1:161", "2001:db8::1:162"));
}

TEST_F(BindExtraTest, LogsAddressWithoutBrackets) {
  BindExtra(agent::List({"[2001:db8::1]:162"}));
  EXPECT_THAT(LogLines(), ::testing::Contains(Extra("IP: 2001:db8::1, port 162")));
}

TEST_F(BindExtraTest, TakesV6WithoutBracketsUpToItsLastColon) {
  BindExtra(agent::List({"2001:db8::1:10161"}));
  EXPECT_THAT(Probes(), ElementsAre("2001:db8::1:10161"));
  EXPECT_THAT(LogLines(), ::testing::Contains(Extra("IP: 2001:db8::1, port 10161")));
}

TEST_F(BindExtraTest, DropsEveryBracket) {
  BindExtra(agent::List({"[[::]]1]:10161"}));
  EXPECT_THAT(LogLines(), ::testing::Contains(Extra("IP: ::1, port 10161")));
}

TEST_F(BindExtraTest, SkipsOtherWordsAndLogsNothingElse) {
  EXPECT_TRUE(BindExtra(common::MakeBuf("10.0.0.1 host: a:161x")));
  EXPECT_THAT(LogLines(),
              ElementsAre(Extra("Extra list: 10.0.0.1 host: a:161x"), Extra("Processing 10.0.0.1"),
                          Extra("Processing host:"), Extra("Processing a:161x")));
}

TEST_F(BindExtraTest, SkipsAWordOfTensOfThousandsOfDigits) {
  // The room for the list's text grows with its entries.
  std::vector<std::string> words(8, "host:");
  words[0] = std::string(60000, '1');
  EXPECT_TRUE(BindExtra(agent::List(words)));
  EXPECT_THAT(Probes(), IsEmpty());
}

TEST_F(BindExtraTest, SkippedWordsDoNotChangeAFailure) {
  EXPECT_FALSE(BindExtra(agent::List({"192.0.2.1:10161", "10.0.0.1", "host:", "a:161x"})));
  EXPECT_THAT(Probes(), ElementsAre("192.0.2.1:10161"));
}

TEST_F(BindExtraTest, ProbesTheEmptyAddressOfAWordThatStartsWithItsColon) {
  EXPECT_FALSE(BindExtra(agent::List({":161"})));
  EXPECT_THAT(Probes(), ElementsAre(":161"));
}

TEST_F(BindExtraTest, LaterEntriesAreProbedAfterAFailure) {
  EXPECT_FALSE(BindExtra(agent::List({"192.0.2.1:10161", "127.0.0.1:10162"})));
  EXPECT_THAT(Probes(), ElementsAre("192.0.2.1:10161", "127.0.0.1:10162"));
}

TEST_F(BindExtraTest, EarlierSuccessDoesNotHideALaterFailure) {
  EXPECT_FALSE(BindExtra(agent::List({"127.0.0.1:10162", "192.0.2.1:10161"})));
}

TEST_F(BindExtraTest, AllWhiteSpaceSeparatesWords) {
  EXPECT_TRUE(BindExtra(common::MakeBuf(" 127.0.0.1:10161\t127.0.0.1:10162\n127.0.0.1:10163\r")));
  EXPECT_THAT(Probes(), ElementsAre("127.0.0.1:10161", "127.0.0.1:10162", "127.0.0.1:10163"));
}

TEST_F(BindExtraTest, EmptyListIsBound) {
  EXPECT_TRUE(BindExtra(agent::List({})));
  EXPECT_THAT(LogLines(), ElementsAre(Extra("Extra list: ")));
}

TEST_F(BindExtraTest, KeepsTheLow16BitsOfAPort) {
  EXPECT_TRUE(BindExtra(agent::List({"127.0.0.1:70000"})));
  EXPECT_THAT(Probes(), ElementsAre("127.0.0.1:4464"));
  EXPECT_THAT(LogLines(), ::testing::Contains(Extra("IP: 127.0.0.1, port 70000")));
}

TEST_F(BindExtraTest, ReadsPortsInBaseTen) {
  EXPECT_TRUE(BindExtra(agent::List({"127.0.0.1:010161"})));
  EXPECT_THAT(Probes(), ElementsAre("127.0.0.1:10161"));
}

TEST_F(BindExtraTest, PortTooLongForANumberThrows) {
  const common::OwnedValue list(agent::List({"127.0.0.1:999999999999999999999999", "x:1"}));
  try {
    handler_.BindExtra(&list.Value());
    FAIL() << "no exception";
  } catch (const std::out_of_range& exception) {
    EXPECT_STREQ("stoul", exception.what());
  }
  EXPECT_TRUE(Probes().empty());
}

TEST_F(BindExtraTest, WidthOfUnsignedLongIsTheLimitOfAPort) {
  const common::OwnedValue list(agent::List({"127.0.0.1:4294967297"}));
  if (sizeof(unsigned long) == 4) {
    EXPECT_THROW(handler_.BindExtra(&list.Value()), std::out_of_range);
  } else {
    handler_.BindExtra(&list.Value());
    EXPECT_THAT(Probes(), ElementsAre("127.0.0.1:1"));
  }
}

TEST_F(BindExtraTest, CutsAValueThatIsNoListTo8192Bytes) {
  EXPECT_TRUE(BindExtra(common::MakeBuf(std::string(9000, 'a'))));
  const std::string cut(8191, 'a');
  EXPECT_THAT(LogLines(), ElementsAre(Extra("Extra list: " + cut), Extra("Processing " + cut)));
}

TEST_F(BindExtraTest, HasRoomFor8192BytesForEachElementOfAList) {
  const std::string word(9000, 'a');
  EXPECT_TRUE(BindExtra(agent::List({word, word})));
  const std::string printed = "[ " + word + " " + word + " ]";
  EXPECT_EQ(Extra("Extra list: " + printed.substr(0, 2 * 8192 - 1)), LogLines().front());
}

TEST_F(BindExtraTest, PrintsTheListOnce) {
  BindExtra(agent::List({"127.0.0.1:10161", "127.0.0.1:10162"}));
  EXPECT_EQ(1, device_.confd.printed_values);
}

TEST_F(BindExtraTest, NothingButProbesShowsWithoutDetail) {
  device_.log.threshold = 11;
  BindExtra(agent::List({"127.0.0.1:10161", "host:"}));
  EXPECT_THAT(LogLines(), ElementsAre(agent::Line("BindAgent", 11, agent::kBound)));
}

}  // namespace
