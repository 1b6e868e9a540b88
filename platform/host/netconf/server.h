// The operators' door: NETCONF sessions on a UNIX socket.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "netconf/datastores.h"
#include "netconf/event_log.h"
#include "netconf/rpc.h"
#include "netconf/session.h"
#include "runtime/door.h"

namespace host {

/// All of it happens on the loop's thread. A connection is turned away, which is logged, when there
/// are as many sessions as the limits allow; the last place is for root.
class NetconfServer {
 public:
  /// Listens at `path`; a socket that nobody listens at is replaced. Root and `group` may open it,
  /// the process's own group when that is empty (mode 0660, unix(7)). `state` tells the daemon's
  /// own state data, beside what the server adds of itself; empty for none. Sessions can subscribe
  /// to `events`, to which the server adds its own, about sessions and confirmed commits, and whose
  /// observer it is; null for none. `engine`, `loop`, `events` and the history of `files` outlive
  /// the object. Throws std::exception with the reason: somebody listens at `path`, there is no
  /// such group, or the system refuses the socket, its mode or its owner.
  NetconfServer(boost::asio::io_context& loop, const std::string& path, const std::string& group,
                Engine* engine, std::function<Tree()> state, const SessionLimits& limits = {},
                const DatastoreFiles& files = {}, EventLog* events = nullptr);

  /// Ends all sessions and removes the socket.
  ~NetconfServer();

  /// The session that has locked the running configuration, 0 for none.
  SessionId RunningLockedBy() const { return datastores_.LockedBy(Datastore::kRunning); }

  NetconfServer(const NetconfServer&) = delete;
  NetconfServer& operator=(const NetconfServer&) = delete;

 private:
  using Protocol = boost::asio::local::stream_protocol;

  void Open(const std::string& group);
  void Begin(Protocol::socket socket);
  void FollowEvents();
  RpcServices Services();
  SessionCalls Calls();
  void NoteEnd(const SessionFacts& session);

  /// False when there is no such session; `killer` is another one.
  bool Kill(SessionId session, SessionId killer);
  Tree State() const;

  boost::asio::io_context& loop_;
  std::string path_;
  SessionLimits limits_;
  Datastores datastores_;
  std::function<Tree()> state_;
  EventLog* events_;
  RpcHandler handler_;
  std::vector<std::string> capabilities_;
  Protocol::acceptor acceptor_;
  std::optional<Door> door_;  ///< Once the acceptor listens.
  std::map<SessionId, std::shared_ptr<NetconfSession>> sessions_;
  SessionId last_session_ = 0;  ///< Numbers are never used again.
  SessionTotals ended_;
  SessionId killer_ = 0;  ///< Of the session that is being killed, 0 for none.
  bool is_ending_ = false;
};

}  // namespace host
