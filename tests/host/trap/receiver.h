// A trap receiver in a process of its own.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace host::test {

class Receiver {
 public:
  /// Whether this machine has the receiver's program.
  static bool IsInstalled();

  /// Starts the program on a free port of 127.0.0.1, with `community` as the only one that it
  /// takes. Throws std::runtime_error when there is no process to be had.
  explicit Receiver(const std::string& community);

  /// Ends the process and removes its folder.
  ~Receiver();

  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  /// Sends the message, again and again until the receiver is there to print one, and returns the
  /// line of the first one; what it has printed so far when the time is over.
  std::string Receive(const std::vector<uint8_t>& message);

 private:
  void WriteConfiguration(const std::string& community) const;
  void Start();
  [[noreturn]] void BecomeReceiver(int output) const;

  /// Takes what is printed within a moment. False when the process is gone.
  bool Read();

  std::string folder_;
  uint16_t port_;
  pid_t process_ = -1;
  int output_ = -1;  ///< What the process prints.
  std::string printed_;
};

}  // namespace host::test
