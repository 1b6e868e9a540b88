#include "framework/callpoints.h"

#include <algorithm>
#include <stdexcept>

#include "runtime/faults.h"

namespace host {

Callpoints::Callpoints(const std::vector<vkconfd::DataHandler*>& handlers,
                       VkConfdInterface* connection)
    : daemon_{connection}, handlers_(handlers) {
  for (vkconfd::DataHandler* handler : handlers) {
    for (vkconfd::DataHandler::Callpoint* callpoint : handler->GetCallpoints()) {
      if (!by_name_.emplace(callpoint->GetCallpointName(), callpoint).second) {
        throw std::runtime_error(std::string("callpoint \"") + callpoint->GetCallpointName() +
                                 "\" is registered twice");
      }
    }
  }
}

void Callpoints::CheckAgainst(const Schema& schema) const {
  const std::vector<ModelCallpoint>& wanted = schema.Callpoints();
  for (const ModelCallpoint& callpoint : wanted) {
    if (by_name_.count(callpoint.name) == 0) {
      throw std::runtime_error("nobody has registered callpoint \"" + callpoint.name +
                               "\", which the models have at " + callpoint.path);
    }
  }
  for (const auto& registration : by_name_) {
    const std::string& name = registration.first;
    if (std::none_of(wanted.begin(), wanted.end(),
                     [&name](const ModelCallpoint& callpoint) { return callpoint.name == name; })) {
      throw std::runtime_error("no model has the registered callpoint \"" + name + "\"");
    }
  }
}

int Callpoints::Begin(Transaction* transaction) {
  confd_trans_ctx context = ContextOf(*transaction);
  for (begun_ = 0; begun_ < handlers_.size(); ++begun_) {
    if (handlers_[begun_]->TransactionInit(&context) == CONFD_OK) continue;
    End(transaction);
    return CONFD_ERR;
  }
  return CONFD_OK;
}

void Callpoints::End(Transaction* transaction) {
  confd_trans_ctx context = ContextOf(*transaction);
  for (; begun_ > 0; --begun_) {
    // What the handler answers comes too late to refuse anything.
    try {
      handlers_[begun_ - 1]->TransactionFinish(&context);
    } catch (const std::exception& exception) {
      HOST_FAULT("end of a transaction: " + std::string(exception.what()));
    }
  }
}

int Callpoints::Call(Transaction* transaction, const HookCall& call) {
  confd_trans_ctx context = ContextOf(*transaction);
  vkconfd::DataHandler::Callpoint* callpoint = by_name_.at(call.callpoint);
  switch (call.kind) {
    case HookKind::kRemoved:
      return callpoint->RemoveCallback(&context, call.path);
    case HookKind::kCreated:
      return callpoint->CreateCallback(&context, call.path);
    case HookKind::kSet:
      break;
  }
  return callpoint->SetElemCallback(&context, call.path, call.value);
}

}  // namespace host
