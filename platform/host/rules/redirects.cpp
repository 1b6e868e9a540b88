#include "rules/redirects.h"

#include <net/if.h>

#include <algorithm>
#include <string_view>

#include "runtime/log.h"

namespace host {

namespace {

constexpr char kCreateTable[] = "create table inet snmp-app { flags owner; }\n";

constexpr char kFillTable[] =
    "add map inet snmp-app redirects { type ifname . inet_service : inet_service; }\n"
    "add chain inet snmp-app prerouting { type nat hook prerouting priority dstnat; }\n"
    "add rule inet snmp-app prerouting meta l4proto udp"
    " redirect to :iifname . udp dport map @redirects\n";

constexpr char kInTheWay[] = "a table \"inet snmp-app\" of another program is in the way";

std::string KeyText(const std::string& kernel_name, uint16_t port) {
  return "\"" + kernel_name + "\" . " + std::to_string(port);
}

std::string ElementText(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  return KeyText(kernel_name, port) + " : " + std::to_string(redirect_port);
}

std::string AddCommand(const std::string& elements) {
  return "add element inet snmp-app redirects { " + elements + " }\n";
}

std::string DeleteCommand(const std::string& key) {
  return "delete element inet snmp-app redirects { " + key + " }\n";
}

bool IsNameCharacter(char c) {
  return c > ' ' && c < '\x7f' && std::string_view("/:\"*\\").find(c) == std::string_view::npos;
}

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

bool IsInterfaceName(const std::string& name) {
  return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
         std::all_of(name.begin(), name.end(), IsNameCharacter);
}

bool Redirects::Add(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  if (!IsInterfaceName(kernel_name) || port == 0 || redirect_port == 0) {
    HOST_LOG(kNotice, "No redirect of \"%s\" port %u to %u: not a name and two ports.",
             kernel_name.c_str(), port, redirect_port);
    return false;
  }
  const auto former = in_kernel_.find({kernel_name, port});
  const bool is_there = former != in_kernel_.end();
  if (is_there && former->second == redirect_port) return true;
  const std::string element = ElementText(kernel_name, port, redirect_port);
  const std::string commands =
      (is_there ? DeleteCommand(KeyText(kernel_name, port)) : "") + AddCommand(element);
  if (!Change(commands, "Redirect " + element)) return false;
  in_kernel_[{kernel_name, port}] = redirect_port;
  return true;
}

bool Redirects::Delete(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  const auto found = in_kernel_.find({kernel_name, port});
  if (found == in_kernel_.end() || found->second != redirect_port) return true;
  const std::string key = KeyText(kernel_name, port);
  if (!Change(DeleteCommand(key), "End of redirect " + key)) return false;
  in_kernel_.erase(found);
  return true;
}

bool Redirects::Change(const std::string& commands, const std::string& purpose) {
  std::string error = table_made_ ? std::string() : MakeTable();
  if (error.empty()) error = nftables_.Run(commands);
  // The table goes with its socket, which the library opens anew when another program changes the
  // rules at the wrong moment. Then all is made again.
  if (!error.empty() && table_made_ && RestoreLostTable().empty()) error = nftables_.Run(commands);
  if (error.empty()) return true;
  HOST_LOG(kNotice, "%s: refused by the kernel: %s", purpose.c_str(), error.c_str());
  return false;
}

std::string Redirects::MakeTable() {
  std::string error = nftables_.Run(std::string(kCreateTable) + kFillTable);
  table_made_ = error.empty();
  // Without the right to change anything, not even the question about the rules is answered, and
  // the text is another one.
  const bool in_the_way = Contains(error, "process rule: File exists") ||
                          Contains(error, "process rule: Operation not permitted") ||
                          Contains(error, "process rule: Device or resource busy");
  return in_the_way ? error + " (" + kInTheWay + ")" : error;
}

std::string Redirects::RestoreLostTable() {
  const std::string fill = in_kernel_.empty() ? "" : AddCommand(Elements());
  std::string error = nftables_.Run(std::string(kCreateTable) + kFillTable + fill);
  if (error.empty()) {
    HOST_LOG(kNotice, "The table of redirects was lost; %zu redirects are made again.",
             in_kernel_.size());
  }
  return error;
}

std::string Redirects::Elements() const {
  std::string text;
  for (const auto& [key, redirect_port] : in_kernel_) {
    text += (text.empty() ? "" : ", ") + ElementText(key.first, key.second, redirect_port);
  }
  return text;
}

}  // namespace host
