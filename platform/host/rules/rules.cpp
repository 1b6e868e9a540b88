#include "rules/rules.h"

#include <algorithm>

#include "runtime/log.h"

namespace host {

void Rules::SetMarkObserver(MarkObserver observer) {
  observer_ = std::move(observer);
  for (const auto& port : tables_) Tell(port.first);
}

bool Rules::AddRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port,
                        uint32_t table) {
  const Key key(kernel_name, port);
  const auto found = entries_.find(key);
  const bool is_there = found != entries_.end();
  if (is_there && found->second.redirect_port == redirect_port && found->second.table == table) {
    return true;
  }
  if (!policy_rules_.AddMark(table)) return false;
  if (!redirects_.Add(kernel_name, port, redirect_port)) {
    policy_rules_.DeleteMark(table);
    return false;
  }
  if (is_there) Forget(found->second);
  entries_.insert_or_assign(key, Entry{redirect_port, table});
  Enter(redirect_port, table);
  return true;
}

bool Rules::DeleteRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  const auto found = entries_.find({kernel_name, port});
  if (found == entries_.end() || found->second.redirect_port != redirect_port) return true;
  if (!redirects_.Delete(kernel_name, port, redirect_port)) return false;
  const Entry entry = found->second;
  entries_.erase(found);
  Forget(entry);
  return true;
}

bool Rules::HasRedirect(const std::string& kernel_name, uint16_t port,
                        uint16_t redirect_port) const {
  const auto found = entries_.find({kernel_name, port});
  return found != entries_.end() && found->second.redirect_port == redirect_port;
}

void Rules::SetDestinationQuery(DestinationQuery is_wanted) { is_wanted_ = std::move(is_wanted); }

bool Rules::AddDestination(const DestinationRule& rule) {
  return policy_rules_.AddDestination(rule);
}

bool Rules::DeleteDestination(const DestinationRule& rule) {
  if (!is_wanted_ || !is_wanted_(rule)) return policy_rules_.DeleteDestination(rule);
  HOST_LOG(kProgress, "The routing rule of %s port %u stays: another target has the same.",
           rule.address.to_string().c_str(), rule.port);
  return true;
}

void Rules::Enter(uint16_t redirect_port, uint32_t table) {
  tables_[redirect_port].push_back(table);
  Tell(redirect_port);
}

/// A rule that cannot be deleted harms nobody: only marked packets ask it. It is logged, and
/// removed at the end or by the next run.
void Rules::Forget(const Entry& entry) {
  std::vector<uint32_t>& tables = tables_[entry.redirect_port];
  tables.erase(std::find(tables.begin(), tables.end(), entry.table));
  if (tables.empty()) tables_.erase(entry.redirect_port);
  Tell(entry.redirect_port);
  policy_rules_.DeleteMark(entry.table);
}

uint32_t Rules::MarkOf(uint16_t redirect_port) const {
  const auto found = tables_.find(redirect_port);
  return found == tables_.end() ? 0 : found->second.back();
}

void Rules::Tell(uint16_t redirect_port) const {
  if (observer_) observer_(redirect_port, MarkOf(redirect_port));
}

}  // namespace host
