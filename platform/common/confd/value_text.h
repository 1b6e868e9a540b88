// ConfD values: making them and printing them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "confd_lib.h"

namespace common {

/// A value of the type in the name. What MakeBuf, MakeBinary and MakeList return owns memory that
/// confd_free_value() gives back; MakeList takes over what `elements` own.
confd_value_t MakeTag(uint32_t tag, uint32_t ns);
confd_value_t MakeBuf(const std::string& text);
confd_value_t MakeBinary(const std::string& bytes);
confd_value_t MakeUint8(uint8_t number);
confd_value_t MakeUint16(uint16_t number);
confd_value_t MakeUint32(uint32_t number);
confd_value_t MakeInt32(int32_t number);
confd_value_t MakeBool(bool value);
confd_value_t MakeIpv4(in_addr address);
confd_value_t MakeIpv6(const in6_addr& address);
confd_value_t MakeIpv4Prefix(const confd_ipv4_prefix& prefix);
confd_value_t MakeIpv6Prefix(const confd_ipv6_prefix& prefix);
confd_value_t MakeList(const std::vector<confd_value_t>& elements);

/// A copy that owns its own memory.
confd_value_t CopyValue(const confd_value_t& value);

/// The text of a value. Throws std::invalid_argument for a value that has none: C_NOEXISTS, an
/// unknown tag, a type that is not a confd_vtype.
std::string ValueText(const confd_value_t& value);

/// The text of a key path, "/a/b{key}/c". Throws as ValueText.
std::string KeyPathText(const confd_hkeypath_t& kp);

}  // namespace common
