#include "config/calls.h"

#include <algorithm>
#include <cstring>

#include "confd/value_text.h"

namespace host {

common::OwnedValue GetExisting(Reader* reader, const std::string& path) {
  common::OwnedValue value(reader->Get(path));
  if (value.IsSet()) return value;
  throw CallRefused(CONFD_ERR_NOEXISTS, "path \"" + path + "\": the element does not exist");
}

bool HandOut(const confd_value_t& value, const TextBuffer& result) {
  if (value.type != C_BUF) return false;
  if (result.size <= 0) return true;
  const size_t length = std::min<size_t>(value.val.buf.size, static_cast<size_t>(result.size) - 1);
  memcpy(result.text, value.val.buf.ptr, length);
  result.text[length] = '\0';
  return true;
}

bool HandOut(const confd_value_t& value, const Truth& result) {
  if (value.type == C_BOOL) *result.value = value.val.boolean;
  return value.type == C_BOOL;
}

bool HandOut(const confd_value_t& value, const ByteBuffer& result) {
  if (value.type != C_BINARY) return false;
  // The copy goes to the caller as it is.
  const confd_value_t copy = common::CopyValue(value);
  *result.bytes = copy.val.buf.ptr;
  *result.size = static_cast<int>(copy.val.buf.size);
  return true;
}

bool HandOut(const confd_value_t& value, int32_t* result) {
  if (value.type == C_INT32) *result = value.val.i32;
  return value.type == C_INT32;
}

bool HandOut(const confd_value_t& value, uint16_t* result) {
  if (value.type == C_UINT16) *result = value.val.u16;
  return value.type == C_UINT16;
}

bool HandOut(const confd_value_t& value, uint32_t* result) {
  if (value.type == C_UINT32) *result = value.val.u32;
  return value.type == C_UINT32;
}

bool HandOut(const confd_value_t& value, confd_ipv4_prefix* result) {
  if (value.type == C_IPV4_AND_PLEN) *result = value.val.ipv4prefix;
  return value.type == C_IPV4_AND_PLEN;
}

bool HandOut(const confd_value_t& value, confd_ipv6_prefix* result) {
  if (value.type == C_IPV6_AND_PLEN) *result = value.val.ipv6prefix;
  return value.type == C_IPV6_AND_PLEN;
}

}  // namespace host
