// The daemon's state, asked for by NETCONF.
#pragma once

#include <string>

namespace show {

struct Reply {
  std::string data;     ///< XML; empty when nothing was selected.
  std::string session;  ///< The number of the session that has asked.
};

/// What a subtree filter with that content selects, asked for at the socket of that path. Throws
/// std::runtime_error with the reason: nobody there, all sessions taken, the session ended,
/// refused. Ends the process with status 1 and a text when there is no answer within 10 seconds.
Reply AskForState(const std::string& socket, const std::string& filter);

}  // namespace show
