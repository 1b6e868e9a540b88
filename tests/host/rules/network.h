// Networks of the tests' own, in namespaces that are gone with the process.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <initializer_list>
#include <string>

namespace host::test {

/// A network namespace; it lives as long as somebody is in it or holds it.
class Network {
 public:
  /// The one that the process is in.
  static Network Current();

  explicit Network(int descriptor) : descriptor_(descriptor) {}
  ~Network();
  Network(Network&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
  Network& operator=(Network&&) = delete;

  void Enter() const;

  /// A name of it for `ip link set ... netns`.
  std::string Path() const;

 private:
  int descriptor_;
};

/// Puts the process into a new, empty network. Returns why that cannot be; empty when it is done.
std::string EnterNewNetwork();

/// Each test is in a new network.
class NetworkTest : public ::testing::Test {
 protected:
  void SetUp() override;
};

/// What a shell command prints, on its error output, too.
std::string Output(const std::string& command);

/// Runs commands of nft's language by nft(8); what they print or why they fail.
std::string Nft(const std::string& commands);

/// How many calls to the packet filter and to the routing the code under test has made.
int KernelCalls();

/// What may happen to one call to the packet filter.
enum class Failure {
  kNone,           ///< the whole call succeeds
  kNoBuffer,       ///< of sending: ENOBUFS
  kNoRight,        ///< of sending: EPERM
  kNoAnswer,       ///< of receiving: the time is over
  kOverrun,        ///< of receiving: ENOBUFS
  kInterrupted,    ///< of receiving: EINTR
  kTooLong,        ///< of receiving: a message longer than the buffer
  kTruncated,      ///< half an answer
  kEmpty,          ///< no byte
  kWrongSequence,  ///< an answer to what was not asked
  kOldSequence,    ///< an answer to what was asked before
  kOtherType       ///< no answer at all
};

/// The next calls have these failures, one each.
void FailNext(std::initializer_list<Failure> next);

/// Whether all of them have happened.
bool AllFailed();

/// What the code under test gets instead of the kernel's answer: `size` is what was received, or -1
/// and errno; `data` has room for `capacity` bytes. Null ends it.
using AnswerHook = std::function<ssize_t(char* data, size_t capacity, ssize_t size)>;
void SetAnswerHook(AnswerHook hook);

/// The next reading of notifications fails with EIO.
void FailNotifications();

/// Gives up all rights of this process.
void DropCapabilities();

/// Number of lines of `text` that contain `part`.
int CountLines(const std::string& text, const std::string& part);

/// Runs `call` in a process of its own and waits for its end; true when it returned true.
bool InChild(const std::function<bool()>& call);

}  // namespace host::test
