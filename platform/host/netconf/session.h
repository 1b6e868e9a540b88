// One connection of a client.
#pragma once

#include <sys/types.h>

#include <array>
#include <boost/asio/local/stream_protocol.hpp>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "netconf/access_peer.h"
#include "netconf/framing.h"
#include "netconf/rpc.h"
#include "netconf/subscription.h"
#include "runtime/waiting.h"

namespace host {

/// What a client may take up, and for how long.
struct SessionLimits {
  size_t message_size = size_t{2} * 1024 * 1024;  ///< In bytes.
  size_t sessions = 16;                           ///< The last one is for root.
  std::chrono::milliseconds hello{30000};         ///< From the connection to the whole <hello>.
  std::chrono::milliseconds message{60000};       ///< From a message's first byte to its last.
  std::chrono::milliseconds reply{60000};         ///< From a reply's first byte to its last.
  std::chrono::milliseconds idle{std::chrono::minutes(10)};      ///< Between two messages.
  std::chrono::milliseconds idle_locked{std::chrono::hours(1)};  ///< The same with a lock.
};

/// Why a session ends (RFC 6470, 2.4).
enum class SessionEnd { kClosed, kKilled, kDropped, kTimeout, kBadHello, kOther };

/// Who is at the other end of a connection (SO_PEERCRED, unix(7)); none when that cannot be told.
std::optional<uid_t> PeerOf(int descriptor);

/// What is known of a session, for its state data.
struct SessionFacts {
  SessionId id = 0;
  std::string user;  ///< Who opened the connection.
  std::chrono::system_clock::time_point begin;
  uint64_t requests = 0;
  uint64_t bad_requests = 0;  ///< Messages that were no correct <rpc>.
  uint64_t errors = 0;        ///< Replies that were errors.
  uint64_t notifications = 0;
  SessionEnd end = SessionEnd::kOther;  ///< Once it has ended.
  bool greeted = false;                 ///< The client's <hello> was read.

  /// It ended otherwise than by a request.
  bool IsDropped() const {
    return end == SessionEnd::kDropped || end == SessionEnd::kTimeout ||
           end == SessionEnd::kBadHello;
  }
};

/// Sums over the sessions that have ended.
struct SessionTotals {
  void Add(const SessionFacts& session);

  /// When the server began.
  std::chrono::system_clock::time_point begin = std::chrono::system_clock::now();
  uint64_t sessions = 0;
  uint64_t bad_hellos = 0;
  uint64_t dropped = 0;
  uint64_t requests = 0;
  uint64_t bad_requests = 0;
  uint64_t errors = 0;
  uint64_t notifications = 0;
};

/// What a session tells its owner.
struct SessionCalls {
  /// The hellos are exchanged.
  std::function<void(const SessionFacts& session)> on_begin;

  /// It has ended; called once, with the session still there.
  std::function<void(const SessionFacts& session)> on_end;
};

/// Answers one request after the other: the next one is read when the reply to the last is sent, so
/// a client that does not read holds no more memory than one reply, or some events. These are sent
/// between replies. Lives as long as an operation of its connection is under way.
/// Its events catch what they throw: the session ends then, and the reason is logged.
class NetconfSession : public std::enable_shared_from_this<NetconfSession> {
 public:
  using Socket = boost::asio::local::stream_protocol::socket;

  /// `limits` and `handler` outlive the connection.
  NetconfSession(Socket socket, SessionId id, const SessionLimits& limits, RpcHandler* handler,
                 SessionCalls calls);

  /// Sends the server's <hello> and waits for the client's. To be called once; `context` has the
  /// models and outlives the connection.
  void Start(ly_ctx* context, const std::string& hello);

  /// Ends the session, and closes its connection; the reason is logged. Nothing happens when it has
  /// ended.
  void End(const std::string& reason, SessionEnd how);

  /// Has it be told of events once what is under way is answered; false when it is subscribed
  /// already.
  bool Subscribe(std::unique_ptr<Subscription> subscription);

  /// There may be events to tell. Costs nothing without a subscription.
  void NoteEvent();

  const SessionFacts& Facts() const { return facts_; }

 private:
  void Read();
  void Process();
  bool TakeMessage();
  void TakeHello(const std::string& message);
  void Answer(const std::string& message);
  void SendEvents();
  EventAccess MayRead() const;
  std::string Framed(const std::string& message) const;
  void WaitForStop();
  void Send(std::string framed);
  void TakeBytes(const boost::system::error_code& error, size_t size);
  void TakeSent(const boost::system::error_code& error);
  void LimitWait();
  void Limit(std::chrono::milliseconds time, const char* what);
  void EndIfLate(const char* what);
  template <typename Call>
  void Guard(const Call& event);

  Socket socket_;
  const SessionLimits& limits_;
  RpcHandler* handler_;
  SessionCalls calls_;
  Peer peer_;
  SessionFacts facts_;
  FrameDecoder decoder_;
  Waiting reading_;
  Waiting writing_;
  Waiting waking_;     ///< For events.
  Alarm alarm_;        ///< Of what the client is to do.
  Alarm write_alarm_;  ///< Of what is being sent.
  Alarm stop_alarm_;   ///< Of the subscription's end.
  std::array<char, 65536> received_;
  std::string sending_;
  ly_ctx* context_ = nullptr;
  std::unique_ptr<Subscription> subscription_;
  bool reads_ = false;  ///< What comes is waited for.
  bool wakes_ = false;
  bool chunked_ = false;
  bool closes_ = false;  ///< Nothing follows what is being sent.
  enum class Wait { kNone, kIdle, kMessage };
  Wait wait_ = Wait::kNone;  ///< What the alarm is for after the hello.
  bool ended_ = false;
};

template <typename Call>
void NetconfSession::Guard(const Call& event) {
  try {
    event();
  } catch (const std::exception& error) {
    End(error.what(), SessionEnd::kDropped);
  } catch (...) {
    End("unknown exception", SessionEnd::kDropped);
  }
}

}  // namespace host
