#include "load_client.h"

#include <chrono>

namespace host::test {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// An answer that takes longer counts as lost.
constexpr int kPatienceMs = 3000;

}  // namespace

LoadClient::LoadClient(Kind kind, const Endpoint& server) : client_(server) {
  thread_ = std::thread([this, kind] {
    kind == Kind::kClosedLoop ? AskAndWait() : AskInTime();
    over_ = true;
  });
}

LoadClient::~LoadClient() {
  Stop();
  thread_.join();
}

void LoadClient::AskAndWait() {
  while (!stop_) {
    client_.Send({"public", Operation::kGet, kSysUpTime, ++sent_});
    const auto answer = client_.WaitForAnswer(kPatienceMs);
    answered_ += answer && answer->id == sent_ ? 1 : 0;
  }
}

void LoadClient::AskInTime() {
  for (auto next = Clock::now(); !stop_; next += milliseconds(1)) {
    client_.Send({"public", Operation::kGet, kSysUpTime, ++sent_});
    do {
      answered_ += client_.WaitForAnswer(1) ? 1 : 0;
    } while (Clock::now() < next);
  }
  while (answered_ < sent_ && client_.WaitForAnswer(kPatienceMs)) ++answered_;
}

}  // namespace host::test
