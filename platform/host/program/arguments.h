// The command line of the daemon.
#pragma once

#include <string>
#include <vector>

namespace host {

/// What a command line is answered with instead of a daemon.
struct CommandLineAnswer {
  int status;        ///< The exit status, 0 when it was asked for.
  std::string text;  ///< For the standard output with status 0, else for the standard error.
};

/// `arguments` are those behind the program's name; at least one. A file that is to be checked is
/// read, and the models are.
CommandLineAnswer AnswerArguments(const std::vector<std::string>& arguments);

}  // namespace host
