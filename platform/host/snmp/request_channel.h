// The way of a request's bytes through the agent's library.
#pragma once

#include <string>
#include <string_view>

namespace host {

/// One session of the library that all listeners share: the library never sees a socket, so that a
/// request costs the same with one listener or thousands. Lives between the library's coming up
/// and going down.
class RequestChannel {
 public:
  /// Throws std::bad_alloc when the library makes no session.
  RequestChannel();
  ~RequestChannel();

  RequestChannel(const RequestChannel&) = delete;
  RequestChannel& operator=(const RequestChannel&) = delete;

  /// Has the library answer `request`, a whole message. Returns the answer, empty when there is
  /// none; valid until the next call. Not to be called from within itself (asserted).
  std::string_view Process(std::string_view request);

  /// True while Process() is being called.
  bool IsBusy() const { return busy_; }

 private:
  struct Transport;

  void* session_ = nullptr;  ///< The library's.
  std::string_view request_;
  std::string answer_;
  bool busy_ = false;
};

}  // namespace host
