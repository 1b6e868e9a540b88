#include "decoded_trap.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

#include <memory>
#include <ostream>

#include "app/trap_target.h"

namespace host::test {

namespace {

struct FreePdu {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};

std::string Text(const oid* numbers, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += (text.empty() ? "" : ".") + std::to_string(numbers[i]);
  }
  return text;
}

std::string ValueOf(const netsnmp_variable_list& variable) {
  switch (variable.type) {
    case ASN_INTEGER:
      return std::to_string(*variable.val.integer);
    case ASN_TIMETICKS:
      return std::to_string(static_cast<uint32_t>(*variable.val.integer));
    case ASN_OBJECT_ID:
      return Text(variable.val.objid, variable.val_len / sizeof(oid));
    default:
      return {reinterpret_cast<const char*>(variable.val.string), variable.val_len};
  }
}

}  // namespace

bool operator==(const Binding& a, const Binding& b) {
  return a.name == b.name && a.type == b.type && a.value == b.value;
}

std::ostream& operator<<(std::ostream& stream, const Binding& binding) {
  return stream << binding.name << " type " << int{binding.type} << " = " << binding.value;
}

std::optional<DecodedTrap> DecodeTrap(std::vector<uint8_t> message) {
  DecodedTrap trap;
  unsigned char community[COMMUNITY_MAX_LEN];
  size_t community_size = sizeof community;
  size_t size = message.size();
  unsigned char* rest =
      snmp_comstr_parse(message.data(), &size, community, &community_size, &trap.version);
  if (rest == nullptr) return std::nullopt;
  trap.community.assign(reinterpret_cast<const char*>(community), community_size);
  const std::unique_ptr<netsnmp_pdu, FreePdu> pdu(snmp_pdu_create(0));
  if (snmp_pdu_parse(pdu.get(), rest, &size) != 0) return std::nullopt;
  trap.command = pdu->command;
  trap.request_id = pdu->reqid;
  trap.error_status = pdu->errstat;
  trap.error_index = pdu->errindex;
  for (const auto* variable = pdu->variables; variable != nullptr;
       variable = variable->next_variable) {
    trap.bindings.push_back(
        {Text(variable->name, variable->name_length), variable->type, ValueOf(*variable)});
  }
  return trap;
}

std::vector<uint8_t> MessageFor(const std::string& community, uint32_t* uptime_offset) {
  std::vector<uint8_t> message;
  BuildTrapMessage(community, message, *uptime_offset);
  return message;
}

std::vector<uint8_t> MessageFor(const std::string& community, uint32_t uptime) {
  uint32_t offset = 0;
  std::vector<uint8_t> message = MessageFor(community, &offset);
  for (uint32_t i = 0; i < 4; ++i) {
    message.at(offset + i) = static_cast<uint8_t>(uptime >> (24 - 8 * i));
  }
  return message;
}

}  // namespace host::test
