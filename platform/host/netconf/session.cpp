#include "netconf/session.h"

#include <sys/socket.h>

#include <boost/asio/write.hpp>
#include <exception>
#include <utility>

#include "netconf/hello.h"
#include "runtime/log.h"

namespace host {

namespace {

std::string SessionName(SessionId id) { return "NETCONF session " + std::to_string(id); }

}  // namespace

std::optional<uid_t> PeerOf(int descriptor) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
  return peer.uid;
}

void SessionTotals::Add(const SessionFacts& session) {
  ++sessions;
  bad_hellos += session.end == SessionEnd::kBadHello ? 1 : 0;
  dropped += session.IsDropped() ? 1 : 0;
  requests += session.requests;
  bad_requests += session.bad_requests;
  errors += session.errors;
  notifications += session.notifications;
}

NetconfSession::NetconfSession(Socket socket, SessionId id, const SessionLimits& limits,
                               RpcHandler* handler, SessionCalls calls)
    : socket_(std::move(socket)),
      limits_(limits),
      handler_(handler),
      calls_(std::move(calls)),
      peer_(PeerAt(socket_.native_handle())),
      decoder_(limits.message_size),
      reading_(SessionName(id)),
      writing_(SessionName(id)),
      waking_(SessionName(id)),
      alarm_(socket_.get_executor(), SessionName(id)),
      write_alarm_(socket_.get_executor(), SessionName(id)),
      stop_alarm_(socket_.get_executor(), SessionName(id)) {
  facts_.id = id;
  facts_.user = peer_.user;
  facts_.begin = std::chrono::system_clock::now();
}

void NetconfSession::Start(ly_ctx* context, const std::string& hello) {
  context_ = context;
  HOST_LOG(kProgress, "NETCONF session %u of %s begins.", facts_.id, facts_.user.c_str());
  Send(FrameDelimited(hello));
}

void NetconfSession::End(const std::string& reason, SessionEnd how) {
  if (ended_) return;
  ended_ = true;
  facts_.end = how;
  HOST_LOG(kProgress, "NETCONF session %u ends: %s.", facts_.id, reason.c_str());
  for (Waiting* waiting : {&reading_, &writing_, &waking_}) waiting->End();
  for (Alarm* alarm : {&alarm_, &write_alarm_, &stop_alarm_}) alarm->Stop();
  // The loop may keep this object longer than the models live, which the filter is made of.
  subscription_.reset();
  boost::system::error_code ignored;
  socket_.close(ignored);
  calls_.on_end(facts_);
}

/// Ends the session unless the step that begins now is done in time.
void NetconfSession::Limit(std::chrono::milliseconds time, const char* what) {
  alarm_.After(time, [this, self = shared_from_this(), what] { Guard([&] { EndIfLate(what); }); });
}

/// What came in time is not late because the loop was busy with something else.
void NetconfSession::EndIfLate(const char* what) {
  boost::system::error_code error;
  if (socket_.available(error) > 0 && !error) {
    Limit(std::chrono::milliseconds(1), what);
    return;
  }
  End(what, SessionEnd::kTimeout);
}

void NetconfSession::Read() {
  if (reads_) return;
  reads_ = true;
  socket_.async_read_some(boost::asio::buffer(received_),
                          reading_.Begin([this, self = shared_from_this()](
                                             const boost::system::error_code& error, size_t size) {
                            Guard([&] { TakeBytes(error, size); });
                          }));
}

void NetconfSession::TakeBytes(const boost::system::error_code& error, size_t size) {
  reads_ = false;
  if (error) {
    End(error == boost::asio::error::eof ? "the client has closed it" : error.message(),
        SessionEnd::kDropped);
    return;
  }
  decoder_.Append(received_.data(), size);
  // Else what is being sent goes first.
  if (sending_.empty()) Process();
}

/// Goes on with what has arrived: a whole message is answered, else more is read.
void NetconfSession::Process() {
  try {
    if (TakeMessage()) return;
  } catch (const std::exception& error) {
    End(error.what(), facts_.greeted ? SessionEnd::kDropped : SessionEnd::kBadHello);
    return;
  }
  LimitWait();
  Read();
  SendEvents();
}

/// A hello's time has begun with the connection, a message's begins with its first byte.
void NetconfSession::LimitWait() {
  if (!facts_.greeted) return;
  const Wait wait = decoder_.IsWithinMessage() ? Wait::kMessage : Wait::kIdle;
  if (wait == wait_) return;
  wait_ = wait;
  if (wait == Wait::kMessage) {
    Limit(limits_.message, "a message was not finished in time");
  } else if (subscription_ != nullptr) {
    // Who waits for events need not ask for anything.
    alarm_.Stop();
  } else {
    Limit(handler_->HasLock(facts_.id) ? limits_.idle_locked : limits_.idle,
          "the client has asked nothing for too long");
  }
}

/// False when no whole message is there.
bool NetconfSession::TakeMessage() {
  std::optional<std::string> message = decoder_.Next();
  if (!message.has_value()) return false;
  // Blanks before a message are nobody's, and XML has no declaration behind some.
  message->erase(0, message->find_first_not_of(" \t\r\n"));
  wait_ = Wait::kNone;
  alarm_.Stop();
  if (facts_.greeted) {
    Answer(*message);
    return true;
  }
  TakeHello(*message);
  return TakeMessage();
}

void NetconfSession::TakeHello(const std::string& message) {
  chunked_ = UsesChunks(context_, message);
  if (chunked_) decoder_.UseChunks();
  facts_.greeted = true;
  calls_.on_begin(facts_);
}

void NetconfSession::Answer(const std::string& message) {
  // A request that asks for the counters is counted already.
  ++facts_.requests;
  const RpcReply reply = handler_->Handle(facts_.id, peer_, message, chunked_);
  if (ended_) return;
  if (reply.is_bad_request) {
    --facts_.requests;
    ++facts_.bad_requests;
  }
  facts_.errors += reply.is_error ? 1 : 0;
  closes_ = reply.closes;
  Send(Framed(reply.xml));
}

std::string NetconfSession::Framed(const std::string& message) const {
  return chunked_ ? FrameChunked(message) : FrameDelimited(message);
}

void NetconfSession::Send(std::string framed) {
  sending_ = std::move(framed);
  write_alarm_.After(limits_.reply, [this, self = shared_from_this()] {
    Guard([&] { End("the client does not read", SessionEnd::kTimeout); });
  });
  boost::asio::async_write(
      socket_, boost::asio::buffer(sending_),
      writing_.Begin(
          [this, self = shared_from_this()](const boost::system::error_code& error,
                                            size_t /*size*/) { Guard([&] { TakeSent(error); }); }));
}

void NetconfSession::TakeSent(const boost::system::error_code& error) {
  if (error || closes_) {
    End(error ? error.message() : "closed as asked",
        error ? SessionEnd::kDropped : SessionEnd::kClosed);
    return;
  }
  sending_ = std::string();
  write_alarm_.Stop();
  if (!facts_.greeted) Limit(limits_.hello, "the client has not said hello in time");
  Process();
}

}  // namespace host
