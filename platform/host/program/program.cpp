// What the daemon's executable does before anything else of it.

#include <cstdio>
#include <cstdlib>
#include <exception>
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

void BeAlone() {
  try {
    ClaimAlone(Folders::OfProcess().state);
  } catch (const std::exception& exception) {
    HOST_FAULT(std::string(exception.what()));
    exit(EXIT_FAILURE);
  }
}

/// The C library hands the command line to what it runs before main(), which takes none. All that
/// is done with it waits until the program brings its process up.
__attribute__((constructor)) void TakeCommandLine(int count, char** words) {
  SetStartCheck([count, words] {
    if (count > 1) Finish(AnswerArguments({words + 1, words + count}));
    BeAlone();
  });
}

}  // namespace

}  // namespace host
