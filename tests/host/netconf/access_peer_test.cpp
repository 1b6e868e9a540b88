// Who has connected, and who may.
#include "netconf/access_peer.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string>
#include <system_error>

#include "netconf/access_door.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::string OwnGroup() {
  const group* entry = getgrgid(getegid());
  return entry == nullptr ? "gid " + std::to_string(getegid()) : entry->gr_name;
}

TEST(PeerTest, HasTheGroupsOfItsProcess) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const host::Peer peer = host::PeerAt(ends[0]);
  for (const int end : ends) close(end);
  EXPECT_FALSE(peer.user.empty());
  EXPECT_TRUE(peer.is_recovery) << "it is the process's own user";
  EXPECT_THAT(peer.groups, Contains(OwnGroup()));
  EXPECT_EQ(peer.groups.size(), 1U + static_cast<size_t>(getgroups(0, nullptr)));
}

TEST(PeerTest, WhoCannotBeToldIsRefused) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe(ends.data()), 0);
  EXPECT_THROW(host::PeerAt(ends[0]), std::system_error);
  for (const int end : ends) close(end);
}

TEST(DoorTest, OneMoreGroupMayOpenTheSocket) {
  const TestFolder folder;
  const std::string path = folder.Write("socket", "");
  ASSERT_EQ(chmod(path.c_str(), 0660), 0);
  host::LetGroupIn(path, 54321);
  struct stat facts = {};
  ASSERT_EQ(stat(path.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0660U);
  std::array<unsigned char, 64> list = {};
  const ssize_t size = getxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size());
  ASSERT_EQ(size, 4 + 5 * 8);
  // The third entry: tag, permissions and number, all of them with the lowest byte first.
  const std::array<unsigned char, 8> expected = {8, 0, 6, 0, 54321 & 0xFF, 54321 >> 8, 0, 0};
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), list.begin() + 4 + 2 * 8));
}

TEST(DoorTest, ASocketThatThereIsNotIsRefused) {
  EXPECT_THAT([] { host::LetGroupIn("/nowhere/socket", 1); },
              ThrowsMessage<std::system_error>(HasSubstr("/nowhere/socket")));
}

}  // namespace
}  // namespace host::test
