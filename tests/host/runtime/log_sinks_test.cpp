// Records that nobody reads.
#ifndef HAVE_ZLOG

#include "runtime/log_sinks.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spdlog/logger.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace host {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr size_t kRecords = 10000;

spdlog::logger LoggerOf(std::shared_ptr<LossySink> sink) {
  sink->set_pattern("%v");
  return spdlog::logger("cat", std::move(sink));
}

/// All that there is to read at once.
std::string Drain(int descriptor) {
  std::string text;
  std::array<char, 65536> part = {};
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  ssize_t size = 0;
  while ((size = read(descriptor, part.data(), part.size())) > 0) {
    text.append(part.data(), static_cast<size_t>(size));
  }
  return text;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// What waits for a reader is ended.
class UnreadLog : public testing::Test {
 protected:
  UnreadLog() { alarm(60); }
  ~UnreadLog() override { alarm(0); }

  /// Writes more records than fit, reads, and writes one more; all are there or counted.
  static void CheckUnread(int writer, int reader, size_t length) {
    spdlog::logger logger = LoggerOf(std::make_shared<StandardErrorSink>(writer));
    const std::string record(length, 'x');
    for (size_t i = 0; i < kRecords; ++i) logger.info(record);
    std::string text = Drain(reader);
    logger.info("last");
    text += Drain(reader);
    const std::vector<std::string> lines = Lines(text);
    ASSERT_GE(lines.size(), 3U);
    const size_t whole = lines.size() - 2;
    ASSERT_LT(whole, kRecords);
    for (size_t i = 0; i < whole; ++i) ASSERT_EQ(lines[i], record) << i;
    EXPECT_THAT(lines[whole],
                StartsWith(std::to_string(kRecords - whole) + " records are missing here"));
    EXPECT_EQ(lines[whole + 1], "last");
  }
};

TEST_F(UnreadLog, InAPipeHoldsNobodyAndIsCounted) {
  for (const size_t length : {100, 5000, 40000}) {
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    CheckUnread(ends[1], ends[0], length);
    close(ends[0]);
    close(ends[1]);
  }
}

TEST_F(UnreadLog, InASocketHoldsNobodyAndIsCounted) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  CheckUnread(ends[1], ends[0], 5000);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(UnreadLog, InATerminalHoldsNobody) {
  const int reader = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  ASSERT_EQ(grantpt(reader) | unlockpt(reader), 0);
  const int writer = open(ptsname(reader), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  spdlog::logger logger = LoggerOf(std::make_shared<StandardErrorSink>(writer));
  for (size_t i = 0; i < kRecords; ++i) logger.info(std::string(100, 'x'));
  Drain(reader);
  logger.info("last");
  EXPECT_THAT(Drain(reader), HasSubstr(" records are missing here"));
  close(writer);
  close(reader);
}

TEST_F(UnreadLog, OfASlowReaderIsWhole) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  fcntl(ends[1], F_SETPIPE_SZ, 4096);
  size_t received = 0;
  std::thread reader([&] {
    std::array<char, 1000> part = {};
    ssize_t size = 0;
    while ((size = read(ends[0], part.data(), part.size())) > 0) {
      received += static_cast<size_t>(size);
    }
  });
  {
    spdlog::logger logger = LoggerOf(std::make_shared<StandardErrorSink>(ends[1]));
    for (size_t i = 0; i < kRecords; ++i) logger.info(std::string(99, 'x'));
  }
  close(ends[1]);
  reader.join();
  EXPECT_EQ(received, 100 * kRecords);
  close(ends[0]);
}

/// Stands for the journal.
class UnreadJournal : public UnreadLog {
 protected:
  UnreadJournal() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path_.c_str());
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~UnreadJournal() override {
    close(socket_);
    unlink(path_.c_str());
  }

  std::string Received() const {
    std::array<char, 4096> text = {};
    const ssize_t size = recv(socket_, text.data(), text.size(), MSG_DONTWAIT);
    return size > 0 ? std::string(text.data(), static_cast<size_t>(size)) : std::string();
  }

  const std::string path_ =
      std::filesystem::temp_directory_path() / ("snmp-app-journal-" + std::to_string(getpid()));
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(UnreadJournal, HoldsNobodyAndIsCounted) {
  spdlog::logger logger = LoggerOf(std::make_shared<JournalSink>("name", path_));
  for (size_t i = 0; i < kRecords; ++i) logger.warn("a record");
  size_t taken = 0;
  while (Received() ==
         "MESSAGE=a record\nPRIORITY=5\nSYSLOG_IDENTIFIER=name\n"
         "SNMP_APP_CATEGORY=cat\n")
    ++taken;
  EXPECT_GT(taken, 0U);
  logger.log(spdlog::source_loc{"a.cpp", 17, "Function"}, spdlog::level::info, "last");
  EXPECT_THAT(Received(), StartsWith("MESSAGE=" + std::to_string(kRecords - taken) +
                                     " records are missing here"));
  EXPECT_EQ(Received(),
            "MESSAGE=last\nPRIORITY=6\nSYSLOG_IDENTIFIER=name\nSNMP_APP_CATEGORY=cat\n"
            "CODE_FILE=a.cpp\nCODE_LINE=17\nCODE_FUNC=Function\n");
}

}  // namespace
}  // namespace host

#endif  // HAVE_ZLOG
