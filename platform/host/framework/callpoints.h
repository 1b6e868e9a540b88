// The callpoints that data handlers have registered.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "confd_dp.h"
#include "config/hooks.h"
#include "config/schema.h"
#include "vkconfd/data_handler.h"

namespace host {

class Callpoints : public Hooks {
 public:
  /// Registers the callpoints of `handlers`, which stay the caller's. `connection` is what they
  /// reach transactions by. Throws std::runtime_error for a name that is registered twice.
  Callpoints(const std::vector<vkconfd::DataHandler*>& handlers, VkConfdInterface* connection);

  /// Throws std::runtime_error that names a callpoint of the models that nobody has registered, or
  /// a registered one that no model has.
  void CheckAgainst(const Schema& schema) const;

  // As Hooks has them. Begins and ends a transaction of every handler; those that had begun end
  // when one refuses. What a handler throws at the end is a fault, for it comes too late to refuse.

  int Begin(Transaction* transaction) override;
  void End(Transaction* transaction) override;

  /// Calls the handler of the callpoint, which CheckAgainst() has found to be there.
  int Call(Transaction* transaction, const HookCall& call) override;

 private:
  confd_trans_ctx ContextOf(const Transaction& transaction) {
    return {&daemon_, transaction.Handle()};
  }

  confd_daemon_ctx daemon_;
  std::vector<vkconfd::DataHandler*> handlers_;
  size_t begun_ = 0;  ///< How many of the handlers are in the transaction.
  std::map<std::string, vkconfd::DataHandler::Callpoint*> by_name_;
};

}  // namespace host
