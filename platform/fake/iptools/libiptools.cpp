#include <cassert>
#include <limits>

#include "confd/value_text.h"
#include "fake_device.h"
#include "libiptools/iptools.h"

namespace libiptools {

namespace {

/// The library reads the configuration, so the session that it is given must be open.
void ExpectSession(int cdb_socket) {
  assert(fake::Device::Instance().confd.SessionDatabase(cdb_socket) != nullptr);
}

std::string RuleText(const fake::RuleCall& call) {
  std::string text = call.add ? "rule add " : "rule delete ";
  text += call.kernel_name;
  for (const unsigned int number :
       {call.vrf, call.port, call.redirect_port, static_cast<unsigned int>(call.proto),
        static_cast<unsigned int>(call.action)}) {
    text += " " + std::to_string(number);
  }
  return text;
}

bool IsPort(unsigned int port) { return port > 0 && port <= std::numeric_limits<uint16_t>::max(); }

/// The name of the L3 interface that a listening interface stands for.
std::string L3Name(const std::string& name) {
  return name.compare(0, 3, "l3-") == 0 ? name.substr(3) : name;
}

/// The text of what the session reads at `path`; empty for nothing.
std::string TextAt(int cdb_socket, const std::string& path) {
  const fake::Node* leaf = fake::Device::Instance().confd.SessionDatabase(cdb_socket)->Find(path);
  if (leaf == nullptr || !leaf->value.IsSet()) return "";
  return common::ValueText(leaf->value.Value());
}

std::string L3Text(int cdb_socket, const std::string& name, const std::string& leaf) {
  return TextAt(cdb_socket, "/config/interface/l3{" + L3Name(name) + "}/" + leaf);
}

/// An address without the length of its prefix.
std::string AddressOf(int cdb_socket, const std::string& name, const std::string& leaf) {
  const std::string prefix = L3Text(cdb_socket, name, leaf);
  return prefix.substr(0, prefix.find('/'));
}

/// The index of the interface's VRF, 0 for none.
uint32_t VrfOf(int cdb_socket, const std::string& name) {
  const std::string vrf = L3Text(cdb_socket, name, "vrf");
  const std::string index =
      vrf.empty() ? ""
                  : TextAt(cdb_socket, "/internal/vrf-config/stringTOindex{" + vrf + "}/vrf-idx");
  return index.empty() ? 0 : static_cast<uint32_t>(std::stoul(index));
}

int Refuse(const zlog_category_s* category, const char* reason) {
  fake::Device::Instance().log.Write(
      {category->name, "platform/fake/iptools/libiptools", __func__, __LINE__, 12, reason, "%s"});
  return 1;
}

int NextAnswer(fake::RuleLibrary* library) {
  if (library->answers.empty()) return 0;
  const std::function<int()> answer = library->answers.front();
  library->answers.pop_front();
  return answer();
}

}  // namespace

void GetVrfSourceInterfaceIP(zlog_category_s* log_category, int cdb_socket, const std::string& name,
                             std::string& ipv4, std::string& ipv6, uint32_t& vrf) {
  ExpectSession(cdb_socket);
  fake::Device& device = fake::Device::Instance();
  device.Note("interface facts " + name);
  device.rules.categories.push_back(log_category);
  const auto found = device.rules.interfaces.find(name);
  vrf = found == device.rules.interfaces.end() ? VrfOf(cdb_socket, name) : found->second.vrf;
  ipv4 = AddressOf(cdb_socket, name, "ipv4/address/ip");
  ipv6 = AddressOf(cdb_socket, name, "ipv6/address[0]/ip");
}

std::string TranslateSource(int cdb_socket, const std::string& name) {
  ExpectSession(cdb_socket);
  fake::Device& device = fake::Device::Instance();
  device.Note("interface kernel name " + name);
  const auto found = device.rules.interfaces.find(name);
  if (found != device.rules.interfaces.end()) return found->second.kernel_name;
  const std::string kernel_name = L3Text(cdb_socket, name, "kernel-name");
  return kernel_name.empty() ? L3Name(name) : kernel_name;
}

Iptools::Iptools(int cdb_socket, zlog_category_s* log_category)
    : cdb_socket_(cdb_socket), log_category_(log_category) {
  fake::Device::Instance().Note("iptools new " + log_category_->name);
}

int Iptools::addDelRuleSnmpListenIntf(bool add, const std::string& kernel_name, unsigned int vrf,
                                      unsigned int port, unsigned int redirect_port, ip_proto proto,
                                      target_action action) {
  ExpectSession(cdb_socket_);
  fake::Device& device = fake::Device::Instance();
  device.rules.calls.push_back(
      {cdb_socket_, add, kernel_name, vrf, port, redirect_port, proto, action});
  device.Note(RuleText(device.rules.calls.back()));
  if (proto != IP_PROTO_UDP || action != TARGET_REDIRECT) {
    return Refuse(log_category_, "only UDP ports can be redirected");
  }
  if (!IsPort(port) || !IsPort(redirect_port) || vrf == 0) {
    return Refuse(log_category_, "two ports and a VRF are needed");
  }
  return NextAnswer(&device.rules);
}

int Iptools::addDelIPRuleIntf(bool add, unsigned int vrf_id, const nettypes::IPAddr& dst,
                              unsigned int dport, ip_proto proto) {
  ExpectSession(cdb_socket_);
  fake::Device& device = fake::Device::Instance();
  device.rules.routing_calls.push_back({cdb_socket_, add, vrf_id, dst.to_string(), dport, proto});
  device.Note(std::string("routing rule ") + (add ? "add " : "delete ") + std::to_string(vrf_id) +
              " " + dst.to_string() + " " + std::to_string(dport) + " " + std::to_string(proto));
  if (proto != IP_PROTO_UDP || !IsPort(dport) || vrf_id == 0) {
    return Refuse(log_category_, "a UDP port and a VRF are needed");
  }
  return NextAnswer(&device.rules);
}

}  // namespace libiptools
