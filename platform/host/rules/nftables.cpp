#include "rules/nftables.h"

#include <libmnl/libmnl.h>
#include <libnftnl/common.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

namespace host {

namespace {

/// The kernel has answered when the request is sent; the limit is for what should not happen.
constexpr timeval kWait = {Silence::kLimit.count(), 0};

/// Header, error number and the header that was refused: answers carry no copy of the request.
constexpr size_t kAnswerSize = 4096;

const char* NameOf(uint16_t type) {
  switch (type) {
    case NFT_MSG_NEWTABLE:
      return "table";
    case NFT_MSG_NEWSET:
      return "set";
    case NFT_MSG_NEWCHAIN:
      return "chain";
    case NFT_MSG_NEWRULE:
      return "rule";
    default:
      return "element";
  }
}

/// An answer of the kernel to one message.
struct Acknowledgement {
  uint32_t sequence;
  int error;
  uint16_t type;
};

/// Nothing when these bytes are no answer.
std::optional<Acknowledgement> ReadAnswer(const nlmsghdr* header, int size) {
  if (!mnl_nlmsg_ok(header, size) || header->nlmsg_type != NLMSG_ERROR ||
      mnl_nlmsg_get_payload_len(header) < sizeof(nlmsgerr)) {
    return std::nullopt;
  }
  const auto* answer = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(header));
  return Acknowledgement{header->nlmsg_seq, -answer->error,
                         static_cast<uint16_t>(answer->msg.nlmsg_type & 0xff)};
}

NftAnswer Refused(const Acknowledgement& answer) {
  return {NftAnswer::kRefused, answer.error, answer.type,
          std::generic_category().message(answer.error) + " (" + NameOf(answer.type) + ")"};
}

/// Of failures that are not about one message.
std::string ReasonOf(int error) {
  const std::string text = std::generic_category().message(error);
  const bool is_missing = error == EPROTONOSUPPORT || error == EOPNOTSUPP;
  return is_missing ? text + " (this kernel has no packet filter nf_tables)" : text;
}

void SetOption(int descriptor, int level, int option, const void* value, socklen_t size) {
  // Each is a help only: what is missing without it ends as a failure that is told.
  static_cast<void>(!setsockopt(descriptor, level, option, value, size));
}

}  // namespace

void NftBatch::Clear() {
  last_ = 0;
  count_ = 0;
  MakeRoom();
  nftnl_batch_begin(bytes_.data(), 0);
}

nlmsghdr* NftBatch::Last() {
  // The vector's memory is aligned for every type, and so is each message in it.
  return static_cast<nlmsghdr*>(static_cast<void*>(bytes_.data() + last_));
}

void NftBatch::MakeRoom() {
  const size_t needed = last_ + 2 * (kMessageRoom + MNL_NLMSG_HDRLEN);
  if (bytes_.size() < needed) bytes_.resize(2 * needed);
}

nlmsghdr* NftBatch::Add(uint16_t type, uint16_t flags) {
  last_ += MNL_ALIGN(Last()->nlmsg_len);
  MakeRoom();
  ++count_;
  return nftnl_nlmsg_build_hdr(bytes_.data() + last_, type, NFPROTO_INET, flags, 0);
}

void NftBatch::Finish(uint32_t sequence) {
  Last()->nlmsg_flags |= NLM_F_ACK;
  last_ += MNL_ALIGN(Last()->nlmsg_len);
  MakeRoom();
  nftnl_batch_end(bytes_.data() + last_, 0);
  const size_t end = last_ + Last()->nlmsg_len;
  for (last_ = 0; last_ < end; last_ += MNL_ALIGN(Last()->nlmsg_len)) {
    Last()->nlmsg_seq = sequence++;
  }
}

void Nftables::Free::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

int Nftables::Open() {
  std::unique_ptr<mnl_socket, Free> socket(mnl_socket_open2(NETLINK_NETFILTER, SOCK_CLOEXEC));
  if (socket == nullptr || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) return errno;
  const int descriptor = mnl_socket_get_fd(socket.get());
  const int on = 1;
  SetOption(descriptor, SOL_NETLINK, NETLINK_CAP_ACK, &on, sizeof on);
  SetOption(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kWait, sizeof kWait);
  socket_ = std::move(socket);
  return 0;
}

NftAnswer Nftables::Run(NftBatch& batch) {
  if (silence_.Lasts()) return Lost(EAGAIN);
  const int refused = IsOpen() ? 0 : Open();
  if (refused != 0) return Lost(refused);
  const uint32_t first = sequence_ + 1;
  batch.Finish(first);
  sequence_ += batch.Count() + 2;
  const Silence::Clock::time_point begin = Silence::Clock::now();
  NftAnswer answer = Send(batch) ? Receive(batch, first) : Lost(errno);
  silence_.Note(answer.error == EAGAIN, begin);
  return answer;
}

bool Nftables::Send(const NftBatch& batch) {
  constexpr size_t kDefaultBuffer = 100'000;
  if (batch.last_ > kDefaultBuffer) {
    const int size = static_cast<int>(batch.last_);
    SetOption(mnl_socket_get_fd(socket_.get()), SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size);
  }
  return mnl_socket_sendto(socket_.get(), batch.bytes_.data(), batch.last_) >= 0;
}

/// The kernel answers to what it refuses and to the last message, in their order, and with the
/// number of the batch's own header when it does not take the batch at all.
NftAnswer Nftables::Receive(const NftBatch& batch, uint32_t first) {
  NftAnswer outcome = {NftAnswer::kDone, 0, 0, {}};
  for (uint32_t heard = 0; heard < batch.Count();) {
    alignas(nlmsghdr) std::array<char, kAnswerSize> bytes;
    const ssize_t size = mnl_socket_recvfrom(socket_.get(), bytes.data(), bytes.size());
    if (size < 0) return Lost(errno);
    const auto answer = ReadAnswer(static_cast<const nlmsghdr*>(static_cast<void*>(bytes.data())),
                                   static_cast<int>(size));
    if (!answer) return Lost(EBADMSG);
    const uint32_t number = answer->sequence - first;
    if (number == 0 && answer->error != 0) return Lost(answer->error);
    if (number <= heard || number > batch.Count()) return Lost(EBADMSG);
    heard = number;
    if (answer->error != 0 && outcome.outcome == NftAnswer::kDone) outcome = Refused(*answer);
  }
  return outcome;
}

NftAnswer Nftables::Lost(int error) {
  Close();
  return {NftAnswer::kLost, error, 0, ReasonOf(error)};
}

}  // namespace host
