// Takes part in transactions on the list of listening interfaces: writes the extra agent addresses
// and the redirect port that go with each entry.
#pragma once

#include <zlog.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/snmp_cfg_listen.h"
#include "confd_dp.h"
#include "confd_lib.h"
#include "nettypes/nettypes.h"
#include "vkconfd/data_handler.h"

class SnmpListenDataHandler : public vkconfd::DataHandler {
 public:
  /// The callpoint on the list. An interface in a VRF has one extra entry, 0.0.0.0 with its
  /// redirect port; any other one entry for its IPv4 and for its first IPv6 address, with its UDP
  /// port. Names that do not begin with "l3-" have none. A ConfD failure that is not foreseen ends
  /// the process, and with it the transaction.
  class SnmpListenCallpoint : public vkconfd::DataHandler::Callpoint {
   public:
    explicit SnmpListenCallpoint(SnmpListenDataHandler* handler) : handler_(handler) {}

    int SetElemCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath,
                        confd_value_t* newval) override;
    int CreateCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) override;
    int RemoveCallback(confd_trans_ctx* tctx, confd_hkeypath_t* keypath) override;
    const char* GetCallpointName() override { return "listen"; }

    /// Whether the L3 interface lives in a VRF, in the database behind `cdb_socket` (in the
    /// transaction).
    bool InterfaceHadVrf(int cdb_socket, const std::string& l3_name);
    bool InterfaceHasVrf(confd_trans_ctx* tctx, const std::string& l3_name);

    /// Create the extra entry of one address; one that is there already is left alone. Return
    /// CONFD_OK.
    int AddExtraEntryIPv4(confd_trans_ctx* tctx, const std::string& name,
                          const nettypes::IPv4Addr& address, uint16_t port);
    int AddExtraEntryIPv6(confd_trans_ctx* tctx, const std::string& name,
                          const nettypes::IPv6Addr& address, uint16_t port);

    /// Create the entries of an interface in no VRF, by its addresses in the transaction (delete
    /// them, by its addresses in the running configuration). Return CONFD_OK.
    int AddExtraEntryNoVrf(confd_trans_ctx* tctx, const std::string& name, uint16_t port);
    int DelExtraEntryNoVrf(confd_trans_ctx* tctx, const std::string& name, uint16_t port);

   private:
    zlog_category_s* Category() const { return handler_->log_category_; }
    bool IsL3(const char* function, const std::string& name) const;
    void AddVrfEntry(confd_trans_ctx* tctx, const char* path, const std::string& name);
    void DelOldEntries(int cdb_socket, confd_trans_ctx* tctx, const std::string& name);
    bool AddExtraEntry(const char* function, confd_trans_ctx* tctx, const std::string& name,
                       const std::string& address, uint16_t port);
    void DelExtraEntry(const char* function, bool tells_deletion, confd_trans_ctx* tctx,
                       const std::string& name, const std::string& address, uint16_t port);
    void LogAdded(const char* function, const std::string& address, uint16_t port) const;
    void LogRemoved(const std::string& address, uint16_t port) const;
    void AddFirstIPv6(confd_trans_ctx* tctx, const std::string& name, uint16_t port);
    void DelFirstIPv6(int cdb_socket, confd_trans_ctx* tctx, const std::string& name,
                      uint16_t port);

    SnmpListenDataHandler* handler_;
  };

  explicit SnmpListenDataHandler(const std::shared_ptr<SnmpListenCfgHandler>& listen_handler);
  ~SnmpListenDataHandler() override;

  std::vector<Callpoint*>& GetCallpoints() override { return callpoints_; }

 private:
  std::unique_ptr<SnmpListenCallpoint> callpoint_;
  std::shared_ptr<SnmpListenCfgHandler> listen_handler_;
  std::vector<Callpoint*> callpoints_;
  zlog_category_s* log_category_ = nullptr;
};
