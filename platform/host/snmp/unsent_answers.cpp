#include "snmp/unsent_answers.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>

namespace host {

namespace {

constexpr std::chrono::minutes kQuiet(1);

std::string AddressText(const sockaddr_storage& peer) {
  const void* address = &reinterpret_cast<const sockaddr_in&>(peer).sin_addr;
  if (peer.ss_family == AF_INET6) address = &reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr;
  std::array<char, INET6_ADDRSTRLEN> text = {};
  const char* end = ::inet_ntop(peer.ss_family, address, text.data(), text.size());
  return end == nullptr ? std::string("?") : text.data();
}

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
  const std::string address = AddressText(peer);
  told_[listener] = {address, now, false};
  return ToText(listener) + ": an answer to " + address + " was not sent: " + record.last_error;
}

void UnsentAnswers::Heal(const Endpoint& listener, const sockaddr_storage& peer) {
  const auto told = told_.find(listener);
  if (told == told_.end() || told->second.is_healed) return;
  told->second.is_healed = told->second.peer == AddressText(peer);
}

void UnsentAnswers::Forget(const Endpoint& listener) {
  records_.erase(listener);
  told_.erase(listener);
}

}  // namespace host
