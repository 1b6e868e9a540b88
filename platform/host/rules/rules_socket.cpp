#include "rules/rules_socket.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "rules/netlink_messages.h"

namespace host {

namespace {

using Clock = Silence::Clock;

/// The kernel never makes a part of a list larger than this.
constexpr size_t kLargestAnswer = 65536;

bool IsFinal(int code) { return code == 0 || code == -NLE_EXIST || code == -NLE_OBJ_NOTFOUND; }

int LastError() { return -nl_syserr2nlerr(errno); }

/// The code in an acknowledgement, or at the end of a list.
int CodeIn(const nlmsghdr* message) {
  int error = 0;
  if (message->nlmsg_len < NLMSG_HDRLEN + sizeof(error)) return -NLE_MSG_TOOSHORT;
  memcpy(&error, NLMSG_DATA(message), sizeof(error));
  return error == 0 ? 0 : -nl_syserr2nlerr(error);
}

/// An answer as far as it has come.
struct Answer {
  uint32_t sequence;
  std::vector<RulesSocket::Listed>& listed;
  bool done = false;
  bool interrupted = false;
  int code = 0;

  void End(int result) {
    done = true;
    code = result == 0 && interrupted ? -NLE_DUMP_INTR : result;
  }

  void Take(nlmsghdr* message) {
    if (message->nlmsg_seq != sequence) return End(-NLE_SEQ_MISMATCH);
    if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0) interrupted = true;
    if (message->nlmsg_type == NLMSG_ERROR || message->nlmsg_type == NLMSG_DONE) {
      return End(CodeIn(message));
    }
    if (!IsOwnRule(message)) return;
    listed.push_back({ReadRule(message), DeletionOf(message)});
    if (listed.back().deletion == nullptr) End(-NLE_NOMEM);
  }

  void TakeAll(char* data, size_t size) {
    const bool is_whole = ForEachMessage(data, size, [this](nlmsghdr* message) {
      Take(message);
      return !done;
    });
    if (!is_whole) End(-NLE_MSG_TOOSHORT);
  }
};

}  // namespace

void RulesSocket::Free::operator()(nl_sock* socket) const { nl_socket_free(socket); }

int RulesSocket::Open() {
  if (socket_ != nullptr) return 0;
  std::unique_ptr<nl_sock, Free> socket(nl_socket_alloc());
  if (socket == nullptr) return -NLE_NOMEM;
  const int code = nl_connect(socket.get(), NETLINK_ROUTE);
  if (code < 0) return code;
  const timeval limit = {Silence::kLimit.count(), 0};
  const int descriptor = nl_socket_get_fd(socket.get());
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0 ||
      setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) != 0) {
    return LastError();
  }
  buffer_.resize(kLargestAnswer);
  socket_ = std::move(socket);
  return 0;
}

int RulesSocket::TakeAnswer(uint32_t sequence, std::vector<Listed>& listed) {
  Answer answer = {sequence, listed};
  const Clock::time_point deadline = Clock::now() + Silence::kLimit;
  while (!answer.done) {
    if (Clock::now() > deadline) return -NLE_AGAIN;
    sockaddr_nl sender = {};
    socklen_t sender_size = sizeof(sender);
    const ssize_t size = recvfrom(nl_socket_get_fd(socket_.get()), buffer_.data(), buffer_.size(),
                                  MSG_TRUNC, reinterpret_cast<sockaddr*>(&sender), &sender_size);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return LastError();
    if (static_cast<size_t>(size) > buffer_.size()) return -NLE_MSG_TRUNC;
    if (sender.nl_pid == 0) answer.TakeAll(buffer_.data(), static_cast<size_t>(size));
  }
  return answer.code;
}

int RulesSocket::AskOnce(nl_msg* message, std::vector<Listed>& listed) {
  if (silence_.Lasts()) return -NLE_AGAIN;
  const int opened = Open();
  if (opened < 0) return opened;
  nlmsg_hdr(message)->nlmsg_seq = NL_AUTO_SEQ;
  nlmsg_hdr(message)->nlmsg_pid = NL_AUTO_PID;
  listed.clear();
  const Clock::time_point begin = Clock::now();
  const int sent = nl_send_auto(socket_.get(), message);
  const int code = sent < 0 ? sent : TakeAnswer(nlmsg_hdr(message)->nlmsg_seq, listed);
  silence_.Note(code == -NLE_AGAIN, begin);
  return code;
}

int RulesSocket::Ask(nl_msg* message, std::vector<Listed>& listed) {
  if (message == nullptr) return -NLE_NOMEM;
  int code = AskOnce(message, listed);
  if (IsFinal(code)) return code;
  socket_.reset();
  code = AskOnce(message, listed);
  if (IsFinal(code)) return code;
  socket_.reset();
  listed.clear();
  return code;
}

int RulesSocket::Change(RuleChange change, const RoutingRule& rule) {
  std::vector<Listed> none;
  return Ask(ChangeMessage(change, rule).get(), none);
}

int RulesSocket::Delete(const Listed& listed) {
  std::vector<Listed> none;
  return Ask(listed.deletion.get(), none);
}

int RulesSocket::ListOwn(int family, std::vector<Listed>& listed) {
  return Ask(DumpMessage(family).get(), listed);
}

std::string RulesErrorText(int code) { return nl_geterror(code); }

}  // namespace host
