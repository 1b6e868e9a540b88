#include "config/value.h"

#include <arpa/inet.h>
#include <libyang/plugins_types.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "confd/value_text.h"
#include "config/schema.h"
#include "config/yang_data.h"

namespace host {

namespace {

const lyd_value& TypedValue(const lyd_node* term) {
  const lyd_value* value = &reinterpret_cast<const lyd_node_term*>(term)->value;
  while (value->realtype->basetype == LY_TYPE_UNION) value = &value->subvalue->value;
  return *value;
}

/// Compiled types have no name; what tells an address from other text is who reads it.
bool IsReadBy(const lyd_value& value, const char* plugin) {
  return strncmp(value.realtype->plugin->id, plugin, strlen(plugin)) == 0;
}

/// An address with prefix length, which its model's type has checked already.
confd_value_t PrefixValue(ValueType type, const std::string& text) {
  const size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  const auto length = static_cast<uint8_t>(strtoul(text.c_str() + slash + 1, nullptr, 10));
  confd_ipv4_prefix ipv4 = {{}, length};
  confd_ipv6_prefix ipv6 = {{}, length};
  if (type == ValueType::kIpv4Prefix && inet_pton(AF_INET, address.c_str(), &ipv4.ip) == 1) {
    return common::MakeIpv4Prefix(ipv4);
  }
  if (type == ValueType::kIpv6Prefix && inet_pton(AF_INET6, address.c_str(), &ipv6.ip6) == 1) {
    return common::MakeIpv6Prefix(ipv6);
  }
  return common::MakeBuf(text);
}

confd_value_t StringValue(const lyd_value& value, const char* text) {
  in_addr ipv4 = {};
  in6_addr ipv6 = {};
  if (IsReadBy(value, "libyang 2 - ipv4-address") && inet_pton(AF_INET, text, &ipv4) == 1) {
    return common::MakeIpv4(ipv4);
  }
  if (IsReadBy(value, "libyang 2 - ipv6-address") && inet_pton(AF_INET6, text, &ipv6) == 1) {
    return common::MakeIpv6(ipv6);
  }
  return common::MakeBuf(text);
}

confd_value_t BinaryValue(const lyd_value& value) {
  static_assert(sizeof(lyd_value_binary) <= LYD_VALUE_FIXED_MEM_SIZE, "else it is in dyn_mem");
  const auto* binary = reinterpret_cast<const lyd_value_binary*>(value.fixed_mem);
  return common::MakeBinary({static_cast<const char*>(binary->data), binary->size});
}

}  // namespace

confd_value_t TermValue(const lyd_node* term) {
  const ValueType type = Schema::TypeOfValue(term->schema);
  if (type != ValueType::kAsTyped) return PrefixValue(type, lyd_get_value(term));
  const lyd_value& value = TypedValue(term);
  switch (value.realtype->basetype) {
    case LY_TYPE_BOOL:
      return common::MakeBool(value.boolean != 0);
    case LY_TYPE_UINT8:
      return common::MakeUint8(value.uint8);
    case LY_TYPE_UINT16:
      return common::MakeUint16(value.uint16);
    case LY_TYPE_UINT32:
      return common::MakeUint32(value.uint32);
    case LY_TYPE_INT32:
      return common::MakeInt32(value.int32);
    case LY_TYPE_BINARY:
      return BinaryValue(value);
    case LY_TYPE_STRING:
      return StringValue(value, lyd_get_value(term));
    default:
      return common::MakeBuf(lyd_get_value(term));
  }
}

confd_value_t LeafListValue(const lyd_node* first) {
  std::vector<confd_value_t> entries;
  for (const lyd_node* entry = first; entry != nullptr; entry = NextEntry(entry)) {
    entries.push_back(TermValue(entry));
  }
  return common::MakeList(entries);
}

confd_value_t ChildValue(const Schema& schema, const lyd_node* parent, const lysc_node* element) {
  const lyd_node* found = FindFirst(lyd_child(parent), element);
  if (found == nullptr) return {C_NOEXISTS, {}};
  if (element->nodetype == LYS_LEAF) return TermValue(found);
  if (element->nodetype == LYS_LEAFLIST) return LeafListValue(found);
  return common::MakeTag(Schema::Tag(element), schema.NamespaceHash(element));
}

std::vector<common::OwnedValue> EntryKeys(const lyd_node* entry) {
  std::vector<common::OwnedValue> keys;
  for (const lyd_node* child = lyd_child(entry); child != nullptr && lysc_is_key(child->schema);
       child = child->next) {
    keys.emplace_back(TermValue(child));
  }
  return keys;
}

}  // namespace host
