#include "snmp/agent_thread.h"

#include <pthread.h>
#include <syslog.h>

#include <boost/asio/post.hpp>
#include <csignal>
#include <future>
#include <utility>

#include "runtime/event_loop.h"
#include "snmp/descriptors.h"

namespace host {

namespace {

/// Threads that are started meanwhile take no signals.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

/// What the call returns, when the thread has made it.
template <typename Call>
auto AgentThread::Run(Call call) {
  std::packaged_task<decltype(call())()> task(std::move(call));
  auto result = task.get_future();
  // The caller waits, so the task outlives its use.
  boost::asio::post(loop_, [&task] { task(); });
  return result.get();
}

AgentThread::AgentThread(SnmpLog log) : log_(std::move(log)), work_(loop_.get_executor()) {
  MakeRoomForListeners();
  {
    const SignalsBlocked blocked;
    thread_ = std::thread([this] { loop_.run(); });
  }
  pthread_setname_np(thread_.native_handle(), "snmp-agent");
  try {
    Run([this] { agent_.emplace(loop_, log_); });
  } catch (...) {
    End();
    throw;
  }
}

void AgentThread::End() {
  loop_.stop();
  thread_.join();
}

AgentThread::~AgentThread() { End(); }

void AgentThread::SetListenerObserver(ListenerObserver observer) {
  Run([&] { agent_->SetListenerObserver(std::move(observer)); });
}

std::vector<ListenerFailure> AgentThread::SetListeners(const std::set<Endpoint>& wanted) {
  return Run([&] { return agent_->SetListeners(wanted); });
}

void AgentThread::Follow(const AgentSettings& settings) {
  Run([&] { agent_->Follow(settings); });
}

void AgentThread::SetMark(uint16_t port, uint32_t mark) {
  boost::asio::post(loop_, [this, port, mark] {
    RunEvent(
        "mark of a port", [&] { agent_->SetMark(port, mark); },
        [this](const std::string& text) { log_(LOG_ERR, "SNMP agent: " + text); });
  });
}

std::set<Endpoint> AgentThread::Listeners() {
  return Run([this] { return agent_->Listeners(); });
}

void AgentThread::Share(bool on) {
  Run([this, on] { agent_->Share(on); });
}

std::string AgentThread::WhyNot(const Endpoint& endpoint) {
  return Run([&] { return agent_->WhyNot(endpoint); });
}

AgentFacts AgentThread::Facts() {
  return Run([this] { return agent_->Facts(); });
}

void AgentThread::Wait() {
  Run([] {});
}

}  // namespace host
