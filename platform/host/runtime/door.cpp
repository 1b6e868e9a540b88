#include "runtime/door.h"

#include <chrono>
#include <utility>

#include "runtime/log.h"

namespace host {

namespace {

constexpr std::chrono::seconds kPause(1);

}  // namespace

Door::Door(Protocol::acceptor* acceptor, std::string what, OnConnection on_connection)
    : acceptor_(acceptor),
      what_(std::move(what)),
      on_connection_(std::move(on_connection)),
      waiting_(what_, EndWithFault),
      pause_(acceptor->get_executor(), what_, EndWithFault) {
  Accept();
}

void Door::Accept() {
  acceptor_->async_accept(
      waiting_.Begin([this](const boost::system::error_code& error, Protocol::socket socket) {
        Take(error, std::move(socket));
      }));
}

void Door::Take(const boost::system::error_code& error, Protocol::socket socket) {
  if (error == boost::asio::error::operation_aborted) return;
  if (error) {
    HOST_LOG(kNotice, "%s not taken: %s", what_.c_str(), error.message().c_str());
    pause_.After(kPause, [this] { Accept(); });
    return;
  }
  RunEvent(what_.c_str(), [&] { on_connection_(std::move(socket)); });
  Accept();
}

}  // namespace host
