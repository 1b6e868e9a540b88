#include "netconf/access_door.h"

#include <endian.h>
#include <grp.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "runtime/log.h"

namespace host {

namespace {

constexpr char kAttribute[] = "system.posix_acl_access";
constexpr uint16_t kReadWrite = ACL_READ | ACL_WRITE;
constexpr auto kNobody = static_cast<uint32_t>(ACL_UNDEFINED_ID);

/// As the kernel takes it, in the order that it wants.
struct List {
  posix_acl_xattr_header header;
  std::array<posix_acl_xattr_entry, 5> entries;
};

posix_acl_xattr_entry Entry(uint16_t tag, uint16_t permissions, uint32_t id = kNobody) {
  return {htole16(tag), htole16(permissions), htole32(id)};
}

}  // namespace

void LetGroupIn(const std::string& path, gid_t group) {
  const List list = {
      {htole32(POSIX_ACL_XATTR_VERSION)},
      {Entry(ACL_USER_OBJ, kReadWrite), Entry(ACL_GROUP_OBJ, kReadWrite),
       Entry(ACL_GROUP, kReadWrite, group), Entry(ACL_MASK, kReadWrite), Entry(ACL_OTHER, 0)}};
  if (setxattr(path.c_str(), kAttribute, &list, sizeof list, 0) != 0) {
    throw std::system_error(errno, std::generic_category(), "access list of " + path);
  }
}

void LetReadersIn(const std::string& path) {
  const group* readers = getgrnam(kReadersGroup);
  if (readers == nullptr) return;
  try {
    LetGroupIn(path, readers->gr_gid);
  } catch (const std::system_error& error) {
    HOST_LOG(kNotice, "The group %s cannot connect: %s.", kReadersGroup, error.what());
  }
}

}  // namespace host
