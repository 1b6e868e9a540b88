#include "rules/redirect_elements.h"

namespace host {

namespace {

using Port = std::optional<uint16_t>;

/// What changes for a redirect port whose answers came from one port and now come from another.
void TellPort(uint16_t redirect_port, Port before, Port after,
              std::vector<ElementChange>& changes) {
  if (before == after) return;
  if (before) changes.push_back({false, RedirectSet::kBack, {}, *before, redirect_port});
  if (!after) changes.push_back({false, RedirectSet::kPorts, {}, 0, redirect_port});
  if (after) changes.push_back({true, RedirectSet::kBack, {}, *after, redirect_port});
  if (!before) changes.push_back({true, RedirectSet::kPorts, {}, 0, redirect_port});
}

}  // namespace

std::optional<RedirectElements::Entry> RedirectElements::Find(const Key& key) const {
  const auto found = entries_.find(key);
  return found == entries_.end() ? std::nullopt : std::optional<Entry>(found->second);
}

std::vector<ElementChange> RedirectElements::Replace(const Key& key,
                                                     const std::optional<Entry>& entry) {
  const std::optional<Entry> former = Find(key);
  std::map<uint16_t, Port> before;
  if (former) before[former->redirect_port] = PortBehind(former->redirect_port);
  if (entry) before[entry->redirect_port] = PortBehind(entry->redirect_port);
  Set(key, entry);
  std::vector<ElementChange> changes;
  const auto& [interface, port] = key;
  if (former) changes.push_back({false, RedirectSet::kTo, interface, port, former->redirect_port});
  if (entry) changes.push_back({true, RedirectSet::kTo, interface, port, entry->redirect_port});
  for (const auto& [redirect_port, behind] : before) {
    TellPort(redirect_port, behind, PortBehind(redirect_port), changes);
  }
  return changes;
}

std::vector<ElementChange> RedirectElements::All() const {
  std::vector<ElementChange> all;
  for (const auto& [key, entry] : entries_) {
    all.push_back({true, RedirectSet::kTo, key.first, key.second, entry.redirect_port});
  }
  for (const auto set : {RedirectSet::kBack, RedirectSet::kPorts}) {
    for (const auto& [redirect_port, ports] : users_) {
      all.push_back({true, set, {}, ports.rbegin()->second, redirect_port});
    }
  }
  return all;
}

std::optional<uint16_t> RedirectElements::PortBehind(uint16_t redirect_port) const {
  const auto found = users_.find(redirect_port);
  return found == users_.end() ? std::nullopt : Port(found->second.rbegin()->second);
}

void RedirectElements::Set(const Key& key, const std::optional<Entry>& entry) {
  if (const std::optional<Entry> former = Find(key)) {
    const auto users = users_.find(former->redirect_port);
    users->second.erase(former->age);
    if (users->second.empty()) users_.erase(users);
    entries_.erase(key);
  }
  if (!entry) return;
  entries_[key] = *entry;
  users_[entry->redirect_port][entry->age] = key.second;
}

}  // namespace host
