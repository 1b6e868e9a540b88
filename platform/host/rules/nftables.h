// The socket to the kernel's packet filter, and transactions for it.
#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "rules/silence.h"

struct mnl_socket;

namespace host {

/// Messages that the kernel takes as one transaction, all or none.
class NftBatch {
 public:
  /// Bytes that the payload of one message may have.
  static constexpr size_t kMessageRoom = 8192;

  NftBatch() { Clear(); }

  /// As new; the memory is kept.
  void Clear();

  /// The next message, NFT_MSG_..., for tables of family inet: its payload may be put behind the
  /// header until the next call of this object. Flags are NLM_F_...
  nlmsghdr* Add(uint16_t type, uint16_t flags);

  /// How many messages were added.
  uint32_t Count() const { return count_; }

 private:
  friend class Nftables;

  nlmsghdr* Last();
  void MakeRoom();
  /// Numbers the messages from `sequence` on, asks for an answer to the last one, adds the end.
  void Finish(uint32_t sequence);

  std::vector<char> bytes_;
  size_t last_ = 0;
  uint32_t count_ = 0;
};

/// What came of a transaction.
struct NftAnswer {
  enum Outcome {
    kDone,
    kRefused,  ///< The kernel has answered, and nothing has changed.
    kLost,     ///< Nobody knows; the socket is closed, and the tables that it owned are gone.
  };
  Outcome outcome;
  int error;           ///< The errno of the failure; 0 when done.
  uint16_t type;       ///< NFT_MSG_... that was refused; 0 when it was none in particular.
  std::string reason;  ///< For people; empty when done.
};

/// One socket (netlink(7), NETLINK_NETFILTER), closed at first. Tables with the owner flag that
/// were made by it are gone with it. Needs the right to administer the network (capabilities(7),
/// CAP_NET_ADMIN), without which transactions are refused with EPERM.
class Nftables {
 public:
  ~Nftables() { Close(); }

  /// False at first, after a kLost and after Close().
  bool IsOpen() const { return socket_ != nullptr; }

  /// Runs a transaction of at least one message; opens the socket when it is closed. Waits for the
  /// kernel's answer as Silence has it; while that lasts, all is lost with EAGAIN. Finishes
  /// `batch`, which is good for one run.
  NftAnswer Run(NftBatch& batch);

  /// Gives up the socket, and with it the tables that it owns.
  void Close() { socket_.reset(); }

 private:
  struct Free {
    void operator()(mnl_socket* socket) const;
  };

  int Open();
  bool Send(const NftBatch& batch);
  NftAnswer Receive(const NftBatch& batch, uint32_t first);
  NftAnswer Lost(int error);

  std::unique_ptr<mnl_socket, Free> socket_;
  uint32_t sequence_ = 0;
  Silence silence_;
};

}  // namespace host
