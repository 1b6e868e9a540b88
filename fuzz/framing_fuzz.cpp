// Messages in a stream: the same ones however the stream is cut into pieces.
//
// An input begins with a letter for the framing, a byte for the limit and six bytes for the sizes
// of the pieces, which take turns; the stream follows.
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "netconf/framing.h"
#include "property.h"

namespace {

constexpr size_t kHeader = 8;
constexpr size_t kNoLimit = 1U << 20;

enum class Framing { kChunks, kDelimiters, kChunksAfterFirst };

using PieceSizes = std::array<size_t, 6>;

struct Input {
  Framing framing;  ///< 'c', 'd' or 'h', as the letter's remainder by 3.
  size_t limit;     ///< 255 is no limit.
  PieceSizes pieces;
  std::string stream;
};

Input ParseInput(const std::string& text) {
  Input input = {};
  const auto byte = [&text](size_t at) { return static_cast<uint8_t>(text[at]); };
  input.framing = static_cast<Framing>(byte(0) % 3);
  input.limit = byte(1) == 255 ? kNoLimit : byte(1);
  for (size_t i = 0; i < input.pieces.size(); ++i) input.pieces[i] = (byte(2 + i) & 15U) + 1U;
  input.stream = text.substr(kHeader);
  return input;
}

struct Outcome {
  std::vector<std::string> messages;
  bool is_refused = false;
  bool ends_within = false;
};

bool operator==(const Outcome& a, const Outcome& b) {
  return a.messages == b.messages && a.is_refused == b.is_refused && a.ends_within == b.ends_within;
}

/// Decodes the stream cut into pieces of these sizes in turn.
Outcome Decode(const Input& input, const PieceSizes& pieces) {
  host::FrameDecoder decoder(input.limit);
  if (input.framing == Framing::kChunks) decoder.UseChunks();
  Outcome outcome;
  size_t at = 0;
  try {
    for (size_t i = 0; at < input.stream.size(); i = (i + 1) % pieces.size()) {
      const size_t size = std::min(pieces[i], input.stream.size() - at);
      decoder.Append(input.stream.data() + at, size);
      at += size;
      while (std::optional<std::string> message = decoder.Next()) {
        outcome.messages.push_back(std::move(*message));
        if (input.framing == Framing::kChunksAfterFirst) decoder.UseChunks();
      }
    }
    outcome.ends_within = decoder.IsWithinMessage();
  } catch (const host::FramingError&) {
    outcome.is_refused = true;
  }
  return outcome;
}

PieceSizes Pieces(size_t size) {
  PieceSizes pieces = {};
  pieces.fill(size);
  return pieces;
}

/// Within a message, the chunks of another one cannot be told from it; elsewhere they can.
void CheckEnd(Input input, const Outcome& outcome) {
  const bool is_chunked =
      input.framing == Framing::kChunks ||
      (input.framing == Framing::kChunksAfterFirst && !outcome.messages.empty());
  if (!is_chunked || outcome.is_refused || input.limit == 0) return;
  input.stream += host::FrameChunked("x");
  std::vector<std::string> messages = outcome.messages;
  messages.emplace_back("x");
  const Outcome after = Decode(input, Pieces(input.stream.size()));
  // What has begun may be an "x", too, which the other one's first byte ends; the rest is refused.
  const bool is_taken = !after.is_refused && after.messages == messages;
  Require(is_taken == !outcome.ends_within, "another message is taken unless one has begun");
}

/// The outcome, which every way of cutting has.
Outcome DecodeEveryWay(const Input& input) {
  Outcome whole = Decode(input, Pieces(std::max<size_t>(input.stream.size(), 1)));
  Require(Decode(input, Pieces(1)) == whole, "single bytes give what the whole stream gives");
  Require(Decode(input, input.pieces) == whole, "pieces give what the whole stream gives");
  for (const std::string& message : whole.messages) {
    Require(message.size() <= input.limit, "no message is longer than the limit");
  }
  CheckEnd(input, whole);
  return whole;
}

/// Whether the end of the message's delimited form is the first that is found in it.
bool CanBeDelimited(const std::string& message) {
  return (message + "]]>]]>").find("]]>]]>") == message.size();
}

void CheckEncoded(const Input& input, const std::vector<std::string>& messages) {
  const Outcome outcome = DecodeEveryWay(input);
  Require(!outcome.is_refused, "what was encoded is decoded");
  Require(outcome.messages == messages, "decoding gives the messages that were encoded");
  Require(!outcome.ends_within, "nothing is left of what was encoded");
}

/// Encodes two messages, the stream's text and its first half, and decodes them.
void CheckRoundTrip(Input input) {
  const std::string text = input.stream;
  const std::vector<std::string> messages = {text, text.substr(0, text.size() / 2)};
  input.limit = text.size();
  input.stream.clear();
  const bool can_be_delimited = CanBeDelimited(messages[0]) && CanBeDelimited(messages[1]);
  for (const std::string& message : messages) {
    const bool is_chunked = input.framing == Framing::kChunks ||
                            (input.framing == Framing::kChunksAfterFirst && !input.stream.empty());
    // Neither framing can carry every text.
    if (is_chunked ? message.empty() : !can_be_delimited) return;
    input.stream += is_chunked ? host::FrameChunked(message) : host::FrameDelimited(message);
  }
  CheckEncoded(input, messages);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kHeader) return -1;
  const Input input = ParseInput(std::string(reinterpret_cast<const char*>(data), size));
  DecodeEveryWay(input);
  CheckRoundTrip(input);
  return 0;
}
