#include "snmp/request_channel.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <new>

#include "snmp/netsnmp.h"

namespace host {

namespace {

/// What the library takes for the descriptor of the session. It is only compared.
constexpr int kNoDescriptor = 0;

/// Largest message: what IPv4 leaves of a datagram.
constexpr size_t kLargestMessage = 65535 - 20 - 8;

}  // namespace

/// Owned by the session, which gives its memory back with free().
struct RequestChannel::Transport : netsnmp_transport {
  static int Receive(netsnmp_transport* transport, void* buffer, int size, void** opaque,
                     int* opaque_size) {
    const std::string_view request = static_cast<Transport*>(transport)->channel->request_;
    const size_t length = std::min(request.size(), static_cast<size_t>(size));
    std::copy_n(request.data(), length, static_cast<char*>(buffer));
    *opaque = nullptr;
    *opaque_size = 0;
    return static_cast<int>(length);
  }

  static int Send(netsnmp_transport* transport, const void* buffer, int size, void** /*opaque*/,
                  int* /*opaque_size*/) {
    RequestChannel& channel = *static_cast<Transport*>(transport)->channel;
    assert(channel.busy_);
    try {
      channel.answer_.assign(static_cast<const char*>(buffer), static_cast<size_t>(size));
    } catch (const std::bad_alloc&) {
      // No exception may pass the library. A manager asks again.
      return -1;
    }
    return size;
  }

  static int Close(netsnmp_transport* transport) {
    transport->sock = -1;
    return 0;
  }

  static Transport* Make(RequestChannel* channel);

  RequestChannel* channel;
};

RequestChannel::Transport* RequestChannel::Transport::Make(RequestChannel* channel) {
  void* memory = malloc(sizeof(Transport));
  if (memory == nullptr) throw std::bad_alloc();
  auto* transport = new (memory) Transport();
  transport->domain = netsnmpUDPDomain;
  transport->domain_length = static_cast<int>(netsnmpUDPDomain_len);
  transport->sock = kNoDescriptor;
  transport->flags = NETSNMP_TRANSPORT_FLAG_OPENED;
  transport->msgMaxSize = kLargestMessage;
  transport->f_recv = Receive;
  transport->f_send = Send;
  transport->f_close = Close;
  transport->channel = channel;
  return transport;
}

RequestChannel::RequestChannel() {
  netsnmp_session session = {};
  snmp_sess_init(&session);
  session.version = SNMP_DEFAULT_VERSION;
  session.callback = handle_snmp_packet;
  session.isAuthoritative = SNMP_SESS_AUTHORITATIVE;
  netsnmp_session* added = snmp_add(&session, Transport::Make(this), nullptr, nullptr);
  session_ = added == nullptr ? nullptr : snmp_sess_pointer(added);
  if (session_ == nullptr) throw std::bad_alloc();
}

RequestChannel::~RequestChannel() { snmp_close(snmp_sess_session(session_)); }

std::string_view RequestChannel::Process(std::string_view request) {
  assert(!busy_);
  busy_ = true;
  request_ = request;
  answer_.clear();
  DescriptorSet descriptors;
  NETSNMP_LARGE_FD_SET(kNoDescriptor, descriptors.Get());
  snmp_sess_read2(session_, descriptors.Get());
  netsnmp_check_outstanding_agent_requests();
  request_ = {};
  busy_ = false;
  return answer_;
}

}  // namespace host
