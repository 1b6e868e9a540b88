#include "rules/nftables.h"

#include <linux/netlink.h>
#include <nftables/libnftables.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace host {

namespace {

/// The library ends the process when it cannot open its socket, so that is tried before.
std::string TrySocket() {
  const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER);
  if (socket < 0) return std::generic_category().message(errno);
  ::close(socket);
  return {};
}

/// The first line of the library's text; the ones behind it show the command.
std::string FirstLine(const char* text) {
  const std::string all = text == nullptr ? "" : text;
  const std::string line = all.substr(0, all.find('\n'));
  return line.empty() ? "no reason given" : line;
}

}  // namespace

void Nftables::Free::operator()(nft_ctx* context) const { nft_ctx_free(context); }

std::string Nftables::Open() {
  std::string refused = TrySocket();
  if (!refused.empty()) return refused;
  context_.reset(nft_ctx_new(NFT_CTX_DEFAULT));
  if (context_ == nullptr) return "no memory";
  nft_ctx_buffer_error(context_.get());
  nft_ctx_buffer_output(context_.get());
  return {};
}

std::string Nftables::Run(const std::string& commands) {
  std::string refused = context_ == nullptr ? Open() : std::string();
  if (!refused.empty()) return refused;
  const bool done = nft_run_cmd_from_buffer(context_.get(), commands.c_str()) == 0;
  // Both are read each time: what is left in them stays and grows.
  static_cast<void>(nft_ctx_get_output_buffer(context_.get()));
  const char* error = nft_ctx_get_error_buffer(context_.get());
  return done ? std::string() : FirstLine(error);
}

}  // namespace host
