#include "snmp/unsent_answers.h"

#include "snmp/peer_text.h"

namespace host {

namespace {

constexpr std::chrono::minutes kQuiet(1);

}  // namespace

std::string UnsentAnswers::Failed(const Endpoint& listener, const sockaddr_storage& peer,
                                  const std::error_code& error, Clock::time_point now) {
  ++total_;
  UnsentRecord& record = records_[listener];
  ++record.count;
  record.last_error = error.message();
  const auto told = told_.find(listener);
  if (told != told_.end() && (!told->second.is_healed || now - told->second.time < kQuiet)) {
    return "";
  }
  const std::string address = PeerText(peer);
  told_[listener] = {address, now, false};
  return ToText(listener) + ": an answer to " + address + " was not sent: " + record.last_error;
}

void UnsentAnswers::Heal(const Endpoint& listener, const sockaddr_storage& peer) {
  const auto told = told_.find(listener);
  if (told == told_.end() || told->second.is_healed) return;
  told->second.is_healed = told->second.peer == PeerText(peer);
}

void UnsentAnswers::Forget(const Endpoint& listener) {
  records_.erase(listener);
  told_.erase(listener);
}

}  // namespace host
