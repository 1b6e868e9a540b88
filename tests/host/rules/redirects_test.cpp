#include "rules/redirects.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "network.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string List() { return Nft("list table inet snmp-app"); }

/// Number of elements of the map in the kernel.
int CountElements() { return CountLines(Nft("list map inet snmp-app to"), "\" . "); }

class RedirectsTest : public NetworkTest {};

TEST_F(RedirectsTest, MakesNothingBeforeTheFirstRedirect) {
  const int before = KernelCalls();
  Redirects redirects;
  EXPECT_TRUE(redirects.Delete("eth1", 161, 60600));
  EXPECT_EQ(KernelCalls(), before);
  EXPECT_EQ(Nft("list ruleset"), "");
}

TEST_F(RedirectsTest, OneElementServesBothFamilies) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  const std::string table = List();
  EXPECT_THAT(table, HasSubstr("table inet snmp-app"));
  EXPECT_THAT(table, HasSubstr("flags owner"));
  EXPECT_THAT(table, HasSubstr("\"eth1\" . 161 : 60600"));
  EXPECT_THAT(table, HasSubstr("type filter hook input priority 250"));
  EXPECT_EQ(CountElements(), 1);
}

TEST_F(RedirectsTest, WhatIsThereCostsNoCall) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  const int before = KernelCalls();
  EXPECT_TRUE(redirects.Add("eth1", 161, 60600));
  EXPECT_TRUE(redirects.Delete("eth1", 162, 60600));
  EXPECT_TRUE(redirects.Delete("eth1", 161, 60601));
  EXPECT_EQ(KernelCalls(), before);
  EXPECT_EQ(CountElements(), 1);
}

TEST_F(RedirectsTest, AChangedPortIsOneCall) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  ASSERT_TRUE(redirects.Add("eth2", 161, 60601));
  const int before = KernelCalls();
  EXPECT_TRUE(redirects.Add("eth1", 161, 60602));
  EXPECT_EQ(KernelCalls(), before + 1);
  EXPECT_THAT(List(), HasSubstr("\"eth1\" . 161 : 60602"));
  EXPECT_THAT(List(), HasSubstr("\"eth2\" . 161 : 60601"));
  EXPECT_EQ(CountElements(), 2);
}

TEST_F(RedirectsTest, DeletesOneElement) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  ASSERT_TRUE(redirects.Add("eth1", 1161, 60600));
  EXPECT_TRUE(redirects.Delete("eth1", 161, 60600));
  EXPECT_THAT(List(), Not(HasSubstr(". 161 :")));
  EXPECT_THAT(List(), HasSubstr("\"eth1\" . 1161 : 60600"));
  EXPECT_TRUE(redirects.Add("eth1", 161, 60605));
  EXPECT_THAT(List(), HasSubstr("\"eth1\" . 161 : 60605"));
}

TEST_F(RedirectsTest, GoesWithTheObjectAndLeavesOthersAlone) {
  Nft("add table inet filter\n"
      "add chain inet filter input { type filter hook input priority 0; }\n"
      "add rule inet filter input udp dport 9 drop");
  const std::string before = Nft("list ruleset");
  ASSERT_THAT(before, HasSubstr("udp dport 9 drop"));
  {
    Redirects redirects;
    ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
    EXPECT_TRUE(redirects.Delete("eth1", 161, 60600));
    EXPECT_TRUE(redirects.Add("eth2", 161, 60600));
    EXPECT_THAT(Nft("list ruleset"), HasSubstr(before.substr(0, before.size() - 1)));
  }
  EXPECT_EQ(Nft("list ruleset"), before);
}

TEST_F(RedirectsTest, OutlivesAFlushByAnother) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  Nft("flush ruleset");
  EXPECT_EQ(CountElements(), 1);
  EXPECT_TRUE(redirects.Add("eth2", 161, 60601));
  EXPECT_EQ(CountElements(), 2);
}

