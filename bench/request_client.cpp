// Asks one SNMP listener as fast as it answers: request_client ADDRESS PORT REQUESTS WINDOW. So
// many requests for sysUpTime.0 are sent, `WINDOW` of them on their way at a time, by a connected
// socket: answers of other addresses and ports are not heard. Prints one line, "RATE P50 P99 LOST":
// requests a second, microseconds, microseconds, requests without an answer.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/ip/udp.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

using boost::asio::ip::udp;
using Clock = std::chrono::steady_clock;

// An answer that takes longer is lost; the next requests go on without it.
constexpr int kPatienceMs = 1000;

// An SNMPv2c GetRequest (RFC 3416) of community "public", with a request-id of four bytes.
constexpr size_t kIdAt = 17;
const std::string kRequest(
    "\x30\x29\x02\x01\x01\x04\x06public\xa0\x1c\x02\x04\x01\0\0\0\x02\x01\0\x02\x01\0"
    "\x30\x0e\x30\x0c\x06\x08\x2b\x06\x01\x02\x01\x01\x03\0\x05\0",
    43);

class Asker {
 public:
  explicit Asker(const udp::endpoint& server) : socket_(context_, server.protocol()) {
    socket_.connect(server);
  }

  void Run(int requests, size_t window) {
    while (sent_ < requests || !on_the_way_.empty()) {
      while (sent_ < requests && on_the_way_.size() < window) Send();
      if (!Receive()) on_the_way_.clear();
    }
  }

  int Lost() const { return sent_ - static_cast<int>(waits_.size()); }
  std::vector<double>& Waits() { return waits_; }

 private:
  void Send() {
    std::string request = kRequest;
    for (size_t i = 0; i < 3; ++i)
      request[kIdAt + 1 + i] = static_cast<char>(sent_ >> (16 - 8 * i));
    on_the_way_[sent_] = Clock::now();
    ++sent_;
    static_cast<void>(::send(socket_.native_handle(), request.data(), request.size(), 0));
  }

  /// False when nothing comes any more.
  bool Receive() {
    pollfd waiting = {socket_.native_handle(), POLLIN, 0};
    if (::poll(&waiting, 1, kPatienceMs) <= 0) return false;
    unsigned char answer[512];
    const ssize_t size = ::recv(socket_.native_handle(), answer, sizeof(answer), 0);
    if (size <= static_cast<ssize_t>(kIdAt + 4)) return true;
    const int id = answer[kIdAt + 1] << 16 | answer[kIdAt + 2] << 8 | answer[kIdAt + 3];
    const auto asked = on_the_way_.find(id);
    if (asked == on_the_way_.end()) return true;
    waits_.push_back(
        std::chrono::duration<double, std::micro>(Clock::now() - asked->second).count());
    on_the_way_.erase(asked);
    return true;
  }

  boost::asio::io_context context_;
  udp::socket socket_;
  int sent_ = 0;
  std::map<int, Clock::time_point> on_the_way_;
  std::vector<double> waits_;
};

double Quantile(std::vector<double>& sorted, double part) {
  return sorted.empty()
             ? 0
             : sorted[static_cast<size_t>(part * static_cast<double>(sorted.size() - 1))];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fputs("usage: request_client ADDRESS PORT REQUESTS WINDOW\n", stderr);
    return 2;
  }
  Asker asker({boost::asio::ip::make_address(argv[1]), static_cast<uint16_t>(std::atoi(argv[2]))});
  const auto begin = Clock::now();
  asker.Run(std::atoi(argv[3]), static_cast<size_t>(std::atoi(argv[4])));
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::vector<double>& waits = asker.Waits();
  std::sort(waits.begin(), waits.end());
  std::printf("%.0f %.1f %.1f %d\n", static_cast<double>(waits.size()) / seconds,
              Quantile(waits, 0.5), Quantile(waits, 0.99), asker.Lost());
  return 0;
}
