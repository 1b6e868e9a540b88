// The socket that sessions come through, and the order of what goes through it.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "session_fixture.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST_F(SessionTest, OwnerAndGroupMayOpenTheSocket) {
  const auto server = NewServer();
  struct stat facts = {};
  ASSERT_EQ(stat(path_.c_str(), &facts), 0);
  EXPECT_TRUE(S_ISSOCK(facts.st_mode));
  EXPECT_EQ(facts.st_mode & 07777, 0660U);
  EXPECT_EQ(facts.st_gid, getegid());
}

TEST_F(SessionTest, AGroupThatThereIsNotIsRefused) {
  const mode_t mask = umask(022);
  EXPECT_THAT([this] { NewServer({}, "no such group"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("no such group")));
  EXPECT_EQ(umask(mask), 022U);
  EXPECT_FALSE(std::filesystem::exists(path_)) << "the socket stays";
}

TEST_F(SessionTest, ASocketThatNobodyListensAtIsReplaced) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof address.sun_path - 1);
  const int left = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(left);
  ASSERT_TRUE(std::filesystem::exists(path_));
  const auto server = NewServer();
  EXPECT_EQ(Connect()->Greet(), 1U);
}

TEST_F(SessionTest, APathInUseIsRefusedAndStaysInUse) {
  const auto server = NewServer();
  EXPECT_THAT([this] { NewServer(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("another process listens at " + path_)));
  EXPECT_NE(Connect()->Greet(), 0U);
}

TEST_F(SessionTest, AFileThatIsNoSocketIsNotRemoved) {
  folder_.Write("socket", "somebody's text");
  EXPECT_THROW(NewServer(), std::exception);
  EXPECT_TRUE(std::filesystem::is_regular_file(path_));
}

TEST_F(SessionTest, AFolderThatThereIsNotIsRefused) {
  path_ = folder_.Path("absent/socket");
  EXPECT_THAT([this] { NewServer(); }, ThrowsMessage<std::exception>(HasSubstr(path_)));
}

TEST_F(SessionTest, TheEndOfTheServerEndsItsSessionsAndRemovesTheSocket) {
  auto server = NewServer();
  const auto idle = Connect();
  const auto busy = Connect();
  idle->Greet();
  busy->Greet();
  busy->Send("\n#9\n<rpc");
  EXPECT_THAT(idle->Ask("<commit/>"), HasSubstr("<ok/>"));
  server.reset();
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_TRUE(idle->IsClosed());
  EXPECT_TRUE(busy->IsClosed());
  // What is still under way finds no server, and does no harm.
  loop_.restart();
  EXPECT_NO_THROW(loop_.run());
}

/// Requests that are sent with the hello, before any answer is read.
class Pipeline : public SessionTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(Pipeline, IsAnsweredInOrderInTheFramingOfTheHello) {
  const auto frame = GetParam() == "1.1" ? host::FrameChunked : host::FrameDelimited;
  const std::string contents[] = {"<commit/>",
                                  "<get-config><source><running/></source></get-config>"};
  std::string more;
  for (int id = 1; id <= 5; ++id) {
    more += frame(Rpc(contents[id % 2], "message-id=\"" + std::to_string(id) + "\""));
  }
  const auto server = NewServer();
  const auto client = Connect();
  EXPECT_EQ(client->Greet(GetParam(), more), 1U);
  for (int id = 1; id <= 5; ++id) {
    EXPECT_THAT(client->Receive(), AllOf(HasSubstr("message-id=\"" + std::to_string(id) + "\""),
                                         HasSubstr(id % 2 == 0 ? "<ok/>" : "<data>")));
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Pipeline, ::testing::Values("1.0", "1.1"));

}  // namespace
}  // namespace host::test
