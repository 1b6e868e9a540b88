#include "runtime/event_loop.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "runtime/process.h"

namespace host {
namespace {

TEST(EventLoop, ExceptionOfAnEventBecomesAFault) {
  const Process process;
  RunEvent("timer x", [] { throw std::runtime_error("no session"); });
  EXPECT_EQ(process.faults.back().text, "timer x: no session");
  RunEvent("timer y", [] { throw 5; });
  EXPECT_EQ(process.faults.back().text, "timer y: unknown exception");
}

TEST(EventLoop, ReloadCallsWhatIsSet) {
  Process process;
  int reloads = 0;
  process.reload = [&reloads] { ++reloads; };
  process.Reload();
  EXPECT_EQ(reloads, 1);
  process.reload = nullptr;
  process.Reload();
  EXPECT_EQ(reloads, 1);
}

}  // namespace
}  // namespace host
