#include "runtime/event_loop.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "runtime/faults.h"

namespace host {
namespace {

TEST(EventLoop, ExceptionOfAnEventBecomesAFault) {
  RunEvent("timer x", [] { throw std::runtime_error("no session"); });
  EXPECT_EQ(LastFaults().back().text, "timer x: no session");
  RunEvent("timer y", [] { throw 5; });
  EXPECT_EQ(LastFaults().back().text, "timer y: unknown exception");
}

TEST(EventLoop, ReloadCallsWhatIsSet) {
  int reloads = 0;
  SetReload([&reloads] { ++reloads; });
  Reload();
  EXPECT_EQ(reloads, 1);
  SetReload(nullptr);
  Reload();
  EXPECT_EQ(reloads, 1);
}

}  // namespace
}  // namespace host
