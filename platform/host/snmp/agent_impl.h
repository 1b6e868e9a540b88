// The parts of the agent, for its own files alone.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "runtime/waiting.h"
#include "snmp/agent.h"
#include "snmp/agent_library.h"
#include "snmp/library_timer.h"
#include "snmp/listener_plan.h"
#include "snmp/own_requests.h"
#include "snmp/read_access.h"
#include "snmp/refused_requests.h"
#include "snmp/request_channel.h"
#include "snmp/udp_listener.h"

namespace host {

struct SnmpAgent::Impl {
  using Sign = DeafListeners::Sign;

  Impl(boost::asio::io_context& event_loop, SnmpLog log_call, CheckTimes check_times);

  void Log(int priority, const std::string& text) const;

  /// The thread may not raise a fault, so an exception of an event is a record.
  OnFailure LogFailure() const;

  /// Both return who could not be opened, and why.
  std::vector<ListenerFailure> Settle(const ListenerPlan& plan);
  std::vector<ListenerFailure> Open(const std::set<Endpoint>& endpoints);

  /// Opens it beside own listeners only. Returns the system's error.
  std::error_code OpenOne(const Endpoint& endpoint, UdpListener& listener);

  /// The open listeners whose addresses it shares, so that they have to let it in.
  std::vector<UdpListener*> OverlappedBy(const Endpoint& endpoint) const;
  void Close(const std::set<Endpoint>& endpoints);

  /// What the system refuses is told once, and tried again in each round.
  void Mark(const Endpoint& endpoint, UdpListener& listener, uint32_t mark);
  void MarkOpened(const Endpoint& endpoint, UdpListener& listener);
  void Wait(const std::shared_ptr<UdpListener>& listener);
  void GoOn(const std::shared_ptr<UdpListener>& listener, std::error_code error);
  void AnswerQueued(UdpListener& listener, size_t limit);
  void Process(UdpListener& listener);
  void TakeText(int priority, const std::string& text);
  void Answer(UdpListener& listener, std::string_view answer);

  // agent_checks.cpp

  /// The system told that a listener does not hear: it is opened anew, unless it was just now.
  void FoundDeaf(const Endpoint& endpoint, const std::string& reason);
  void Reopen(const Endpoint& endpoint, const std::string& reason, Sign sign);
  void ReopenClosed();

  /// Tells the observer when a listener is closed, for a while, and was not, or the other way
  /// round.
  void TellClosed(const Endpoint& endpoint, bool was_closed, const std::string& reason) const;
  void MarkAgain();

  /// Begins with the rounds when there are listeners, and ends them when there are none.
  void FollowListeners();
  void After(std::chrono::milliseconds delay, void (Impl::*next)());
  void Pause();
  /// Somebody is to be looked after again soon.
  void Hurry();
  void BeginRound();
  void CheckSome();
  void CheckOne(const Endpoint& endpoint, UdpListener& listener);
  void AskSome();
  void EndRound();
  void Judge(const Endpoint& endpoint, const OwnRequests::Asked& asked);

  boost::asio::io_context& loop;
  SnmpLog log;
  CheckTimes times;
  bool is_processing = false;  ///< A request, by the library.
  std::string complaint;       ///< About that request.
  AgentLibrary library;
  ReadAccess access;
  RequestChannel channel;
  LibraryTimer timer;
  std::set<Endpoint> open;  ///< The keys of the map, for plans.
  std::map<Endpoint, std::shared_ptr<UdpListener>> listeners;
  std::unordered_map<uint16_t, uint32_t> marks;  ///< By port, none of them 0.
  Datagram datagram;
  bool shares = false;
  UnsentAnswers unsent;
  RefusedRequests refused;
  DeafListeners deaf;
  ListenerObserver observer;
  OwnRequests own;
  std::map<Endpoint, uint64_t> suspects;  ///< That had requests waiting, and what they had taken.
  std::map<Endpoint, uint32_t> unmarked;  ///< That the system has refused this mark.
  bool is_urgent = false;                 ///< The next pause is a short one.
  Endpoint checked;                       ///< The last one that the round has checked.
  Endpoint asked;                         ///< The last one that was asked.
  bool runs = false;                      ///< There are rounds.
  bool pauses = false;                    ///< Until the next one.
  Alarm round_alarm;
};

}  // namespace host
