#include "netconf/session.h"

#include <pwd.h>
#include <sys/socket.h>

#include <boost/asio/write.hpp>
#include <exception>
#include <utility>

#include "netconf/hello.h"
#include "runtime/log.h"

namespace host {

namespace {

/// The name of the user at the other end of a connection (SO_PEERCRED, unix(7)).
std::string PeerName(int descriptor) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return "unknown";
  passwd entry = {};
  passwd* found = nullptr;
  std::array<char, 4096> buffer;
  getpwuid_r(peer.uid, &entry, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "uid " + std::to_string(peer.uid) : found->pw_name;
}

}  // namespace

void SessionTotals::Add(const SessionFacts& session) {
  ++sessions;
  bad_hellos += session.bad_hello ? 1 : 0;
  dropped += session.dropped ? 1 : 0;
  requests += session.requests;
  bad_requests += session.bad_requests;
  errors += session.errors;
}

NetconfSession::NetconfSession(Socket socket, SessionId id, const SessionLimits& limits,
                               RpcHandler* handler, std::function<void(NetconfSession*)> on_end)
    : socket_(std::move(socket)),
      limits_(limits),
      handler_(handler),
      on_end_(std::move(on_end)),
      decoder_(limits.message_size),
      timer_(socket_.get_executor()) {
  facts_.id = id;
  facts_.user = PeerName(socket_.native_handle());
  facts_.begin = std::chrono::system_clock::now();
}

void NetconfSession::Start(ly_ctx* context, const std::string& hello) {
  context_ = context;
  HOST_LOG(kProgress, "NETCONF session %u of %s begins.", facts_.id, facts_.user.c_str());
  Send(FrameDelimited(hello));
}

void NetconfSession::End(const std::string& reason, bool dropped) {
  if (ended_) return;
  ended_ = true;
  facts_.dropped = dropped;
  HOST_LOG(kProgress, "NETCONF session %u ends: %s.", facts_.id, reason.c_str());
  timer_.cancel();
  boost::system::error_code ignored;
  socket_.close(ignored);
  on_end_(this);
}

/// Ends the session unless the step that begins now is done in time.
void NetconfSession::Limit(std::chrono::milliseconds time, const char* what) {
  timer_.expires_after(time);
  timer_.async_wait([self = shared_from_this(), what](const boost::system::error_code& error) {
    if (!error) self->End(what, true);
  });
}

void NetconfSession::Read() {
  socket_.async_read_some(
      boost::asio::buffer(received_),
      [self = shared_from_this()](const boost::system::error_code& error, size_t size) {
        if (self->ended_) return;
        if (error) {
          self->End(error == boost::asio::error::eof ? "the client has closed it" : error.message(),
                    true);
          return;
        }
        self->decoder_.Append(self->received_.data(), size);
        self->Process();
      });
}

/// Goes on with what has arrived: a whole message is answered, else more is read.
void NetconfSession::Process() {
  try {
    if (TakeMessage()) return;
  } catch (const std::exception& error) {
    facts_.bad_hello = !greeted_;
    End(error.what(), true);
    return;
  }
  // A hello's time has begun with the connection, a message's begins with its first byte.
  if (greeted_ && decoder_.IsWithinMessage() && !timed_) {
    timed_ = true;
    Limit(limits_.message, "a message was not finished in time");
  }
  Read();
}

/// False when no whole message is there.
bool NetconfSession::TakeMessage() {
  const std::optional<std::string> message = decoder_.Next();
  if (!message.has_value()) return false;
  timed_ = false;
  timer_.cancel();
  if (greeted_) {
    Answer(*message);
    return true;
  }
  TakeHello(*message);
  return TakeMessage();
}

void NetconfSession::TakeHello(const std::string& message) {
  chunked_ = UsesChunks(context_, message);
  if (chunked_) decoder_.UseChunks();
  greeted_ = true;
}

void NetconfSession::Answer(const std::string& message) {
  const RpcReply reply = handler_->Handle(facts_.id, message);
  if (ended_) return;
  ++(reply.closes && reply.is_error ? facts_.bad_requests : facts_.requests);
  facts_.errors += reply.is_error ? 1 : 0;
  closes_ = reply.closes;
  Send(chunked_ ? FrameChunked(reply.xml) : FrameDelimited(reply.xml));
}

void NetconfSession::Send(std::string framed) {
  sending_ = std::move(framed);
  Limit(limits_.reply, "the client does not read");
  boost::asio::async_write(
      socket_, boost::asio::buffer(sending_),
      [self = shared_from_this()](const boost::system::error_code& error, size_t /*size*/) {
        if (self->ended_) return;
        if (error || self->closes_) {
          self->End(error ? error.message() : "closed as asked", error.failed());
          return;
        }
        self->sending_ = std::string();
        self->timer_.cancel();
        if (!self->greeted_) {
          self->Limit(self->limits_.hello, "the client has not said hello in time");
        }
        self->Process();
      });
}

}  // namespace host
