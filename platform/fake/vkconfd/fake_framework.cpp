#include "vkconfd/fake_framework.h"

#include <cassert>
#include <utility>

#include "confd/fake_differences.h"
#include "delivery/delivery.h"
#include "fake_device.h"
#include "vkconfd/cdb_session.h"
#include "vkconfd/fake_hooks.h"
#include "vkmw/vkmw.h"

namespace fake {

namespace {

/// Keeps the configuration from before a commit readable while it is delivered.
class PreCommit {
 public:
  explicit PreCommit(Database before) { Device::Instance().confd.pre_commit = std::move(before); }
  ~PreCommit() { Device::Instance().confd.pre_commit.reset(); }
  PreCommit(const PreCommit&) = delete;
  PreCommit& operator=(const PreCommit&) = delete;
};

/// A transaction that ends with the object.
class OpenTransaction {
 public:
  explicit OpenTransaction(Confd* confd) : confd_(confd) { confd->BeginTransaction(); }
  ~OpenTransaction() { confd_->EndTransaction(); }
  OpenTransaction(const OpenTransaction&) = delete;
  OpenTransaction& operator=(const OpenTransaction&) = delete;

 private:
  Confd* confd_;
};

/// Reports an exception that left a handler during a commit.
void RaiseFault(const std::string& operation, const std::string& reason) {
  vkmw_gen_fault(0, __func__, "platform/fake/vkconfd/fake_framework", __LINE__,
                 (operation + ": " + reason).c_str());
}

}  // namespace

template <typename Operation>
void Framework::ForEachHandler(Operation operation) {
  for (vkconfd::ConfigHandler* handler : registrations.back().config_handlers) operation(handler);
  for (vkconfd::ActionHandler* handler : registrations.back().action_handlers) operation(handler);
  for (vkconfd::DataHandler* handler : registrations.back().data_handlers) operation(handler);
}

void Framework::Register(const Registration& registration) {
  assert(!live_);
  registrations.push_back(registration);
  live_ = true;
}

void Framework::Unregister() {
  if (connected_) {
    ForEachHandler([](vkconfd::BaseHandler* handler) {
      handler->ConfdDisconnected();
      handler->SetConfdInterface(nullptr);
    });
  }
  connected_ = false;
  live_ = false;
}

void Framework::Connect() {
  if (!live_) return;
  ConfdInterface& interface = Device::Instance().confd.interface;
  connected_ = true;
  ForEachHandler([&](vkconfd::BaseHandler* handler) {
    handler->SetConfdInterface(&interface);
    handler->ConfdConnected(registrations.back().phase);
  });
  for (vkconfd::ConfigHandler* handler : registrations.back().config_handlers) {
    {
      const VkConfdCdbSession session(&interface, CDB_RUNNING, true);
      handler->LoadInitialConfig(session.Socket());
    }
    handler->ApplyInitialConfig();
  }
}

void Framework::Commit(const std::function<void(Database&)>& edit) {
  Confd& confd = Device::Instance().confd;
  Database after = confd.running.Copy();
  edit(after);
  std::vector<common::Change> changes = Differences(confd.running, after);
  const PreCommit pre_commit(std::exchange(confd.running, std::move(after)));
  if (!live_) return;
  common::Deliver(changes, registrations.back().config_handlers, RaiseFault);
}

bool Framework::Transact(const std::function<void(Database&)>& edit) {
  assert(live_);
  Confd& confd = Device::Instance().confd;
  Database after;
  {
    const OpenTransaction open(&confd);
    Transaction& transaction = *confd.transaction;
    edit(transaction.candidate);
    if (CallHooks(confd.running, &transaction, registrations.back().data_handlers) != CONFD_OK) {
      return false;
    }
    after = std::move(transaction.candidate);
  }
  Commit([&after](Database& running) { running = std::move(after); });
  return true;
}

}  // namespace fake
