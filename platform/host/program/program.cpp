// What the daemon's executable does before anything else of it.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "program/arguments.h"
#include "runtime/faults.h"
#include "runtime/folders.h"
#include "runtime/one_daemon.h"
#include "runtime/start_check.h"

namespace host {

namespace {

[[noreturn]] void Finish(const Answer& answer) {
  FILE* const output = answer.status == 0 ? stdout : stderr;
  const bool is_written = fputs(answer.text.c_str(), output) >= 0 && fflush(output) == 0;
  exit(is_written ? answer.status : EXIT_FAILURE);
}

std::shared_ptr<void> BeAlone(boost::asio::io_context& loop) {
  try {
    return ClaimAlone(Folders::OfProcess().state, loop);
  } catch (const std::exception& exception) {
    HOST_FAULT(std::string(exception.what()));
    exit(EXIT_FAILURE);
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
