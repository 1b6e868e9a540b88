#include "rules/rules.h"

#include <algorithm>
#include <iterator>

#include "runtime/log.h"

namespace host {

void Rules::SetMarkObserver(MarkObserver observer) {
  observer_ = std::move(observer);
  for (const auto& port : tables_) Tell(port.first);
}

void Rules::Settle() {
  policy_rules_.Settle();
  TellRefusal();
}

void Rules::Restore() {
  policy_rules_.Restore();
  TellRefusal();
}

bool Rules::AddRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port,
                        uint32_t table) {
  const Key key(kernel_name, port);
  const Entry entry = {redirect_port, table};
  std::string reason;
  if (TryAdd(key, entry, reason)) {
    Heal(key);
    return true;
  }
  // What is no name of an interface never will be one.
  if (IsInterfaceName(kernel_name)) Refused(key, true, entry, reason);
  return false;
}

bool Rules::TryAdd(const Key& key, const Entry& entry, std::string& reason) {
  const auto found = entries_.find(key);
  const bool is_there = found != entries_.end();
  if (is_there && found->second.redirect_port == entry.redirect_port &&
      found->second.table == entry.table) {
    return true;
  }
  if (!policy_rules_.AddMark(entry.table)) {
    reason = policy_rules_.WhyNotMark(entry.table);
    return false;
  }
  if (!redirects_.Add(key.first, key.second, entry.redirect_port)) {
    reason = redirects_.LastReason();
    policy_rules_.DeleteMark(entry.table);
    return false;
  }
  if (is_there) Forget(found->second);
  entries_.insert_or_assign(key, entry);
  Enter(entry.redirect_port, entry.table);
  return true;
}

bool Rules::DeleteRedirect(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  const Key key(kernel_name, port);
  const auto refused = refusals_.find(key);
  if (refused != refusals_.end() && refused->second.add &&
      refused->second.entry.redirect_port == redirect_port) {
    policy_rules_.ForgetMark(refused->second.entry.table);
    redirects_.Delete(kernel_name, port, redirect_port);
    refusals_.erase(refused);
  }
  const auto found = entries_.find(key);
  if (found == entries_.end() || found->second.redirect_port != redirect_port) return true;
  if (TryDelete(key)) {
    Heal(key);
    return true;
  }
  Refused(key, false, found->second, "");
  return false;
}

bool Rules::TryDelete(const Key& key) {
  const auto found = entries_.find(key);
  if (found == entries_.end()) return true;
  if (!redirects_.Delete(key.first, key.second, found->second.redirect_port)) return false;
  const Entry entry = found->second;
  entries_.erase(found);
  Forget(entry);
  return true;
}

void Rules::Refused(const Key& key, bool add, const Entry& entry, const std::string& reason) {
  const Refusal refusal = {add, entry, reason};
  const auto former = refusals_.find(key);
  const bool is_new =
      former == refusals_.end() || former->second.add != add || former->second.reason != reason;
  refusals_.insert_or_assign(key, refusal);
  if (is_new) TellOutcome(key, refusal, reason.empty() ? redirects_.LastReason() : reason);
  TellRefusal();
}

/// What was asked for is so.
void Rules::Heal(const Key& key) {
  const auto refused = refusals_.extract(key);
  if (!refused.empty()) TellOutcome(key, refused.mapped(), "");
}

void Rules::TellOutcome(const Key& key, const Refusal& refusal, const std::string& reason) const {
  if (!on_outcome_) return;
  on_outcome_({"redirect",
               key.first + " port " + std::to_string(key.second) + " to " +
                   std::to_string(refusal.entry.redirect_port),
               reason});
}

bool Rules::HasRefused() const {
  return policy_rules_.HasRefused() || redirects_.IsLost() || !refusals_.empty();
}

void Rules::TellRefusal() const {
  if (on_refusal_ && HasRefused()) on_refusal_();
}

bool Rules::Retry() {
  policy_rules_.Retry();
  redirects_.Restore();
  for (auto refused = refusals_.begin(); refused != refusals_.end();) {
    auto& [key, refusal] = *refused;
    const bool done = refusal.add ? TryAdd(key, refusal.entry, refusal.reason) : TryDelete(key);
    if (done) {
      HOST_LOG(kNotice, "The redirect of %s port %u to %u is %s now.", key.first.c_str(),
               key.second, refusal.entry.redirect_port, refusal.add ? "there" : "gone");
      TellOutcome(key, refusal, "");
    }
    refused = done ? refusals_.erase(refused) : std::next(refused);
  }
  return !HasRefused();
}

std::string Rules::WhyNoRedirect(const std::string& kernel_name, uint16_t port,
                                 uint16_t redirect_port) const {
  const auto found = refusals_.find({kernel_name, port});
  const bool is_it = found != refusals_.end() && found->second.add &&
                     found->second.entry.redirect_port == redirect_port;
  return is_it ? found->second.reason : "";
}

bool Rules::HasRedirect(const std::string& kernel_name, uint16_t port,
                        uint16_t redirect_port) const {
  const auto found = entries_.find({kernel_name, port});
  return found != entries_.end() && found->second.redirect_port == redirect_port;
}

void Rules::SetDestinationQuery(DestinationQuery is_wanted) { is_wanted_ = std::move(is_wanted); }

bool Rules::AddDestination(const DestinationRule& rule) {
  const bool done = policy_rules_.AddDestination(rule);
  TellRefusal();
  return done;
}

bool Rules::DeleteDestination(const DestinationRule& rule) {
  if (!is_wanted_ || !is_wanted_(rule)) {
    const bool done = policy_rules_.DeleteDestination(rule);
    TellRefusal();
    return done;
  }
  HOST_LOG(kProgress, "The routing rule of %s port %u stays: another target has the same.",
           rule.address.to_string().c_str(), rule.port);
  return true;
}

void Rules::Enter(uint16_t redirect_port, uint32_t table) {
  tables_[redirect_port].push_back(table);
  Tell(redirect_port);
}

/// A rule that cannot be deleted harms nobody: only marked packets ask it. It is logged, and
/// tried again.
void Rules::Forget(const Entry& entry) {
  std::vector<uint32_t>& tables = tables_[entry.redirect_port];
  tables.erase(std::find(tables.begin(), tables.end(), entry.table));
  if (tables.empty()) tables_.erase(entry.redirect_port);
  Tell(entry.redirect_port);
  policy_rules_.DeleteMark(entry.table);
  TellRefusal();
}

uint32_t Rules::MarkOf(uint16_t redirect_port) const {
  const auto found = tables_.find(redirect_port);
  return found == tables_.end() ? 0 : found->second.back();
}

void Rules::Tell(uint16_t redirect_port) const {
  if (observer_) observer_(redirect_port, MarkOf(redirect_port));
}

}  // namespace host
