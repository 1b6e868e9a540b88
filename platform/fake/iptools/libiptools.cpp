#include <cassert>

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
  vrf = found == device.rules.interfaces.end() ? 0 : found->second.vrf;
  ipv4.clear();
  ipv6.clear();
}

std::string TranslateSource(int cdb_socket, const std::string& name) {
  ExpectSession(cdb_socket);
  fake::Device& device = fake::Device::Instance();
  device.Note("interface kernel name " + name);
  const auto found = device.rules.interfaces.find(name);
  if (found != device.rules.interfaces.end()) return found->second.kernel_name;
  return name.compare(0, 3, "l3-") == 0 ? name.substr(3) : name;
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
  return NextAnswer(&device.rules);
}

int Iptools::addDelIPRuleIntf(bool add, unsigned int vrf_id, const nettypes::IPAddr& dst,
                              unsigned int dport, ip_proto proto) {
  ExpectSession(cdb_socket_);
  fake::Device& device = fake::Device::Instance();
  device.rules.routing_calls.push_back({cdb_socket_, add, vrf_id, dst.to_string(), dport, proto});
  device.Note(std::string("routing rule ") + (add ? "add " : "delete ") + std::to_string(vrf_id) +
              " " + dst.to_string() + " " + std::to_string(dport) + " " + std::to_string(proto));
  return NextAnswer(&device.rules);
}

}  // namespace libiptools
