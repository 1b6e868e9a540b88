#include "app/snmp_cfg_agent.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <vector>

#include "app/confd_names.h"
#include "app/confd_text.h"
#include "app/signal.h"
#include "app/trace.h"
#include "confd_cdb.h"
#include "confd_maapi.h"
#include "vkconfd/cdb_session.h"

namespace {

constexpr long kRetryPeriodMs = 5000;

/// The system's text of an error number.
class ErrorText {
 public:
  explicit ErrorText(int error) : text_(strerror_r(error, buffer_, sizeof buffer_)) {}
  const char* c_str() const { return text_; }

 private:
  char buffer_[app::kValueTextSize];
  const char* text_;
};

/// A socket address made of text and port.
class Endpoint {
 public:
  Endpoint(const std::string& address, uint16_t port) {
    if (inet_pton(AF_INET, address.c_str(), &v4_.sin_addr) == 1) {
      v4_.sin_family = AF_INET;
      v4_.sin_port = htons(port);
      family_ = AF_INET;
    } else if (inet_pton(AF_INET6, address.c_str(), &v6_.sin6_addr) == 1) {
      v6_.sin6_family = AF_INET6;
      v6_.sin6_port = htons(port);
      family_ = AF_INET6;
    }
  }

  /// AF_INET, AF_INET6, or AF_UNSPEC when the text was neither address.
  int Family() const { return family_; }

  const sockaddr* Address() const {
    return family_ == AF_INET ? reinterpret_cast<const sockaddr*>(&v4_)
                              : reinterpret_cast<const sockaddr*>(&v6_);
  }

  socklen_t Length() const { return family_ == AF_INET ? sizeof v4_ : sizeof v6_; }

 private:
  int family_ = AF_UNSPEC;
  sockaddr_in v4_ = {};
  sockaddr_in6 v6_ = {};
};

/// A throw-away UDP socket; errno tells why an operation failed.
class ProbeSocket {
 public:
  explicit ProbeSocket(int family) : fd_(socket(family, SOCK_DGRAM, 0)) {
    const int on = 1;
    // The agent may hold the address already; where the option fails the bind tells.
    if (IsOpen()) setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  }
  ~ProbeSocket() {
    if (IsOpen()) close(fd_);
  }
  ProbeSocket(const ProbeSocket&) = delete;
  ProbeSocket& operator=(const ProbeSocket&) = delete;

  bool IsOpen() const { return fd_ >= 0; }
  bool Bind(const Endpoint& endpoint) const {
    return bind(fd_, endpoint.Address(), endpoint.Length()) == 0;
  }

