// What it costs to send a packet from an unconnected socket: send_cost ADDRESS:PORT... prints the
// median of microseconds per packet for each, in one line.
#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using boost::asio::ip::udp;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 41;
constexpr int kPackets = 2000;

double MicrosecondsPerPacket(udp::socket& socket, const udp::endpoint& target) {
  const std::array<char, 1> data = {};
  boost::system::error_code dropped;
  const Clock::time_point begin = Clock::now();
  for (int i = 0; i < kPackets; ++i) socket.send_to(boost::asio::buffer(data), target, 0, dropped);
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / kPackets;
}

udp::endpoint Endpoint(const std::string& text) {
  const size_t colon = text.rfind(':');
  return {boost::asio::ip::make_address(text.substr(0, colon)),
          static_cast<uint16_t>(std::stoi(text.substr(colon + 1)))};
}

}  // namespace

int main(int argc, char** argv) {
  boost::asio::io_context loop;
  udp::socket socket(loop, udp::v4());
  for (const std::string& text : std::vector<std::string>(argv + 1, argv + argc)) {
    const udp::endpoint target = Endpoint(text);
    socket.send_to(boost::asio::buffer("", 1), target);  // An error that is none of a full queue.
    std::array<double, kRounds> rounds = {};
    for (double& round : rounds) round = MicrosecondsPerPacket(socket, target);
    std::sort(rounds.begin(), rounds.end());
    std::printf("%.2f ", rounds[kRounds / 2]);
  }
  std::printf("\n");
  return 0;
}
