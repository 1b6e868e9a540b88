#include "snmp/agent.h"

#include <syslog.h>

#include <boost/asio/error.hpp>
#include <cassert>
#include <utility>

#include "snmp/agent_impl.h"
#include "snmp/descriptors.h"

namespace host {

namespace {

/// Requests of one listener in a row, before the others have their turn.
constexpr size_t kBatch = 32;

}  // namespace

SnmpAgent::Impl::Impl(boost::asio::io_context& event_loop, SnmpLog log_call, CheckTimes check_times)
    : loop(event_loop),
      log(std::move(log_call)),
      times(check_times),
      library([this](int priority, const std::string& text) { TakeText(priority, text); }),
      timer(event_loop, LogFailure()),
      own(event_loop),
      round_alarm(event_loop.get_executor(), "round of checks", LogFailure()) {
  access.SetOwn(own.Community());
}

void SnmpAgent::Impl::Log(int priority, const std::string& text) const {
  if (log && !text.empty()) log(priority, text);
}

OnFailure SnmpAgent::Impl::LogFailure() const {
  return [this](const std::string& text) { Log(LOG_ERR, "SNMP agent: " + text); };
}

std::vector<ListenerFailure> SnmpAgent::Impl::Open(const std::set<Endpoint>& endpoints) {
  std::vector<ListenerFailure> failures;
  for (const Endpoint& endpoint : endpoints) {
    const auto listener = std::make_shared<UdpListener>(loop);
    const std::error_code error = OpenOne(endpoint, *listener);
    if (error) {
      failures.push_back({endpoint, error.message()});
      continue;
    }
    open.insert(endpoint);
    listeners.emplace(endpoint, listener);
    MarkOpened(endpoint, *listener);
    Wait(listener);
  }
  return failures;
}

/// Where only the agent's own listeners are in the way, 0.0.0.0 of 127.0.0.1 say, it opens beside
/// them.
std::error_code SnmpAgent::Impl::OpenOne(const Endpoint& endpoint, UdpListener& listener) {
  std::error_code error = listener.Open(endpoint);
  if (error == std::errc::address_in_use) {
    const std::vector<UdpListener*> overlapped = OverlappedBy(endpoint);
    if (overlapped.empty()) return error;
    for (UdpListener* other : overlapped) other->Share(true);
    error = listener.Open(endpoint, UdpListener::Place::kBeside);
    for (UdpListener* other : overlapped) other->Share(shares);
  }
  if (!error) listener.Share(shares);
  return error;
}

/// Linear in the number of listeners.
std::vector<UdpListener*> SnmpAgent::Impl::OverlappedBy(const Endpoint& endpoint) const {
  const auto is_v6 = [](const Endpoint& one) { return one.address.find(':') != std::string::npos; };
  std::vector<UdpListener*> overlapped;
  for (const auto& [other, listener] : listeners) {
    if (other.port != endpoint.port || is_v6(other) != is_v6(endpoint)) continue;
    if (other != endpoint && !IsWildcard(other) && !IsWildcard(endpoint)) continue;
    overlapped.push_back(listener.get());
  }
  return overlapped;
}

void SnmpAgent::Impl::Close(const std::set<Endpoint>& endpoints) {
  for (const Endpoint& endpoint : endpoints) {
    open.erase(endpoint);
    const auto node = listeners.extract(endpoint);
    AnswerQueued(*node.mapped(), node.mapped()->QueueLimit());
    node.mapped()->Close();
    unsent.Forget(endpoint);
    deaf.Forget(endpoint);
    suspects.erase(endpoint);
    unmarked.erase(endpoint);
  }
}

void SnmpAgent::Impl::Mark(const Endpoint& endpoint, UdpListener& listener, uint32_t mark) {
  const std::error_code error = listener.SetMark(mark);
  const std::string subject = ToText(endpoint) + ": mark " + std::to_string(mark);
  if (!error) {
    if (unmarked.erase(endpoint) > 0) Log(LOG_WARNING, subject + " is set now");
    return;
  }
  const bool is_new = unmarked.insert_or_assign(endpoint, mark).second;
  if (!is_new) return;
  Log(LOG_WARNING, subject + " not set, and tried again until it is: " + error.message());
  Hurry();
}

void SnmpAgent::Impl::MarkOpened(const Endpoint& endpoint, UdpListener& listener) {
  const auto mark = marks.find(endpoint.port);
  if (mark != marks.end() && IsWildcard(endpoint)) Mark(endpoint, listener, mark->second);
}

/// The listener is this object's, so as long as it exists this object does, too.
void SnmpAgent::Impl::Wait(const std::shared_ptr<UdpListener>& listener) {
  listener->WaitForRequest(
      [this, waiting = std::weak_ptr(listener)](const boost::system::error_code& error) {
        const auto ready = waiting.lock();
        if (!ready || error == boost::asio::error::operation_aborted) return;
        const OnFailure log_failure = LogFailure();
        if (!error) {
          RunEvent(
              "requests", [&] { AnswerQueued(*ready, kBatch); }, log_failure);
        }
        RunEvent(
            "listener", [&] { GoOn(ready, error); }, log_failure);
      });
}

void SnmpAgent::Impl::GoOn(const std::shared_ptr<UdpListener>& listener, std::error_code error) {
  if (error || listener->Failure()) {
    FoundDeaf(listener->At(), (error ? error : listener->Failure()).message());
  } else {
    Wait(listener);
  }
}

void SnmpAgent::Impl::AnswerQueued(UdpListener& listener, size_t limit) {
  for (size_t i = 0; i < limit && listener.Receive(datagram); ++i) {
    Log(LOG_WARNING, deaf.Hears(listener.At(), DeafListeners::Sign::kSystem));
    Process(listener);
  }
  timer.Follow();
}

void SnmpAgent::Impl::Process(UdpListener& listener) {
  const uint64_t strangers = access.Strangers();
  access.LetOwnIn(own.IsFrom(listener.At(), datagram.peer));
  is_processing = true;
  const std::string_view answer = channel.Process(datagram.Bytes());
  is_processing = false;
  if (!answer.empty()) Answer(listener, answer);
  if (access.Strangers() != strangers) complaint = "unknown community";
  const std::string reason = std::exchange(complaint, {});
  if (reason.empty()) return;
  Log(LOG_WARNING, refused.Refused(datagram.peer, reason, RefusedRequests::Clock::now()));
}

/// What the library says of a request is told with its sender.
void SnmpAgent::Impl::TakeText(int priority, const std::string& text) {
  if (is_processing) {
    complaint = text;
  } else {
    Log(priority, text);
  }
}

void SnmpAgent::Impl::Answer(UdpListener& listener, std::string_view answer) {
  const std::error_code error = listener.Answer(datagram, answer);
  if (!error) {
    unsent.Sent(listener.At(), datagram.peer);
    return;
  }
  Log(LOG_WARNING, unsent.Failed(listener.At(), datagram.peer, error, UnsentAnswers::Clock::now()));
}

SnmpAgent::SnmpAgent(boost::asio::io_context& loop, SnmpLog log, CheckTimes times) {
  MakeRoomForListeners();
  impl_ = std::make_unique<Impl>(loop, std::move(log), times);
}

SnmpAgent::~SnmpAgent() = default;

std::vector<ListenerFailure> SnmpAgent::SetListeners(const std::set<Endpoint>& wanted) {
  assert(!impl_->channel.IsBusy());
  impl_->ReopenClosed();
  std::vector<ListenerFailure> failures = impl_->Settle(PlanListeners(impl_->open, wanted));
  impl_->FollowListeners();
  return failures;
}

std::vector<ListenerFailure> SnmpAgent::Impl::Settle(const ListenerPlan& plan) {
  std::vector<ListenerFailure> failures = Open(plan.open);
  Close(plan.close);
  if (failures.empty() || plan.close.empty()) return failures;
  // What did not open beside the old ones, for want of descriptors, may open in their place.
  std::set<Endpoint> failed;
  for (const ListenerFailure& failure : failures) failed.insert(failure.endpoint);
  return Open(failed);
}

void SnmpAgent::SetListenerObserver(ListenerObserver observer) {
  impl_->observer = std::move(observer);
}

void SnmpAgent::Follow(const AgentSettings& settings) {
  impl_->access.SetCommunities({settings.communities.begin(), settings.communities.end()});
}

void SnmpAgent::SetMark(uint16_t port, uint32_t mark) {
  if (mark != 0) {
    impl_->marks[port] = mark;
  } else if (impl_->marks.erase(port) == 0) {
    return;
  }
  for (const char* address : {"0.0.0.0", "::"}) {
    const auto open = impl_->listeners.find({address, port});
    if (open != impl_->listeners.end()) impl_->Mark(open->first, *open->second, mark);
  }
}

void SnmpAgent::Share(bool on) {
  assert(impl_->shares != on);
  impl_->shares = on;
  for (const auto& listener : impl_->listeners) listener.second->Share(on);
}

std::string SnmpAgent::WhyNot(const Endpoint& endpoint) {
  UdpListener probe(impl_->loop);
  const std::error_code error = impl_->OpenOne(endpoint, probe);
  return error ? error.message() : "";
}

AgentFacts SnmpAgent::Facts() const {
  return {impl_->open, impl_->unsent, impl_->deaf, impl_->refused.Total()};
}

const std::set<Endpoint>& SnmpAgent::Listeners() const { return impl_->open; }

bool SnmpAgent::TimerRuns() const { return impl_->timer.Runs(); }

}  // namespace host
