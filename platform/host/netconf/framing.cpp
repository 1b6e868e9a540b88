#include "netconf/framing.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

const std::string kEndOfMessage = "]]>]]>";
const std::string kEndOfChunks = "\n##\n";

/// "\n#", the ten digits of 4294967295, "\n"
constexpr size_t kLongestHeader = 13;
constexpr unsigned long long kLargestChunk = 4294967295ULL;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// How many bytes at the end of the input may be the begin of an end of message.
size_t BegunEnd(const std::string& input) {
  size_t size = std::min(input.size(), kEndOfMessage.size() - 1);
  while (input.compare(input.size() - size, size, kEndOfMessage, 0, size) != 0) --size;
  return size;
}

/// The number in a chunk's header. The text holds at most ten characters.
size_t ParseSize(const std::string& digits) {
  if (digits.empty() || digits[0] == '0' || !std::all_of(digits.begin(), digits.end(), IsDigit)) {
    throw FramingError("a chunk's size is a number without leading zeros");
  }
  const unsigned long long size = std::stoull(digits);
  if (size > kLargestChunk) throw FramingError("a chunk has at most 4294967295 bytes");
  return static_cast<size_t>(size);
}

}  // namespace

std::optional<std::string> FrameDecoder::Next() {
  return chunked_ ? NextChunked() : NextDelimited();
}

void FrameDecoder::Append(const char* bytes, size_t size) {
  input_.erase(0, taken_);
  searched_ -= std::min(searched_, taken_);
  taken_ = 0;
  input_.append(bytes, size);
}

bool FrameDecoder::IsWithinMessage() const {
  // Blanks between messages are nobody's.
  if (!chunked_) return input_.find_first_not_of(" \t\r\n", taken_) != std::string::npos;
  return Available() > 0 || !message_.empty() || chunk_left_ > 0;
}

std::optional<std::string> FrameDecoder::NextDelimited() {
  const size_t end = input_.find(kEndOfMessage, std::max(searched_, taken_));
  const size_t message_end = end == std::string::npos ? input_.size() - BegunEnd(input_) : end;
  CheckSize(message_end - std::min(message_end, taken_));
  if (end == std::string::npos) {
    searched_ = input_.size() - std::min(input_.size(), kEndOfMessage.size() - 1);
    return std::nullopt;
  }
  std::string message = input_.substr(taken_, end - taken_);
  taken_ = end + kEndOfMessage.size();
  return message;
}

std::optional<std::string> FrameDecoder::NextChunked() {
  while (!is_whole_ && (chunk_left_ > 0 ? TakeChunkData() : TakeChunkHeader())) {
  }
  if (!is_whole_) return std::nullopt;
  is_whole_ = false;
  return std::exchange(message_, std::string());
}

/// False when the header, or the end of the chunks, has not all arrived.
bool FrameDecoder::TakeChunkHeader() {
  const std::string header = input_.substr(taken_, kLongestHeader);
  const size_t known = std::min<size_t>(header.size(), 2);
  if (header.compare(0, known, "\n#", known) != 0) throw FramingError("a chunk begins with \\n#");
  const size_t end = header.find('\n', 1);
  if (end == std::string::npos) {
    if (header.size() == kLongestHeader) {
      throw FramingError("a chunk's size has at most ten digits and a line's end");
    }
    return false;
  }
  taken_ += end + 1;
  if (header.compare(0, kEndOfChunks.size(), kEndOfChunks) == 0) {
    if (message_.empty()) throw FramingError("a message has at least one chunk");
    is_whole_ = true;
    return true;
  }
  const size_t size = ParseSize(header.substr(2, end - 2));
  CheckSize(size);
  CheckSize(message_.size() + size);
  chunk_left_ = size;
  return true;
}

/// False when there is nothing of it.
bool FrameDecoder::TakeChunkData() {
  const size_t size = std::min(chunk_left_, Available());
  message_.append(input_, taken_, size);
  taken_ += size;
  chunk_left_ -= size;
  return size > 0;
}

void FrameDecoder::CheckSize(size_t size) const {
  if (size > max_size_) {
    throw FramingError("a message has at most " + std::to_string(max_size_) + " bytes");
  }
}

std::string FrameDelimited(const std::string& message) { return message + kEndOfMessage; }

std::string FrameChunked(const std::string& message) {
  return "\n#" + std::to_string(message.size()) + "\n" + message + kEndOfChunks;
}

}  // namespace host
