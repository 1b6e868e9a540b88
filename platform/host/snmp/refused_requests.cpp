#include "snmp/refused_requests.h"

#include <utility>

#include "snmp/peer_text.h"

namespace host {

namespace {

constexpr std::chrono::minutes kQuiet(1);

}  // namespace

std::string RefusedRequests::Refused(const sockaddr_storage& peer, const std::string& reason,
                                     Clock::time_point now) {
  ++total_;
  std::string address = PeerText(peer);
  const auto known = senders_.find(address);
  if (known != senders_.end()) {
    ++known->second.untold;
    known->second.reason = reason;
    return "";
  }
  if (senders_.size() == kMostSenders) {
    ++of_others_;
    return "";
  }
  std::string record = address + ": request refused: " + reason;
  senders_.emplace(std::move(address), Sender{0, reason, now});
  return record;
}

std::vector<std::string> RefusedRequests::TakeDue(Clock::time_point now) {
  std::vector<std::string> records;
  for (auto next = senders_.begin(); next != senders_.end();) {
    const auto one = next++;
    Sender& sender = one->second;
    if (now - sender.told < kQuiet) continue;
    if (sender.untold == 0) {
      senders_.erase(one);
      continue;
    }
    records.push_back(one->first + ": " + std::to_string(sender.untold) +
                      " more requests refused, the last: " + sender.reason);
    sender.untold = 0;
    sender.told = now;
  }
  if (of_others_ > 0) {
    records.push_back("other senders: " + std::to_string(of_others_) + " requests refused");
    of_others_ = 0;
  }
  return records;
}

std::vector<std::string> RefusedRequests::TakeAll() {
  std::vector<std::string> records = TakeDue(Clock::time_point::max());
  senders_.clear();
  return records;
}

}  // namespace host
