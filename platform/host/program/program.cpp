// What the daemon's executable does before anything else of it.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "program/arguments.h"
#include "runtime/faults.h"
#include "runtime/folders.h"
#include "runtime/one_daemon.h"
#include "runtime/start_check.h"

namespace host {

namespace {

[[noreturn]] void Finish(const CommandLineAnswer& answer) {
  FILE* const output = answer.status == 0 ? stdout : stderr;
  const bool is_written = fputs(answer.text.c_str(), output) >= 0 && fflush(output) == 0;
  exit(is_written ? answer.status : EXIT_FAILURE);
}

/// What the daemon has open before its first listener, with room for a few sessions.
constexpr rlim_t kLeastDescriptors = 64;

/// The soft limit is raised when listeners are opened.
void CheckDescriptors() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max >= kLeastDescriptors) return;
  throw std::runtime_error("no more than " + std::to_string(limit.rlim_max) +
                           " files may be open at a time (RLIMIT_NOFILE); at least " +
                           std::to_string(kLeastDescriptors) + " are needed");
}

std::shared_ptr<void> BeAlone(boost::asio::io_context& loop) {
  try {
    CheckDescriptors();
    return ClaimAlone(Folders::OfProcess().state, loop);
  } catch (const std::exception& exception) {
    HOST_LAST_FAULT(std::string(exception.what()));
  }
}

/// The C library hands the command line to what it runs before main(), which takes none. All that
/// is done with it waits until the program brings its process up.
__attribute__((constructor)) void TakeCommandLine(int count, char** words) {
  SetStartCheck([count, words](boost::asio::io_context& loop) {
    if (count > 1) Finish(AnswerArguments({words + 1, words + count}));
    return BeAlone(loop);
  });
}

}  // namespace

}  // namespace host
