#include "rules/rules_socket.h"

#include <linux/netlink.h>
#include <netlink/errno.h>
#include <netlink/handlers.h>

namespace host {

namespace {

struct FreeCallbacks {
  void operator()(nl_cb* callbacks) const { nl_cb_put(callbacks); }
};

int TakeRule(nl_msg* message, void* deletions) {
  nlmsghdr* rule = nlmsg_hdr(message);
  if (IsOwnRule(rule)) {
    static_cast<std::vector<RuleMessage>*>(deletions)->push_back(DeletionOf(rule));
  }
  return NL_OK;
}

}  // namespace

void RulesSocket::Free::operator()(nl_sock* socket) const { nl_socket_free(socket); }

int RulesSocket::Open() {
  if (socket_ != nullptr) return 0;
  std::unique_ptr<nl_sock, Free> socket(nl_socket_alloc());
  if (socket == nullptr) return -NLE_NOMEM;
  const int code = nl_connect(socket.get(), NETLINK_ROUTE);
  if (code == 0) socket_ = std::move(socket);
  return code;
}

int RulesSocket::Change(RuleMessage message) {
  const int opened = Open();
  if (opened < 0) return opened;
  if (message == nullptr) return -NLE_NOMEM;
  const int sent = nl_send_auto(socket_.get(), message.get());
  return sent < 0 ? sent : nl_wait_for_ack(socket_.get());
}

int RulesSocket::ListOwn(int family, std::vector<RuleMessage>& deletions) {
  const int opened = Open();
  const RuleMessage message = DumpMessage(family);
  if (opened < 0 || message == nullptr) return opened < 0 ? opened : -NLE_NOMEM;
  const std::unique_ptr<nl_cb, FreeCallbacks> callbacks(nl_cb_alloc(NL_CB_DEFAULT));
  if (callbacks == nullptr) return -NLE_NOMEM;
  nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, TakeRule, &deletions);
  const int sent = nl_send_auto(socket_.get(), message.get());
  return sent < 0 ? sent : nl_recvmsgs(socket_.get(), callbacks.get());
}

std::string RulesErrorText(int code) { return nl_geterror(code); }

}  // namespace host
