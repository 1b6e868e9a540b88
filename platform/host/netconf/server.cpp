#include "netconf/server.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "netconf/access_door.h"
#include "netconf/base_events.h"
#include "netconf/create_subscription.h"
#include "netconf/hello.h"
#include "netconf/monitoring.h"
#include "runtime/log.h"

namespace host {

namespace {

/// Read and write for owner and group.
constexpr mode_t kSocketMode = 0660;

[[noreturn]] void Throw(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void GiveToGroup(const std::string& path, const std::string& group) {
  if (chmod(path.c_str(), kSocketMode) != 0) Throw("mode of " + path);
  if (group.empty()) return;
  const struct group* entry = getgrnam(group.c_str());
  if (entry == nullptr) throw std::runtime_error("there is no group " + group);
  if (chown(path.c_str(), static_cast<uid_t>(-1), entry->gr_gid) != 0) Throw("group of " + path);
}

/// Removes a socket that an earlier run left. Throws when somebody listens at it.
void RemoveStale(boost::asio::io_context& loop, const std::string& path) {
  using Protocol = boost::asio::local::stream_protocol;
  Protocol::socket probe(loop);
  boost::system::error_code error;
  probe.connect(Protocol::endpoint(path), error);
  if (!error) throw std::runtime_error("another process listens at " + path);
  struct stat status = {};
  const bool is_socket = lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
  if (error == boost::asio::error::connection_refused && is_socket) unlink(path.c_str());
}

}  // namespace

NetconfServer::NetconfServer(boost::asio::io_context& loop, const std::string& path,
                             const std::string& group, Engine* engine, std::function<Tree()> state,
                             const SessionLimits& limits, const DatastoreFiles& files,
                             EventLog* events)
    : loop_(loop),
      path_(path),
      limits_(limits),
      datastores_(loop.get_executor(), engine, files),
      state_(std::move(state)),
      events_(events),
      handler_(&datastores_, Services()),
      capabilities_(Capabilities(engine->Models().Context())),
      acceptor_(loop) {
  Open(group);
  door_.emplace(&acceptor_, "NETCONF connection",
                [this](Protocol::socket socket) { Begin(std::move(socket)); });
  FollowEvents();
}

NetconfServer::~NetconfServer() {
  boost::system::error_code ignored;
  acceptor_.close(ignored);
  unlink(path_.c_str());
  // A commit that is not confirmed is taken back by the next start.
  is_ending_ = true;
  while (!sessions_.empty()) {
    sessions_.begin()->second->End("the daemon ends", SessionEnd::kOther);
  }
  if (events_ != nullptr) events_->SetObserver(nullptr);
}

void NetconfServer::FollowEvents() {
  if (events_ == nullptr) return;
  datastores_.SetConfirmObserver(
      [this](const ConfirmEvent& event) { PublishConfirmedCommit(events_, event); });
  events_->SetObserver([this] {
    for (const auto& session : sessions_) session.second->NoteEvent();
  });
}

RpcServices NetconfServer::Services() {
  const auto subscribe = [this](SessionId session, std::unique_ptr<Subscription> subscription) {
    return sessions_.at(session)->Subscribe(std::move(subscription));
  };
  return {[this] { return State(); },
          [this](SessionId session, SessionId killer) { return Kill(session, killer); }, events_,
          subscribe};
}

void NetconfServer::Open(const std::string& group) {
  RemoveStale(loop_, path_);
  // Nobody else is let in before the group is set.
  const mode_t mask = umask(0177);
  boost::system::error_code error;
  acceptor_.open();
  acceptor_.bind(Protocol::endpoint(path_), error);
  umask(mask);
  if (error) throw std::system_error(error.value(), std::generic_category(), path_);
  try {
    GiveToGroup(path_, group);
    LetReadersIn(path_);
    acceptor_.listen();
  } catch (const std::exception&) {
    unlink(path_.c_str());
    throw;
  }
}

void NetconfServer::Begin(Protocol::socket socket) {
  // However many others stay, root gets in.
  const size_t kept = PeerOf(socket.native_handle()) == uid_t{0} ? 0 : 1;
  if (sessions_.size() + kept >= limits_.sessions) {
    HOST_LOG(kNotice, "NETCONF connection refused: there are %zu sessions.", sessions_.size());
    return;
  }
  const SessionId id = ++last_session_;
  const auto session =
      std::make_shared<NetconfSession>(std::move(socket), id, limits_, &handler_, Calls());
  sessions_.emplace(id, session);
  try {
    session->Start(datastores_.Models().Context(), ServerHello(capabilities_, id));
  } catch (const std::exception& exception) {
    session->End(exception.what(), SessionEnd::kDropped);
    throw;
  }
}

SessionCalls NetconfServer::Calls() {
  return {[this](const SessionFacts& session) { PublishSessionStart(events_, session); },
          [this](const SessionFacts& session) { NoteEnd(session); }};
}

/// `session` goes with its entry.
void NetconfServer::NoteEnd(const SessionFacts& session) {
  const SessionFacts facts = session;
  if (!is_ending_) datastores_.EndSession(facts.id);
  ended_.Add(facts);
  PublishSessionEnd(events_, facts, killer_);
  sessions_.erase(facts.id);
}

bool NetconfServer::Kill(SessionId session, SessionId killer) {
  const auto found = sessions_.find(session);
  if (found == sessions_.end()) return false;
  const std::shared_ptr<NetconfSession> killed = found->second;
  killer_ = killer;
  killed->End("killed by session " + std::to_string(killer), SessionEnd::kKilled);
  killer_ = 0;
  return true;
}

Tree NetconfServer::State() const {
  std::vector<SessionFacts> sessions;
  for (const auto& session : sessions_) sessions.push_back(session.second->Facts());
  Tree state = MonitoringState(datastores_, capabilities_, sessions, ended_);
  if (events_ != nullptr) {
    InsertAll(&state, StreamsState(datastores_.Models().Context(), *events_));
  }
  if (state_) InsertAll(&state, state_());
  return state;
}

}  // namespace host
