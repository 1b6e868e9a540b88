#include "snmp/deaf_listeners.h"

namespace host {

namespace {

constexpr std::chrono::minutes kQuiet(1);

std::string Text(const Endpoint& listener, const std::string& reason,
                 const std::error_code& error) {
  const std::string text = ToText(listener) + ": deaf, " + reason + "; ";
  if (!error) return text + "opened anew";
  return text + "not opened anew, and tried again until it is: " + error.message();
}

}  // namespace

DeafRecord& DeafListeners::Deaf(const Endpoint& listener, const std::string& reason) {
  const auto [record, is_new] = records_.try_emplace(listener);
  if (is_new || record->second.hears) ++not_hearing_;
  record->second.hears = false;
  record->second.reason = reason;
  return record->second;
}

std::string DeafListeners::Reopened(const Endpoint& listener, const std::string& reason, Sign sign,
                                    const std::error_code& error, Clock::time_point now) {
  DeafRecord& record = Deaf(listener, reason);
  record.is_closed = static_cast<bool>(error);
  if (!error) {
    ++record.reopened;
    ++total_;
  }
  const auto [told, is_first] = told_.try_emplace(listener);
  told->second.sign = sign;
  told->second.reopened = now;
  if (told->second.is_told || (!is_first && now - told->second.time < kQuiet)) return "";
  told->second.is_told = true;
  told->second.time = now;
  return Text(listener, reason, error);
}

void DeafListeners::Closed(const Endpoint& listener, const std::string& reason) {
  Deaf(listener, reason).is_closed = true;
}

std::string DeafListeners::Heal(const Endpoint& listener, Sign sign) {
  const auto record = records_.find(listener);
  if (record == records_.end() || record->second.hears) return "";
  Told& told = told_[listener];
  if (told.sign == Sign::kOwnRequest && sign != Sign::kOwnRequest) return "";
  record->second.hears = true;
  --not_hearing_;
  if (!told.is_told) return "";
  told.is_told = false;
  return ToText(listener) + ": hears again";
}

bool DeafListeners::WasReopened(const Endpoint& listener, Clock::time_point now,
                                Clock::duration ago) const {
  const auto told = told_.find(listener);
  return told != told_.end() && now - told->second.reopened < ago;
}

bool DeafListeners::IsUnheard(const Endpoint& listener) const {
  const auto record = records_.find(listener);
  const auto told = told_.find(listener);
  return record != records_.end() && !record->second.hears && told != told_.end() &&
         told->second.sign == Sign::kOwnRequest;
}

bool DeafListeners::IsClosed(const Endpoint& listener) const {
  const auto record = records_.find(listener);
  return record != records_.end() && record->second.is_closed;
}

void DeafListeners::Forget(const Endpoint& listener) {
  const auto record = records_.find(listener);
  if (record == records_.end()) return;
  if (!record->second.hears) --not_hearing_;
  records_.erase(record);
  told_.erase(listener);
}

}  // namespace host
