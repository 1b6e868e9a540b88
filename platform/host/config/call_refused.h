// Calls of the cdb_ and maapi_ kinds that cannot be done.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

/// Tells the confd_errno of the call.
class CallRefused : public std::runtime_error {
 public:
  CallRefused(int code, const std::string& text) : std::runtime_error(text), code_(code) {}

  int Code() const { return code_; }

 private:
  int code_;
};

}  // namespace host
