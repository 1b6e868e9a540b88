// Calls of the cdb_ and maapi_ kinds that cannot be done.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

/// Ends within the call, which sets the error state and returns CONFD_ERR; what() becomes the text
/// of confd_lasterr() and has the path of what was asked for.
class CallRefused : public std::runtime_error {
 public:
  /// `code` is the confd_errno of the call, CONFD_ERR_...
  CallRefused(int code, const std::string& text) : std::runtime_error(text), code_(code) {}

  int Code() const { return code_; }

 private:
  int code_;
};

}  // namespace host
