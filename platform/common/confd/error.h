// The error state of the ConfD calls, confd_errno and confd_lasterr().
#pragma once

#include <string>

namespace common {

/// Remembers a failed call. Returns CONFD_ERR, for the call to return.
int Fail(int code, const std::string& text);

/// Forgets the last failed call: confd_lasterr() is "" again.
void ClearError();

}  // namespace common
