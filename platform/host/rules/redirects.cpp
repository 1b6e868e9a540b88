#include "rules/redirects.h"

#include <linux/netfilter/nf_tables.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "rules/redirect_table.h"
#include "runtime/log.h"

namespace host {

namespace {

std::string KeyText(const RedirectElements::Key& key) {
  return "\"" + key.first + "\" . " + std::to_string(key.second);
}

bool IsNameCharacter(char c) {
  return c > ' ' && c < '\x7f' && std::string_view("/:\"*\\").find(c) == std::string_view::npos;
}

bool IsInTheWay(const NftAnswer& answer) {
  return answer.outcome == NftAnswer::kRefused && answer.type == NFT_MSG_NEWTABLE &&
         (answer.error == EEXIST || answer.error == EPERM);
}

/// An element is there that should not be, or the other way round.
bool IsOutOfStep(const NftAnswer& answer) {
  return answer.outcome == NftAnswer::kRefused &&
         (answer.error == EEXIST || answer.error == ENOENT);
}

}  // namespace

bool IsInterfaceName(const std::string& name) {
  return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
         std::all_of(name.begin(), name.end(), IsNameCharacter);
}

bool Redirects::Add(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  if (!IsInterfaceName(kernel_name) || port == 0 || redirect_port == 0) {
    HOST_LOG(kNotice, "No redirect of \"%s\" port %u to %u: not a name and two ports.",
             kernel_name.c_str(), port, redirect_port);
    return false;
  }
  const RedirectElements::Key key(kernel_name, port);
  const auto former = elements_.Find(key);
  if (nftables_.IsOpen() && former && former->redirect_port == redirect_port) return true;
  return Change(key, elements_.Newest(redirect_port),
                "Redirect " + KeyText(key) + " : " + std::to_string(redirect_port));
}

bool Redirects::Delete(const std::string& kernel_name, uint16_t port, uint16_t redirect_port) {
  const RedirectElements::Key key(kernel_name, port);
  const auto former = elements_.Find(key);
  if (!former) told_.erase(key);
  if (!former || former->redirect_port != redirect_port) return true;
  return Change(key, std::nullopt, "End of redirect " + KeyText(key));
}

bool Redirects::Restore() {
  if (!IsLost()) return true;
  return MakeTable().outcome == NftAnswer::kDone;
}

bool Redirects::Change(const RedirectElements::Key& key,
                       const std::optional<RedirectElements::Entry>& entry,
                       const std::string& purpose) {
  const auto former = elements_.Find(key);
  const NftAnswer answer = TryChange(elements_.Replace(key, entry));
  if (answer.outcome == NftAnswer::kDone) {
    told_.erase(key);
    return true;
  }
  last_reason_ = answer.reason;
  if (IsInTheWay(answer)) {
    last_reason_ += ": a table \"inet snmp-app\" of another program is in the way";
  }
  if (std::exchange(told_[key], last_reason_) != last_reason_) {
    HOST_LOG(kNotice, "%s: refused by the kernel: %s", purpose.c_str(), last_reason_.c_str());
  }
  // Without its table a redirect is not there, whatever the kernel says.
  const bool is_gone = !entry && !nftables_.IsOpen();
  if (is_gone) return true;
  elements_.Replace(key, former);
  Restore();
  return false;
}

/// Whatever happens to the socket, the table goes with it: then all is made anew, once.
NftAnswer Redirects::TryChange(const std::vector<ElementChange>& changes) try {
  if (!nftables_.IsOpen()) return MakeTable();
  batch_.Clear();
  ChangeElements(batch_, changes);
  NftAnswer answer = nftables_.Run(batch_);
  if (answer.outcome == NftAnswer::kDone) return answer;
  if (answer.outcome == NftAnswer::kRefused && !IsOutOfStep(answer)) return answer;
  HOST_LOG(kNotice, "The table of redirects was lost (%s) and is made again, %zu redirects.",
           answer.reason.c_str(), elements_.size());
  nftables_.Close();
  return MakeTable();
} catch (const std::bad_alloc&) {
  return {NftAnswer::kRefused, ENOMEM, 0, "no memory"};
}

NftAnswer Redirects::MakeTable() try {
  batch_.Clear();
  MakeRedirectTable(batch_);
  ChangeElements(batch_, elements_.All());
  NftAnswer answer = nftables_.Run(batch_);
  if (answer.outcome != NftAnswer::kDone) nftables_.Close();
  return answer;
} catch (const std::bad_alloc&) {
  return {NftAnswer::kRefused, ENOMEM, 0, "no memory"};
}

}  // namespace host
