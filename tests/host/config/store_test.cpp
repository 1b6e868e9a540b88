#include "config/store.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "failing_calls.h"
#include "support.h"

namespace host::test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// A disk that is full for files of more than `size` bytes.
class FullDisk {
 public:
  explicit FullDisk(rlim_t size) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  sighandler_t handler_;
  rlimit before_ = {};
};

/// Another user than root, who may write everywhere.
class OrdinaryUser {
 public:
  OrdinaryUser() : was_root_(geteuid() == 0) {
    if (was_root_ && seteuid(65534) != 0) throw std::runtime_error("no other user");
  }
  ~OrdinaryUser() {
    if (was_root_ && seteuid(0) != 0) abort();
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  bool was_root_;
};

class StoreTest : public ::testing::Test {
 protected:
  void ExpectSaveFails(const std::string& reason) {
    EXPECT_THAT([this] { store_.Save("new"); }, ThrowsMessage<std::runtime_error>(AllOf(
                                                    HasSubstr(store_.Path()), HasSubstr(reason))));
  }

  TestFolder folder_;
  host::Store store_{folder_.Path("running.json")};
};

TEST_F(StoreTest, NothingThere) { EXPECT_EQ(store_.Load(), std::nullopt); }

TEST_F(StoreTest, SavedTextIsLoadedAgain) {
  store_.Save("one");
  EXPECT_EQ(store_.Load(), "one");
  store_.Save("another");
  EXPECT_EQ(store_.Load(), "another");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoreTest, EmptyTextIsAFileAllTheSame) {
  store_.Save("");
  EXPECT_EQ(store_.Load(), "");
}

TEST_F(StoreTest, OthersMayNotReadTheFile) {
  store_.Save("secret");
  struct stat status = {};
  ASSERT_EQ(stat(store_.Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(StoreTest, LeftoversOfAKilledProcessAreReplaced) {
  folder_.Write("running.json.tmp", "half a configurat");
  store_.Save("new");
  EXPECT_EQ(store_.Load(), "new");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoreTest, LeftoverThatIsALinkIsNotWrittenThrough) {
  const std::string other = folder_.Write("other", "precious");
  fs::create_symlink(other, folder_.Path("running.json.tmp"));
  store_.Save("new");
  EXPECT_EQ(host::ReadFile(other), "precious");
}

TEST_F(StoreTest, FullDiskLeavesTheOldFile) {
  store_.Save("old");
  {
    const FullDisk disk(1000);
    EXPECT_THAT([this] { store_.Save(std::string(5000, 'x')); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("cannot write " + store_.Path()), HasSubstr("too large"))));
  }
  EXPECT_EQ(store_.Load(), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoreTest, FailedSyncOfTheFileLeavesTheOldFile) {
  store_.Save("old");
  const FailingCall failing({"fsync"}, 0, EIO);
  ExpectSaveFails("Input/output error");
  EXPECT_EQ(store_.Load(), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

/// Also where the file system has no hard links to keep the old file by.
TEST_F(StoreTest, FailedSyncOfTheFolderIsUncertainAndTheNewFileIsThere) {
  const FailingCall no_links({"link", "linkat"}, FailingCall::kAlways, EPERM);
  for (const char* text : {"first", "second"}) {
    const FailingCall failing({"fsync"}, 1, EIO);
    EXPECT_THAT([&] { store_.Save(text); },
                ThrowsMessage<host::UncertainSave>(
                    HasSubstr("cannot write folder " + folder_.Path() + ": Input/output")));
    EXPECT_EQ(store_.Load(), text);
    EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
  }
}

TEST_F(StoreTest, FolderThatTheFileSystemCannotSyncNeedsNone) {
  const FailingCall failing({"fsync"}, 1, EINVAL);
  store_.Save("new");
  EXPECT_TRUE(failing.HasFailed());
  EXPECT_EQ(store_.Load(), "new");
}

class EachCall : public StoreTest, public ::testing::WithParamInterface<int> {
 protected:
  static constexpr const char* kCalls[] = {"open",  "fstat", "lstat",  "read",
                                           "write", "fsync", "rename", "unlink"};
};

TEST_P(EachCall, OfASaveThatFailsOnceLeavesTheOldOrTheNewTextAndSaysWhich) {
  int failed = 0;
  for (int number = 0;; ++number) {
    store_.Save("old");
    std::string expected = "new";
    bool has_failed = false;
    try {
      const FailingCall failing(kCalls, number, GetParam(), &has_failed);
      store_.Save("new");
    } catch (const host::UncertainSave&) {
      EXPECT_NE(GetParam(), EINTR);
    } catch (const std::runtime_error&) {
      EXPECT_NE(GetParam(), EINTR);
      expected = "old";
    }
    EXPECT_EQ(store_.Load(), expected) << "call " << number;
    EXPECT_THAT(folder_.Names(), ElementsAre("running.json")) << "call " << number;
    if (!has_failed) break;
    ++failed;
  }
  EXPECT_GE(failed, 7);
}

TEST_P(EachCall, OfALoadThatFailsOnceIsNoMissingFileAndChangesNothing) {
  store_.Save("old");
  int failed = 0;
  for (int number = 0;; ++number) {
    const FailingCall failing(kCalls, number, GetParam());
    try {
      EXPECT_EQ(store_.Load(), "old");
    } catch (const std::runtime_error& error) {
      EXPECT_NE(GetParam(), EINTR);
      EXPECT_THAT(error.what(), HasSubstr("cannot read " + store_.Path()));
    }
    if (!failing.HasFailed()) break;
    ++failed;
  }
  EXPECT_GE(failed, 4);
  EXPECT_EQ(store_.Load(), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

INSTANTIATE_TEST_SUITE_P(Errors, EachCall,
                         ::testing::Values(EIO, EINTR, EMFILE, ENOMEM, EACCES, EPERM, ENOSPC,
                                           EROFS));

TEST_F(StoreTest, ReadThatEndsEarlyIsNoWholeFile) {
  store_.Save("a whole text");
  const FailingCall ended({"read"}, 0, 0);
  EXPECT_THAT([this] { store_.Load(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("only 0 of 12 bytes came")));
}

TEST_F(StoreTest, WriteThatTakesNothingIsRefused) {
  store_.Save("old");
  const FailingCall ended({"write"}, 0, 0);
  ExpectSaveFails("Input/output error");
  EXPECT_EQ(store_.Load(), "old");
}

TEST_F(StoreTest, FolderInTheWay) {
  fs::create_directory(store_.Path());
  ExpectSaveFails("Is a directory");
  EXPECT_TRUE(fs::is_directory(store_.Path()));
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoreTest, MissingFolder) {
  const host::Store store(folder_.Path("absent/running.json"));
  EXPECT_THAT([&] { store.Save("new"); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(store.Path()), HasSubstr("No such file or directory"))));
}

TEST_F(StoreTest, ReadOnlyFolder) {
  store_.Save("old");
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0555), 0);
  {
    const OrdinaryUser user;
    ExpectSaveFails("Permission denied");
    EXPECT_THAT([this] { static_cast<void>(store_.MoveAside()); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr(store_.Path()), HasSubstr("Permission denied"))));
  }
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0700), 0);
  EXPECT_EQ(store_.Load(), "old");
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoreTest, WhatCannotBeReadIsNotTakenForNothing) {
  fs::create_directory(store_.Path());
  EXPECT_THAT([this] { store_.Load(); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(store_.Path()), HasSubstr("Is a directory"))));
}

TEST_F(StoreTest, DanglingLinkIsNotTakenForNothing) {
  fs::create_symlink(folder_.Path("absent"), store_.Path());
  EXPECT_THROW(store_.Load(), std::runtime_error);
}

TEST_F(StoreTest, FileAndFolderWithoutPermission) {
  store_.Save("old");
  ASSERT_EQ(chmod(store_.Path().c_str(), 0), 0);
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0555), 0);
  const auto expect_denied = [this] {
    const OrdinaryUser user;
    EXPECT_THAT([this] { store_.Load(); },
                ThrowsMessage<std::runtime_error>(HasSubstr("Permission denied")));
  };
  expect_denied();
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0), 0);
  expect_denied();
  {
    const OrdinaryUser user;
    EXPECT_THROW(static_cast<void>(store_.MoveAside()), std::runtime_error);
  }
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0700), 0);
}

TEST_F(StoreTest, PipeIsRefusedInsteadOfWaitedFor) {
  ASSERT_EQ(mkfifo(store_.Path().c_str(), 0600), 0);
  EXPECT_THAT([this] { store_.Load(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("no regular file")));
}

TEST_F(StoreTest, MoveAsideTakesFreeNames) {
  for (const char* name : {"refused", "refused.1", "refused.2"}) {
    store_.Save(name);
    EXPECT_EQ(store_.MoveAside(), folder_.Path(std::string("running.json.") + name));
  }
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json.refused", "running.json.refused.1",
                                           "running.json.refused.2"));
  EXPECT_EQ(host::ReadFile(folder_.Path("running.json.refused.1")), "refused.1");
}

TEST_F(StoreTest, MoveAsideOfNothing) {
  EXPECT_THROW(static_cast<void>(store_.MoveAside()), std::runtime_error);
}

}  // namespace
}  // namespace host::test
