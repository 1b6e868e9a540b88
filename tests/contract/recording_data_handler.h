// A data handler that writes down what it is told and lets a test act within it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "confd/value_text.h"
#include "contract_test.h"
#include "vkconfd/data_handler.h"

namespace contract {

/// Serves the models' one callpoint. Notes "init", "finish", "create PATH", "remove PATH" and
/// "set PATH = VALUE"; paths are those below the list's parent.
class RecordingDataHandler : public vkconfd::DataHandler {
 public:
  explicit RecordingDataHandler(Journal* journal)
      : DataHandler(false, false, false, false, false, false, false), journal_(journal) {}

  int TransactionInit(confd_trans_ctx* tctx) override { return Note("init", tctx); }
  int TransactionFinish(confd_trans_ctx* tctx) override { return Note("finish", tctx); }
  std::vector<Callpoint*>& GetCallpoints() override { return callpoints_; }

  VkConfdInterface* Interface() const { return confd_interface_; }

  /// Told of each note; its result is the callback's.
  std::function<int(const std::string& note, confd_trans_ctx* tctx)> on_call;

 private:
  class ListenCallpoint : public Callpoint {
   public:
    explicit ListenCallpoint(RecordingDataHandler* handler) : handler_(handler) {}
    const char* GetCallpointName() override { return "listen"; }
    int CreateCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) override {
      return handler_->Note("create " + Below(*keypath), tctx);
    }
    int RemoveCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) override {
      return handler_->Note("remove " + Below(*keypath), tctx);
    }
    int SetElemCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath,
                        confd_value_t* newval) override {
      return handler_->Note("set " + Below(*keypath) + " = " + common::ValueText(*newval), tctx);
    }

   private:
    static std::string Below(const confd_hkeypath_t& keypath) {
      return common::KeyPathText(keypath).substr(sizeof "/snmp/agent/listen");
    }

    RecordingDataHandler* handler_;
  };

  int Note(const std::string& note, confd_trans_ctx* tctx) {
    journal_->push_back(note);
    return on_call ? on_call(note, tctx) : static_cast<int>(CONFD_OK);
  }

  Journal* journal_;
  ListenCallpoint callpoint_{this};
  std::vector<Callpoint*> callpoints_ = {&callpoint_};
};

/// The MAAPI socket that reaches a transaction.
inline int SocketOf(const confd_trans_ctx* tctx) {
  return static_cast<VkConfdInterface*>(tctx->dx->d_opaque)->MaapiSocket();
}

}  // namespace contract
