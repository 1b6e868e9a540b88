// Commands to the kernel's packet filter, in its own language.
#pragma once

#include <memory>
#include <string>

struct nft_ctx;

namespace host {

/// One socket to the packet filter. Tables with `flags owner` that were made by it are gone with
/// it.
class Nftables {
 public:
  /// Runs the commands, one per line, as one transaction. Returns the reason of a failure in one
  /// line; empty when all are done, else none is.
  std::string Run(const std::string& commands);

 private:
  struct Free {
    void operator()(nft_ctx* context) const;
  };

  /// Opens the socket at the first call. Returns the reason of a failure.
  std::string Open();

  std::unique_ptr<nft_ctx, Free> context_;
};

}  // namespace host
