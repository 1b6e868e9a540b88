#include "netconf/create_subscription.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "netconf/parameters.h"
#include "netconf/rpc_error.h"
#include "netconf/subscription.h"
#include "netconf/xml.h"

namespace host {

namespace {

using Time = EventLog::Clock::time_point;

constexpr char kStream[] = "NETCONF";

RpcError BadElement(const char* tag, const char* element, const std::string& reason) {
  return RpcError("protocol", tag, reason).With("bad-element", element);
}

/// The last time that the clock can have, in seconds: in 2255, or where time_t ends.
constexpr auto kMostSeconds =
    static_cast<time_t>(std::min<int64_t>(9000000000, std::numeric_limits<time_t>::max()));

/// The time in a leaf of an operation, which its type has checked, in whole milliseconds as events
/// have theirs.
std::optional<Time> TimeIn(const lyd_node* operation, const char* leaf) {
  const std::string text = ParameterText(operation, leaf);
  if (text.empty()) return std::nullopt;
  timespec time = {};
  if (ly_time_str2ts(text.c_str(), &time) != LY_SUCCESS) {
    throw BadElement("bad-element", leaf, text + " is no time");
  }
  const auto whole = EventLog::Clock::from_time_t(std::clamp<time_t>(time.tv_sec, 0, kMostSeconds));
  return whole + std::chrono::milliseconds(time.tv_nsec / 1000000);
}

EventWindow WindowOf(const lyd_node* operation, Time now) {
  const EventWindow window = {TimeIn(operation, "startTime"), TimeIn(operation, "stopTime")};
  if (window.stop && !window.start) {
    throw BadElement("missing-element", "startTime", "a stop needs a start");
  }
  if (window.start && *window.start > now) {
    throw BadElement("bad-element", "startTime", "the start is to come");
  }
  if (window.stop && *window.stop < *window.start) {
    throw BadElement("bad-element", "stopTime", "the stop is before the start");
  }
  return window;
}

}  // namespace

std::string CreateSubscription(const Request& request) {
  const RpcServices& services = *request.services;
  if (services.events == nullptr || !HasEventModels(request.Context())) {
    throw RpcError("protocol", "operation-not-supported", "there are no events here");
  }
  const std::string stream = ParameterText(request.operation, "stream", kStream);
  if (stream != kStream) {
    throw BadElement("invalid-value", "stream", "there is no stream " + stream);
  }
  const EventWindow window = WindowOf(request.operation, services.events->Now());
  auto subscription =
      std::make_unique<Subscription>(services.events, EventFilter(request.operation), window);
  if (!services.subscribe(request.author.session, std::move(subscription))) {
    throw RpcError("protocol", "operation-failed", "this session is subscribed already");
  }
  return "<ok/>";
}

bool HasEventModels(const ly_ctx* context) {
  for (const char* name : {"notifications", "nc-notifications", "ietf-netconf-notifications"}) {
    if (ly_ctx_get_module_implemented(context, name) == nullptr) return false;
  }
  return true;
}

std::vector<std::string> EventCapabilities(const ly_ctx* context) {
  if (!HasEventModels(context)) return {};
  return {"urn:ietf:params:netconf:capability:notification:1.0",
          "urn:ietf:params:netconf:capability:interleave:1.0"};
}

Tree StreamsState(ly_ctx* context, const EventLog& events) {
  if (!HasEventModels(context)) return nullptr;
  const std::string stream = Element("name", kStream) +
                             Element("description", "All events of this daemon.") +
                             Leaf("replaySupport", true) +
                             Element("replayLogCreationTime", EventTimeText(events.Created()));
  return ParseState(context, R"(<netconf xmlns="urn:ietf:params:xml:ns:netmod:notification">)" +
                                 Element("streams", Element("stream", stream)) + "</netconf>");
}

}  // namespace host
