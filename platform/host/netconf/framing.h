// Messages in a stream of bytes (RFC 6242, section 4).
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace host {

/// The stream is not what RFC 6242 says, or has a message that is too long. There is no way to find
/// the next message, so the session ends.
class FramingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Takes a stream apart. It begins with the end-of-message framing, which the hello has.
class FrameDecoder {
 public:
  /// A message may have `max_size` bytes.
  explicit FrameDecoder(size_t max_size) : max_size_(max_size) {}

  /// From the next message on, the stream has chunked framing.
  void UseChunks() { chunked_ = true; }

  /// Takes what was received.
  void Append(const char* bytes, size_t size);

  /// The next whole message; none as long as it has not all arrived. Throws FramingError.
  std::optional<std::string> Next();

  /// True while a message has begun and not ended.
  bool IsWithinMessage() const;

 private:
  std::optional<std::string> NextDelimited();
  std::optional<std::string> NextChunked();
  bool TakeChunkHeader();
  bool TakeChunkData();
  void CheckSize(size_t size) const;
  size_t Available() const { return input_.size() - taken_; }

  size_t max_size_;
  bool chunked_ = false;
  std::string input_;
  size_t taken_ = 0;       ///< So much of the input is dealt with; it goes with the next Append().
  size_t searched_ = 0;    ///< So much of the input holds no end of a message.
  std::string message_;    ///< The chunks so far.
  size_t chunk_left_ = 0;  ///< Of the chunk that has begun, in bytes.
  bool is_whole_ = false;  ///< The end of the chunks was seen.
};

/// A message as it is sent with the end-of-message framing.
std::string FrameDelimited(const std::string& message);

/// The same with the chunked framing.
std::string FrameChunked(const std::string& message);

}  // namespace host