TEST_F(RedirectsTest, IsGoneAfterAKill) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    Redirects redirects;
    const char added = redirects.Add("eth1", 161, 60600) ? 'y' : 'n';
    static_cast<void>(!::write(ready[1], &added, 1));
    for (;;) ::pause();
  }
  char added = 0;
  EXPECT_EQ(::read(ready[0], &added, 1), 1);
  EXPECT_EQ(added, 'y');
  EXPECT_EQ(CountElements(), 1);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(Nft("list ruleset"), "");
}

TEST_F(RedirectsTest, RefusesWhatIsNoName) {
  Redirects redirects;
  const int before = KernelCalls();
  for (const char* name :
       {"", ".", "..", "a b", "a/b", "a\"b", "eth*", "a\\b", "a\nb", "a:b", "\x7f", "\xc3\xa4",
        "sixteen-letters-", "\" . 161 : 1 }; flush ruleset"}) {
    EXPECT_FALSE(redirects.Add(name, 161, 60600)) << name;
  }
  EXPECT_FALSE(redirects.Add("eth1", 0, 60600));
  EXPECT_FALSE(redirects.Add("eth1", 161, 0));
  EXPECT_EQ(KernelCalls(), before);
}

TEST_F(RedirectsTest, TakesEveryOtherNameAsItIs) {
  Redirects redirects;
  for (const char* name : {"eth1.100", "a;}{#$,b", "@x", "fifteen-letters", "-", "drop", "br_0"}) {
    EXPECT_TRUE(redirects.Add(name, 161, 60600)) << name;
    EXPECT_THAT(List(), HasSubstr("\"" + std::string(name) + "\" . 161 : 60600"));
    EXPECT_TRUE(redirects.Delete(name, 161, 60600)) << name;
    EXPECT_EQ(CountElements(), 0) << name;
  }
}

/// Two live objects in one process stand for two programs.
TEST_F(RedirectsTest, TellsOfATableInTheWay) {
  Redirects other;
  ASSERT_TRUE(other.Add("eth9", 161, 60600));
  Redirects redirects;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(redirects.Add("eth1", 161, 60600));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("of another program"));
  EXPECT_EQ(CountElements(), 1);
}

TEST_F(RedirectsTest, ServesOnceTheOtherTableIsGone) {
  Redirects redirects;
  {
    Redirects other;
    ASSERT_TRUE(other.Add("eth9", 161, 60600));
    EXPECT_FALSE(redirects.Add("eth1", 161, 60600));
  }
  EXPECT_TRUE(redirects.Add("eth1", 161, 60600));
  EXPECT_EQ(CountElements(), 1);
}

TEST_F(RedirectsTest, ARefusalIsToldWithItsReason) {
  EXPECT_EXIT(
      {
        DropCapabilities();
        Redirects redirects;
        ::_exit(redirects.Add("eth1", 161, 60600) ? 1 : 0);
      },
      ::testing::ExitedWithCode(0),
      "\"eth1\" . 161 : 60600: refused by the kernel: Operation not permitted\n");
}

/// Microseconds for each of `count` Add() calls.
double TimePerAdd(Redirects& redirects, int count) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) {
    const auto port = static_cast<uint16_t>(60600 + i);
    EXPECT_TRUE(redirects.Add("eth" + std::to_string(i), 161, port));
  }
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
  return time.count() / count;
}

TEST_F(RedirectsTest, ThousandsAreOneCallEachAndNoneAgain) {
  for (const int count : {1000, 4900}) {
    Redirects redirects;
    const int before = KernelCalls();
    const double first = TimePerAdd(redirects, count);
    EXPECT_EQ(KernelCalls(), before + count);
    EXPECT_EQ(CountElements(), count);
    const double again = TimePerAdd(redirects, count);
    EXPECT_EQ(KernelCalls(), before + count);
    std::printf("%d redirects: %.1f us each, %.2f us again\n", count, first, again);
  }
}

}  // namespace
}  // namespace host::test
