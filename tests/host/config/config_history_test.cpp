// The configurations that were in force are kept, whatever happens to the disk and the process.
#include "config/config_history.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "config/store.h"
#include "failing_calls.h"
#include "runtime/process.h"
#include "support.h"

namespace host::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

ino_t FileNumber(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_ino;
}

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 0777U;
}

class ConfigHistoryTest : public ::testing::Test {
 protected:
  ConfigHistoryTest() { Restart(); }

  /// Another process reads what is there.
  void Restart() {
    history_ = std::make_unique<host::ConfigHistory>(DeviceModels().Context(), running_.Path(),
                                                     folder_.Path("history"));
    history_->Open();
  }

  void Commit(const std::string& text) {
    history_->Settle();
    running_.Save(text);
    history_->Add({"anna", 7, "edit-config"}, "set /a");
  }

  std::vector<uint32_t> Numbers() const {
    std::vector<uint32_t> numbers;
    for (const auto& entry : history_->Entries()) numbers.push_back(entry.number);
    return numbers;
  }

  std::string ConfigurationOf(uint32_t number) const {
    return host::ReadFile(history_->FileOf(number));
  }

  std::string CommitFile(uint32_t number) const {
    return folder_.Path("history/" + std::to_string(number) + ".commit.json");
  }

  size_t Faults() const { return host::ThisProcess().faults.size() - faults_before_; }
  std::string LastFault() const { return host::ThisProcess().faults.back().text; }

  TestFolder folder_;
  host::Store running_{folder_.Path("running.json")};
  std::unique_ptr<host::ConfigHistory> history_;
  size_t faults_before_ = host::ThisProcess().faults.size();
};

TEST_F(ConfigHistoryTest, KeepsEachWithWhoAndWhat) {
  Commit("one");
  Commit("two");
  for (int round = 0; round < 2; ++round) {
    ASSERT_THAT(Numbers(), ElementsAre(1, 2));
    EXPECT_EQ(ConfigurationOf(1), "one");
    EXPECT_EQ(ConfigurationOf(2), "two");
    const host::KeptConfiguration& kept = history_->Entries().front();
    EXPECT_THAT(kept.time, ::testing::MatchesRegex("....-..-..T..:..:...*"));
    EXPECT_EQ(kept.author.user, "anna");
    EXPECT_EQ(kept.author.session, 7U);
    EXPECT_EQ(kept.author.operation, "edit-config");
    EXPECT_EQ(kept.changes, "set /a");
    Restart();
  }
  EXPECT_EQ(Faults(), 0U);
}

TEST_F(ConfigHistoryTest, NothingIsMadeBeforeThereIsSomethingToKeep) {
  EXPECT_THAT(folder_.Names(), IsEmpty());
  EXPECT_EQ(host::HistoryData(DeviceModels().Context(), history_->Entries()), nullptr);
}

TEST_F(ConfigHistoryTest, OthersMayNotReadIt) {
  Commit("secret");
  EXPECT_EQ(ModeOf(folder_.Path("history")), 0700U);
  EXPECT_EQ(ModeOf(history_->FileOf(1)), 0600U);
  EXPECT_EQ(ModeOf(CommitFile(1)), 0600U);
}

TEST_F(ConfigHistoryTest, AConfigurationIsNotWrittenTwice) {
  Commit("one");
  EXPECT_EQ(FileNumber(history_->FileOf(1)), FileNumber(running_.Path()));
}

TEST_F(ConfigHistoryTest, WhereFilesHaveOneNameItIsCopied) {
  const FailingCall none({"linkat"}, FailingCall::kAlways, EPERM);
  Commit("one");
  EXPECT_EQ(ConfigurationOf(1), "one");
  EXPECT_NE(FileNumber(history_->FileOf(1)), FileNumber(running_.Path()));
}

