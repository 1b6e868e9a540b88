// Redirects of UDP ports on single interfaces, in the packet filter and without NAT.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "rules/nftables.h"
#include "rules/redirect_elements.h"

namespace host {

/// A packet costs the same with one redirect or thousands, IPv4 and IPv6 alike. The table, "inet
/// snmp-app", is made at the first redirect and belongs to this object: other programs cannot
/// change it, and the kernel removes it with the object or the process, however that ends.
///
/// Only packets for this host itself are redirected, and answers from a redirect port leave with
/// the port that was asked. Nobody reaches a redirect port by its own number.
class Redirects {
 public:
  /// UDP packets to `port` that arrive on `kernel_name` go to the local port `redirect_port`; a
  /// former redirect of that port on that interface is replaced. True when it is so afterwards; the
  /// reason of a failure is logged, once as long as it is the same. No kernel call when it was so
  /// before.
  bool Add(const std::string& kernel_name, uint16_t port, uint16_t redirect_port);

  /// Ends that redirect; true when it is not there afterwards. No kernel call when it was not
  /// there before.
  bool Delete(const std::string& kernel_name, uint16_t port, uint16_t redirect_port);

  /// Makes the redirects again that were lost together with the socket, when that could not be done
  /// at once: true when all are in the kernel. No kernel call when nothing is missing.
  bool Restore();

  /// Whether there is something for Restore() to do.
  bool IsLost() const { return !nftables_.IsOpen() && elements_.size() > 0; }

  /// Why the last change failed.
  const std::string& LastReason() const { return last_reason_; }

 private:
  bool Change(const RedirectElements::Key& key, const std::optional<RedirectElements::Entry>& entry,
              const std::string& purpose);
  NftAnswer TryChange(const std::vector<ElementChange>& changes);
  NftAnswer MakeTable();

  Nftables nftables_;
  NftBatch batch_;
  /// What is in the kernel while the socket is open; what has to be there again when it is not.
  RedirectElements elements_;
  std::string last_reason_;
  std::map<RedirectElements::Key, std::string> told_;  ///< Refusals that are in the log.
};

/// True for a name that the kernel accepts for an interface and the packet filter takes as one
/// text: no more than 15 visible ASCII characters without / : " * and backslash.
bool IsInterfaceName(const std::string& name);

}  // namespace host
