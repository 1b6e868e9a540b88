#include "confd/fake_access.h"

#include "confd/value_text.h"

namespace fake {

bool Take(const confd_value_t& value, confd_value_t* result) {
  *result = common::CopyValue(value);
  return true;
}

bool Take(const confd_value_t& value, TextRoom room) {
  if (value.type != C_BUF) return false;
  if (room.size <= 0) return true;
  const std::string text = common::ValueText(value);
  const size_t length = text.copy(room.text, static_cast<size_t>(room.size) - 1);
  room.text[length] = '\0';
  return true;
}

bool Take(const confd_value_t& value, ByteRoom room) {
  if (value.type != C_BINARY) return false;
  const confd_value_t copy = common::CopyValue(value);
  *room.bytes = copy.val.buf.ptr;
  *room.size = static_cast<int>(copy.val.buf.size);
  return true;
}

bool Take(const confd_value_t& value, Int32Room room) {
  if (value.type != C_INT32) return false;
  *room.number = value.val.i32;
  return true;
}

bool Take(const confd_value_t& value, uint16_t* result) {
  if (value.type != C_UINT16) return false;
  *result = value.val.u16;
  return true;
}

bool Take(const confd_value_t& value, uint32_t* result) {
  if (value.type != C_UINT32) return false;
  *result = value.val.u32;
  return true;
}

bool Take(const confd_value_t& value, int* result) {
  if (value.type != C_BOOL) return false;
  *result = value.val.boolean;
  return true;
}

bool Take(const confd_value_t& value, confd_ipv4_prefix* result) {
  if (value.type != C_IPV4_AND_PLEN) return false;
  *result = value.val.ipv4prefix;
  return true;
}

bool Take(const confd_value_t& value, confd_ipv6_prefix* result) {
  if (value.type != C_IPV6_AND_PLEN) return false;
  *result = value.val.ipv6prefix;
  return true;
}

}  // namespace fake