TEST_F(ConfigHistoryTest, KeepsTheLastFifty) {
  for (int i = 1; i <= 53; ++i) Commit("text " + std::to_string(i));
  EXPECT_THAT(history_->Entries(), SizeIs(host::ConfigHistory::kMost));
  EXPECT_FALSE(history_->Has(3));
  EXPECT_TRUE(history_->Has(4));
  EXPECT_EQ(ConfigurationOf(4), "text 4");
  const fs::directory_iterator files(folder_.Path("history"));
  EXPECT_EQ(std::distance(begin(files), end(files)), 100);
}

TEST_F(ConfigHistoryTest, WhatIsFoundAtAStartIsKeptUnlessItIsAlready) {
  Commit("one");
  Restart();
  history_->AddFound({"", 0, "start"});
  EXPECT_THAT(Numbers(), ElementsAre(1));
  running_.Save("somebody else's");
  history_->AddFound({"", 0, "start"});
  EXPECT_THAT(Numbers(), ElementsAre(1, 2));
  EXPECT_EQ(ConfigurationOf(2), "somebody else's");
  EXPECT_EQ(ConfigurationOf(1), "one");
}

TEST_F(ConfigHistoryTest, WhatCannotBeKeptIsToldOnceAndKeptLater) {
  running_.Save("zero");
  {
    const FailingCall full({"fsync"}, FailingCall::kAlways, ENOSPC);
    history_->Add({"anna", 7, "edit-config"}, "");
    EXPECT_TRUE(history_->IsBehind());
    EXPECT_EQ(Faults(), 1U);
    EXPECT_THAT(LastFault(), HasSubstr("is not in the history, and tried again until it is"));
    history_->Settle();
    EXPECT_EQ(Faults(), 1U);
  }
  Commit("one");
  EXPECT_FALSE(history_->IsBehind());
  EXPECT_EQ(ConfigurationOf(Numbers().back()), "one");
}

TEST_F(ConfigHistoryTest, WhatCouldNotBeKeptIsKeptBeforeItIsReplaced) {
  running_.Save("one");
  {
    const FailingCall full({"fsync"}, 0, ENOSPC);
    history_->Add({"anna", 7, "edit-config"}, "");
  }
  EXPECT_TRUE(history_->IsBehind());
  Commit("two");
  ASSERT_THAT(Numbers(), ElementsAre(1, 2));
  EXPECT_EQ(ConfigurationOf(1), "one");
  EXPECT_EQ(ConfigurationOf(2), "two");
}

class EachHistoryCall : public ConfigHistoryTest, public ::testing::WithParamInterface<int> {};

TEST_P(EachHistoryCall, ThatFailsOnceKeepsNothingBroken) {
  static constexpr const char* kCalls[] = {"open",  "fstat",  "read", "write",
                                           "fsync", "rename", "link", "linkat"};
  Commit("first");
  int failed = 0;
  for (bool has_failed = true; has_failed; ++failed) {
    has_failed = false;
    const std::string text = "text " + std::to_string(failed);
    running_.Save(text);
    {
      const FailingCall failing(kCalls, failed, GetParam(), &has_failed);
      history_->Add({"anna", 7, "edit-config"}, "");
    }
    const bool was_behind = history_->IsBehind();
    history_->Settle();
    EXPECT_FALSE(history_->IsBehind());
    const uint32_t number = Numbers().back();
    EXPECT_EQ(ConfigurationOf(number), text) << was_behind;
    Restart();
    EXPECT_EQ(Numbers().back(), number);
  }
  EXPECT_GE(failed, 6);
  EXPECT_EQ(Numbers().size(), 1U + static_cast<size_t>(failed));
}

INSTANTIATE_TEST_SUITE_P(Errors, EachHistoryCall, ::testing::Values(EIO, ENOSPC, EROFS, EMFILE));

