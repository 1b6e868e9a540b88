// The fixture of the tests that act within a transaction.
#pragma once

#include <functional>

#include "confd_maapi.h"
#include "recording_data_handler.h"

namespace contract {

/// Has the interfaces eth0, with everything, and eth1, with nothing, the VRF red, 256, and a
/// listening interface "kept" with port 161.
class TransactionTest : public ContractTest {
 protected:
  /// Acts by MAAPI: a socket and the handle of the transaction.
  using Step = std::function<void(int sock, int thandle)>;

  void SetUp() override { Start(Before(), {&handler_}, {&data_}); }

  static Configuration Before() {
    Configuration configuration;
    configuration.extra = {"10.0.0.1:161"};
    configuration.vrfs = {{"red", 256}};
    configuration.l3 = {
        {"eth0", "red", "veth0", "10.0.0.1/24", {"2001:db8::2/64", "2001:db8::1/56"}}, {"eth1"}};
    configuration.listening = {{"kept", 161}};
    return configuration;
  }

  /// Runs `step` once, in a transaction that creates the listening interface "new", port 1161.
  /// False when the transaction was refused.
  bool Transact(const Step& step) {
    data_.on_call = [step](const std::string& note, confd_trans_ctx* tctx) {
      if (note == "create interface{new}") step(SocketOf(tctx), tctx->thandle);
      return static_cast<int>(CONFD_OK);
    };
    Configuration after = Before();
    after.listening.push_back({"new", 1161});
    return platform_->Commit(after);
  }

  /// Expects that a call has failed so.
  static void ExpectRefused(int result, int code) {
    EXPECT_EQ(result, CONFD_ERR);
    EXPECT_EQ(confd_errno, code) << confd_lasterr();
    EXPECT_STRNE(confd_lasterr(), "");
  }

  RecordingDataHandler data_{&journal_};
};

}  // namespace contract
