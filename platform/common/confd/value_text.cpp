#include "confd/value_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "confd/tag_table.h"

namespace common {

namespace {

confd_value_t MakeEmpty(confd_vtype type) {
  confd_value_t value = {};
  value.type = type;
  return value;
}

void* Allocate(size_t size) {
  void* memory = malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

std::string TagText(uint32_t tag) {
  const std::string* name = TagTable::Global().Name(tag);
  if (name == nullptr) throw std::invalid_argument("no element has tag " + std::to_string(tag));
  return *name;
}

std::string AddressText(int family, const void* address) {
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(family, address, text, sizeof text);
  return text;
}

std::string PrefixText(int family, const void* address, uint8_t length) {
  return AddressText(family, address) + "/" + std::to_string(length);
}

std::string HexText(const confd_buf& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < bytes.size; ++i) {
    if (i > 0) text += ':';
    text += kDigits[bytes.ptr[i] >> 4];
    text += kDigits[bytes.ptr[i] & 0xf];
  }
  return text;
}

std::string ListText(const confd_list& list) {
  std::string text = "[ ";
  for (unsigned int i = 0; i < list.size; ++i) text += ValueText(list.ptr[i]) + " ";
  return text + "]";
}

/// The level's keys as "{a b}", or its element name as "/name".
std::string LevelText(const confd_value_t (&level)[MAXKEYLEN]) {
  if (level[0].type == C_XMLTAG) return "/" + TagText(level[0].val.xmltag.tag);
  std::string keys;
  for (int i = 0; i < MAXKEYLEN && level[i].type != C_NOEXISTS; ++i) {
    keys += (i == 0 ? "" : " ") + ValueText(level[i]);
  }
  return "{" + keys + "}";
}

}  // namespace

confd_value_t MakeTag(uint32_t tag, uint32_t ns) {
  confd_value_t value = MakeEmpty(C_XMLTAG);
  value.val.xmltag = {tag, ns};
  return value;
}

confd_value_t MakeBuf(const std::string& text) {
  confd_value_t value = MakeEmpty(C_BUF);
  value.val.buf.size = static_cast<unsigned int>(text.size());
  value.val.buf.ptr = static_cast<unsigned char*>(Allocate(text.size() + 1));
  memcpy(value.val.buf.ptr, text.c_str(), text.size() + 1);
  return value;
}

confd_value_t MakeBinary(const std::string& bytes) {
  confd_value_t value = MakeBuf(bytes);
  value.type = C_BINARY;
  return value;
}

confd_value_t MakeUint8(uint8_t number) {
  confd_value_t value = MakeEmpty(C_UINT8);
  value.val.u8 = number;
  return value;
}

confd_value_t MakeUint16(uint16_t number) {
  confd_value_t value = MakeEmpty(C_UINT16);
  value.val.u16 = number;
  return value;
}

confd_value_t MakeUint32(uint32_t number) {
  confd_value_t value = MakeEmpty(C_UINT32);
  value.val.u32 = number;
  return value;
}

confd_value_t MakeInt32(int32_t number) {
  confd_value_t value = MakeEmpty(C_INT32);
  value.val.i32 = number;
  return value;
}

confd_value_t MakeBool(bool truth) {
  confd_value_t value = MakeEmpty(C_BOOL);
  value.val.boolean = truth ? 1 : 0;
  return value;
}

confd_value_t MakeIpv4(in_addr address) {
  confd_value_t value = MakeEmpty(C_IPV4);
  value.val.ip = address;
  return value;
}

confd_value_t MakeIpv6(const in6_addr& address) {
  confd_value_t value = MakeEmpty(C_IPV6);
  value.val.ip6 = address;
  return value;
}

confd_value_t MakeIpv4Prefix(const confd_ipv4_prefix& prefix) {
  confd_value_t value = MakeEmpty(C_IPV4_AND_PLEN);
  value.val.ipv4prefix = prefix;
  return value;
}

confd_value_t MakeIpv6Prefix(const confd_ipv6_prefix& prefix) {
  confd_value_t value = MakeEmpty(C_IPV6_AND_PLEN);
  value.val.ipv6prefix = prefix;
  return value;
}

confd_value_t MakeList(const std::vector<confd_value_t>& elements) {
  confd_value_t value = MakeEmpty(C_LIST);
  value.val.list.size = static_cast<unsigned int>(elements.size());
  value.val.list.ptr =
      static_cast<confd_value_t*>(Allocate(sizeof(confd_value_t) * (elements.size() + 1)));
  std::copy(elements.begin(), elements.end(), value.val.list.ptr);
  return value;
}

confd_value_t CopyValue(const confd_value_t& value) {
  if (value.type == C_BUF || value.type == C_BINARY) {
    confd_value_t copy =
        MakeBuf({reinterpret_cast<const char*>(value.val.buf.ptr), value.val.buf.size});
    copy.type = value.type;
    return copy;
  }
  if (value.type != C_LIST) return value;
  std::vector<confd_value_t> elements;
  for (unsigned int i = 0; i < value.val.list.size; ++i) {
    elements.push_back(CopyValue(value.val.list.ptr[i]));
  }
  return MakeList(elements);
}

std::string ValueText(const confd_value_t& value) {
  switch (value.type) {
    case C_XMLTAG:
      return TagText(value.val.xmltag.tag);
    case C_BUF:
      return {reinterpret_cast<const char*>(value.val.buf.ptr), value.val.buf.size};
    case C_INT32:
      return std::to_string(value.val.i32);
    case C_UINT8:
      return std::to_string(value.val.u8);
    case C_UINT16:
      return std::to_string(value.val.u16);
    case C_UINT32:
      return std::to_string(value.val.u32);
    case C_IPV4:
      return AddressText(AF_INET, &value.val.ip);
    case C_IPV6:
      return AddressText(AF_INET6, &value.val.ip6);
    case C_IPV4_AND_PLEN:
      return PrefixText(AF_INET, &value.val.ipv4prefix.ip, value.val.ipv4prefix.len);
    case C_IPV6_AND_PLEN:
      return PrefixText(AF_INET6, &value.val.ipv6prefix.ip6, value.val.ipv6prefix.len);
    case C_BOOL:
      return value.val.boolean != 0 ? "true" : "false";
    case C_BINARY:
      return HexText(value.val.buf);
    case C_LIST:
      return ListText(value.val.list);
    case C_NOEXISTS:
      break;
  }
  throw std::invalid_argument("a value of type " + std::to_string(value.type) + " has no text");
}

std::string KeyPathText(const confd_hkeypath_t& kp) {
  std::string text;
  for (int level = kp.len - 1; level >= 0; --level) text += LevelText(kp.v[level]);
  return text;
}

}  // namespace common