TEST_F(ConfigHistoryTest, WhatAKilledProcessHadBegunIsGone) {
  Commit("one");
  Commit("two");
  Commit("three");
  fs::remove(history_->FileOf(1));
  fs::rename(CommitFile(3), CommitFile(3) + ".tmp");
  Restart();
  EXPECT_THAT(Numbers(), ElementsAre(2));
  EXPECT_FALSE(fs::exists(CommitFile(3) + ".tmp"));
  EXPECT_FALSE(fs::exists(CommitFile(1)));
  EXPECT_FALSE(fs::exists(history_->FileOf(3)));
  EXPECT_EQ(Faults(), 0U);
  history_->AddFound({"", 0, "start"});
  EXPECT_THAT(Numbers(), ElementsAre(2, 4));
}

TEST_F(ConfigHistoryTest, WhatAKilledProcessHadOneTooManyOfGoes) {
  for (int i = 1; i <= 50; ++i) Commit("text");
  folder_.Write("history/51.json", "text");
  std::string commit = host::ReadFile(CommitFile(50));
  folder_.Write("history/51.commit.json", commit.replace(commit.find("50"), 2, "51"));
  Restart();
  EXPECT_THAT(history_->Entries(), SizeIs(host::ConfigHistory::kMost));
  EXPECT_TRUE(history_->Has(51));
  EXPECT_FALSE(fs::exists(CommitFile(1)));
}

TEST_F(ConfigHistoryTest, SpoiltOnesAreLeftOutAndToldAndStay) {
  for (const char* text : {"one", "two", "three", "four", "five", "six"}) Commit(text);
  folder_.Write("history/1.commit.json", "{");
  folder_.Write("history/2.commit.json", "{}");
  fs::remove(CommitFile(3));
  folder_.Write("history/4.commit.json", host::ReadFile(CommitFile(5)));
  fs::remove(history_->FileOf(5));
  folder_.Write("history/5.json", "");
  Restart();
  EXPECT_THAT(Numbers(), ElementsAre(6));
  EXPECT_EQ(Faults(), 1U);
  for (const char* part : {"leaves out: 1, ", "; 2, it tells of no configuration", "; 3, cannot",
                           "; 4, it tells of 5", "; 5, ", " is empty"}) {
    EXPECT_THAT(LastFault(), HasSubstr(part));
  }
  EXPECT_TRUE(fs::exists(history_->FileOf(3)));
  for (size_t i = 0; i < host::ConfigHistory::kMost; ++i) Commit(std::to_string(i));
  const fs::directory_iterator files(folder_.Path("history"));
  EXPECT_EQ(std::distance(begin(files), end(files)), 100);
}

TEST_F(ConfigHistoryTest, WhatIsInTheFolderAndIsNoneOfItStays) {
  Commit("one");
  for (const char* name : {"history/readme", "history/x.json", "history/1.json.bak"}) {
    folder_.Write(name, "text");
  }
  Restart();
  EXPECT_THAT(Numbers(), ElementsAre(1));
  EXPECT_EQ(host::ReadFile(folder_.Path("history/x.json")), "text");
}

TEST_F(ConfigHistoryTest, AFolderThatCannotBeReadIsNotWrittenInto) {
  Commit("one");
  fs::rename(folder_.Path("history"), folder_.Path("aside"));
  folder_.Write("history", "a file");
  Restart();
  EXPECT_EQ(Faults(), 1U);
  EXPECT_THAT(LastFault(), HasSubstr("Not a directory"));
  Commit("two");
  EXPECT_TRUE(history_->IsBehind());
  fs::remove(folder_.Path("history"));
  fs::rename(folder_.Path("aside"), folder_.Path("history"));
  history_->Settle();
  ASSERT_THAT(Numbers(), ElementsAre(1, 2));
  EXPECT_EQ(ConfigurationOf(1), "one");
}

TEST_F(ConfigHistoryTest, GivesNoWayWhereThatDoesNotHelp) {
  Commit("one");
  Commit("two");
  EXPECT_FALSE(history_->GiveWay(uint64_t{1} << 60U));
  EXPECT_FALSE(history_->GiveWay(1));
  EXPECT_THAT(Numbers(), ElementsAre(1, 2));
}

}  // namespace
}  // namespace host::test
