#include "netconf/access_control.h"

#include "config/yang_data.h"
#include "netconf/xml.h"
#include "runtime/log.h"

namespace host {

namespace {

constexpr std::chrono::minutes kBetweenRecords(1);

/// A path without its predicates, which may have secrets.
std::string WithoutKeys(const std::string& path) {
  std::string text;
  for (const std::string& step : PathSteps(path)) text += step.substr(0, step.find('['));
  return text;
}

}  // namespace

bool RefusalRecords::IsDue(uint32_t session, Clock::time_point now) {
  for (auto entry = last_.begin(); entry != last_.end();) {
    entry = now - entry->second < kBetweenRecords ? std::next(entry) : last_.erase(entry);
  }
  return last_.emplace(session, now).second;
}

Access AccessControl::Of(const SharedTree& running, const Peer& peer) {
  // A weak pointer to what is gone is to nothing, so another tree in its place is another one.
  if (policy_ == nullptr || source_.lock() != running) {
    policy_ = std::make_unique<const AccessPolicy>(PolicyOf(models_, running.get()));
    source_ = running;
  }
  return {*policy_, peer};
}

bool AccessControl::MayReceive(const SharedTree& running, const Peer& peer,
                               const std::string& module, const std::string& name) {
  const lysc_node* notification =
      lys_find_path(models_.Context(), nullptr, ("/" + module + ":" + name).c_str(), 0);
  ly_err_clean(models_.Context(), nullptr);
  if (notification != nullptr && Of(running, peer).MayReceive(notification, nullptr)) return true;
  ++denied_notifications_;
  return false;
}

void AccessControl::Record(uint32_t session, const std::string& text) {
  if (!records_.IsDue(session, RefusalRecords::Clock::now())) return;
  HOST_LOG(kNotice, "Access of session %u denied: %s.", session, text.c_str());
}

void AccessControl::CountOperation(uint32_t session, const Peer& peer,
                                   const std::string& operation) {
  ++denied_operations_;
  Record(session, peer.user + " may not " + operation);
}

void AccessControl::CountWrite(uint32_t session, const Peer& peer, const std::string& operation,
                               const AccessDenied& denied) {
  ++denied_writes_;
  Record(session, peer.user + " may not by " + operation + " change " + WithoutKeys(denied.Path()));
}

void AccessControl::AddState(Tree* data) const {
  const lys_module* module = ly_ctx_get_module_implemented(models_.Context(), "ietf-netconf-acm");
  lyd_node* nacm = nullptr;
  for (lyd_node* node = data->get(); node != nullptr; node = node->next) {
    if (node->schema != nullptr && node->schema->module == module) nacm = node;
  }
  if (nacm == nullptr) return;
  const std::pair<const char*, uint32_t> counters[] = {
      {"denied-operations", denied_operations_},
      {"denied-data-writes", denied_writes_},
      {"denied-notifications", denied_notifications_}};
  for (const auto& [name, value] : counters) {
    if (lyd_new_term(nacm, module, name, std::to_string(value).c_str(), 0, nullptr) != LY_SUCCESS) {
      throw TakeRefusal(models_.Context());
    }
  }
}

}  // namespace host