 private:
  int fd_;
};

/// The printed form of a leaf-list with as much room as its entries can take.
std::string ListText(const confd_value_t* list) {
  const size_t entries = list->type == C_LIST ? CONFD_GET_LISTSIZE(list) : 1;
  const size_t size = app::kValueTextSize * entries;
  // Not cleared: of the room for thousands of entries only the printed part is ever touched.
  const std::unique_ptr<char[]> text(new char[size + 1]);
  text[0] = '\0';
  confd_pp_value(text.get(), static_cast<int>(size), list);
  return text.get();
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

struct ExtraEntry {
  std::string address;
  std::string port;
};

/// Splits "address:port" at its last colon and drops brackets; false for any other word, which does
/// not match ":\d+$". The library's expressions recurse once per digit, so that a long word would
/// end the process, and take longer to build than the probe that they are for.
bool ParseExtraEntry(const std::string& word, ExtraEntry* entry) {
  const size_t colon = word.find_last_not_of("0123456789");
  if (colon == std::string::npos || word[colon] != ':' || colon + 1 == word.size()) return false;
  entry->address = word.substr(0, colon);
  entry->address.erase(std::remove_if(entry->address.begin(), entry->address.end(),
                                      [](char c) { return c == '[' || c == ']'; }),
                       entry->address.end());
  entry->port = word.substr(colon + 1);
  return true;
}

}  // namespace

SnmpAgentCfgHandler::SnmpAgentCfgHandler() {
  const auto change = &SnmpAgentCfgHandler::HandleCfg;
  const int32_t ns = app::ns::kConfdDyncfg;
  subscription_points_ = {
      app::MakePoint(this, change, 11, ns, app::path::kAgentExtraIpPorts, 0),
      app::MakePoint(this, change, 11, ns, app::path::kAgentIp, 0),
      app::MakePoint(this, change, 11, ns, app::path::kAgentPort, 0),
      app::MakePoint(this, change, 10, ns, app::path::kAgentEnabled, 0),
  };
  retry_callback_ = std::make_unique<RetryBind>(this);
  retry_timer_ =
      std::make_unique<vkos::Timer>(&app::kTimerSignal, kRetryPeriodMs, *retry_callback_, false);
  retry_timer_->Pause();
  log_category_ = app::RegisterCategory("-agent");
}

SnmpAgentCfgHandler::~SnmpAgentCfgHandler() = default;

void SnmpAgentCfgHandler::LoadInitialConfig(int cdb_socket) {
  APP_LOG(log_category_, app::kProgress, "Loading SNMP agent configuration");
  confd_value_t extra_list;
  if (cdb_get(cdb_socket, &extra_list, app::path::kAgentExtraIpPorts) == CONFD_OK) {
    const app::ValueGuard guard(&extra_list);
    APP_LOG_VALUE(log_category_, "Extra listen list: %s", &extra_list);
    extra_bound_ = BindExtra(&extra_list);
  }
  confd_value_t agent_ip;
  if (cdb_get(cdb_socket, &agent_ip, app::path::kAgentIp) == CONFD_OK) {
    const app::ValueGuard guard(&agent_ip);
    agent_ip_ = app::ValueText(&agent_ip).c_str();
    APP_LOG(log_category_, app::kDetail, "Agent IP address: %s", agent_ip_.c_str());
    confd_value_t agent_port;
    if (cdb_get(cdb_socket, &agent_port, app::path::kAgentPort) == CONFD_OK) {
      const app::ValueGuard port_guard(&agent_port);
      APP_LOG_VALUE(log_category_, "Agent port number: %s", &agent_port);
      agent_port_ = CONFD_GET_UINT16(&agent_port);
      agent_bound_ = BindAgent(agent_ip_, agent_port_);
    }
  }
  UpdateRebindReady();
  confd_value_t agent_enabled;
  if (cdb_get(cdb_socket, &agent_enabled, app::path::kAgentEnabled) != CONFD_OK) return;
  const app::ValueGuard enabled_guard(&agent_enabled);
  agent_enabled_ = CONFD_GET_BOOL(&agent_enabled) != 0;
  APP_LOG(log_category_, app::kDetail, "Agent is enabled: %d", agent_enabled_ ? 1 : 0);
}

void SnmpAgentCfgHandler::StartCommit() {
  APP_LOG(log_category_, app::kDetail, "Starting commit of SNMP agent configuration.");
}

void SnmpAgentCfgHandler::ApplyCommitConfig() {
  if (!agent_enabled_) return;
  if (rebind_ready_) {
    const int code = maapi_rebind_listener(confd_interface_->MaapiSocket(), CONFD_LISTENER_SNMP);
    APP_LOG(log_category_, app::kProgress, "Forced ConfD's bind of SNMP, returned %d: %s", code,
            confd_lasterr());
    rebind_ready_ = false;
  } else if (!retry_running_) {
    APP_LOG(log_category_, app::kProgress, "Starting timer for new bind retry.");
    retry_timer_->Resume(0);
    retry_running_ = true;
  }
}

// What reads a typed value stands here: where a value has another type, the process ends with this
// function's name.
confd_iter_ret SnmpAgentCfgHandler::HandleCfg(confd_hkeypath_t* kp, confd_iter_op op,
                                              confd_value_t* /*old_value*/,
                                              confd_value_t* new_value) {
  const app::KeyPathText kp_text(kp);
  APP_LOG(log_category_, app::kDetail, "Called kp %s, op %d", kp_text.c_str(), op);
  const bool created = op == MOP_CREATED;
  if (created || new_value != nullptr) {
    const uint32_t tag = created ? CONFD_GET_XMLTAG(&kp->v[1][0]) : CONFD_GET_XMLTAG(&kp->v[0][0]);
    const confd_value_t* cfg_value = created ? &kp->v[0][0] : new_value;
    APP_LOG_VALUE(log_category_, "New value: %s", cfg_value);
    switch (tag) {
      case app::tag::kEnabled:
        agent_enabled_ = CONFD_GET_BOOL(cfg_value) != 0;
        break;
      case app::tag::kExtraIpPorts:
        extra_bound_ = BindExtra(cfg_value);
        break;
      case app::tag::kIp:
        // Not the value: the probe of this text fails, which starts the retry, whose reload reads
        // the address that the whole commit left in CDB.
        agent_ip_ = kp_text.c_str();
        agent_bound_ = BindAgent(agent_ip_, agent_port_);
        break;
      case app::tag::kPort:
        agent_port_ = CONFD_GET_UINT16(cfg_value);
        agent_bound_ = BindAgent(agent_ip_, agent_port_);
        break;
      default:
        APP_LOG(log_category_, app::kNotice, "Ignoring tag %d", static_cast<int32_t>(tag));
    }
  }
  UpdateRebindReady();
  return ITER_CONTINUE;
}

void SnmpAgentCfgHandler::UpdateRebindReady() { rebind_ready_ = extra_bound_ && agent_bound_; }

bool SnmpAgentCfgHandler::BindAgent(const std::string& address, uint16_t port) {
  APP_LOG(log_category_, app::kDetail, "Trying to bind to %s:%hu", address.c_str(), port);
  const Endpoint endpoint(address, port);
  if (endpoint.Family() == AF_UNSPEC) {
    APP_LOG(log_category_, app::kNotice, "Could not set REUSEADDR to SNMP agent socket: %s",
            ErrorText(errno).c_str());
    return false;
  }
  const ProbeSocket probe(endpoint.Family());
  if (!probe.IsOpen()) {
    APP_LOG(log_category_, app::kNotice,
            endpoint.Family() == AF_INET ? "Failed to create v4 socket for SNMP agent"
                                         : "Failed to create v6 socket for SNMP agent");
    return false;
  }
  if (!probe.Bind(endpoint)) {
    APP_LOG(log_category_, app::kNotice, "Failed to bind to %s:%hu : %s", address.c_str(), port,
            ErrorText(errno).c_str());
    return false;
  }
  APP_LOG(log_category_, app::kProgress, "Successfully bound to SNMP agent address");
  return true;
}

bool SnmpAgentCfgHandler::BindExtra(const confd_value_t* list) {
  const std::string text = ListText(list);
  APP_LOG(log_category_, app::kDetail, "Extra list: %s", text.c_str());
  bool bound = true;
  for (const std::string& word : Words(text)) {
    APP_LOG(log_category_, app::kDetail, "Processing %s", word.c_str());
    ExtraEntry entry;
    if (!ParseExtraEntry(word, &entry)) continue;
    APP_LOG(log_category_, app::kDetail, "IP: %s, port %s", entry.address.c_str(),
            entry.port.c_str());
    const auto port = static_cast<uint16_t>(std::stoul(entry.port));
    bound = BindAgent(entry.address, port) && bound;
  }
  return bound;
}

bool SnmpAgentCfgHandler::RetryBind::Execute() {
  handler_->retry_running_ = false;
  const VkConfdCdbSession session(handler_->confd_interface_, CDB_RUNNING, true);
  handler_->LoadInitialConfig(session.Socket());
  handler_->ApplyCommitConfig();
  return true;
}
