// What a session tells of events.
#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

#include "netconf/session.h"

namespace host {

namespace {

/// The system's clock may be set meanwhile.
constexpr std::chrono::minutes kLongestWait(1);

}  // namespace

bool NetconfSession::Subscribe(std::unique_ptr<Subscription> subscription) {
  if (subscription_ != nullptr) return false;
  subscription_ = std::move(subscription);
  try {
    WaitForStop();
  } catch (...) {
    // It is answered as refused.
    subscription_.reset();
    throw;
  }
  return true;
}

void NetconfSession::WaitForStop() {
  if (subscription_ == nullptr || !subscription_->Stop()) return;
  const auto left = *subscription_->Stop() - EventLog::Clock::now();
  if (left.count() <= 0) {
    NoteEvent();
    return;
  }
  const auto wait = std::min<EventLog::Clock::duration>(left, kLongestWait);
  stop_alarm_.After(wait + std::chrono::milliseconds(1),
                    [this, self = shared_from_this()] { Guard([&] { WaitForStop(); }); });
}

void NetconfSession::NoteEvent() {
  if (subscription_ == nullptr || wakes_ || ended_) return;
  boost::asio::post(socket_.get_executor(), waking_.Begin([this, self = shared_from_this()] {
    wakes_ = false;
    Guard([&] { SendEvents(); });
  }));
  wakes_ = true;
}

/// Not within a reply, nor before the one to the subscription.
void NetconfSession::SendEvents() {
  if (subscription_ == nullptr || !sending_.empty()) return;
  std::string framed;
  for (const std::string& message : subscription_->Take(MayRead())) {
    framed += Framed(message);
    ++facts_.notifications;
  }
  if (subscription_->HasEnded()) {
    subscription_.reset();
    wait_ = Wait::kNone;
  }
  if (!framed.empty()) {
    Send(std::move(framed));
  } else if (subscription_ != nullptr && subscription_->HasMore()) {
    NoteEvent();
  }
}

EventAccess NetconfSession::MayRead() const {
  return
      [this](const Event& event) { return handler_->MayReceive(peer_, event.module, event.name); };
}

}  // namespace host
