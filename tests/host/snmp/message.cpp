#include "message.h"

#include <cstddef>

namespace host::test {

namespace {

constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kText = 0x04;
constexpr uint8_t kNull = 0x05;
constexpr uint8_t kObject = 0x06;
constexpr uint8_t kSequence = 0x30;
constexpr uint8_t kResponse = 0xa2;

std::string Element(uint8_t type, const std::string& content) {
  std::string bytes(1, static_cast<char>(type));
  if (content.size() > 127) {
    bytes += "\x82";
    bytes += static_cast<char>(content.size() >> 8);
  }
  bytes += static_cast<char>(content.size() & 0xff);
  return bytes + content;
}

std::string Integer(int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  std::string content;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    content += static_cast<char>((bits >> shift) & 0xff);
  }
  return Element(kInteger, content);
}

std::string Binding(const Message& message) {
  const std::string name = std::string("\x2b\x06\x01\x02\x01") + static_cast<char>(message.group) +
                           static_cast<char>(message.object) + '\0';
  const uint8_t value_type = message.operation == Operation::kSet ? kText : kNull;
  return Element(kSequence, Element(kObject, name) + Element(value_type, ""));
}

// Takes one element off the front of `bytes`; none when it is not whole.
struct Taken {
  uint8_t type;
  std::string_view content;
};

std::optional<Taken> Take(std::string_view& bytes) {
  if (bytes.size() < 2) return std::nullopt;
  const auto type = static_cast<uint8_t>(bytes[0]);
  size_t length = static_cast<uint8_t>(bytes[1]);
  size_t header = 2;
  if (length > 127) {
    const size_t count = length & 0x7f;
    length = 0;
    for (; header < 2 + count && header < bytes.size(); ++header) {
      length = length << 8 | static_cast<uint8_t>(bytes[header]);
    }
  }
  if (bytes.size() < header + length) return std::nullopt;
  const Taken taken = {type, bytes.substr(header, length)};
  bytes.remove_prefix(header + length);
  return taken;
}

// Goes into the element at the front of `bytes`; false when it is of another type.
bool Enter(std::string_view& bytes, uint8_t type) {
  const auto taken = Take(bytes);
  bytes = taken ? taken->content : std::string_view();
  return taken && taken->type == type;
}

int32_t TakeInteger(std::string_view& bytes) {
  const auto taken = Take(bytes);
  int32_t value = 0;
  for (const char byte : taken ? taken->content : std::string_view()) {
    value = value << 8 | static_cast<uint8_t>(byte);
  }
  return value;
}

}  // namespace

std::string Encode(const Message& message) {
  const std::string content =
      Integer(message.id) + Integer(0) + Integer(0) + Element(kSequence, Binding(message));
  return Element(kSequence, Element(kInteger, std::string(1, static_cast<char>(message.version))) +
                                Element(kText, message.community) +
                                Element(static_cast<uint8_t>(message.operation), content));
}

std::string EncodeDiscovery() {
  const std::string header = Element(
      kSequence, Integer(1) + Integer(65507) + Element(kText, "\x04") + Element(kInteger, "\x03"));
  const std::string empty = Element(kText, "");
  const std::string two_empty = empty + Element(kText, "");
  const std::string security =
      Element(kSequence, empty + Integer(0) + Integer(0) + empty + two_empty);
  const std::string request = Integer(1) + Integer(0) + Integer(0) + Element(kSequence, "");
  const std::string scoped =
      Element(kSequence, two_empty + Element(static_cast<uint8_t>(Operation::kGet), request));
  return Element(kSequence, Element(kInteger, "\x03") + header + Element(kText, security) + scoped);
}

std::optional<Response> Decode(std::string_view bytes) {
  if (!Enter(bytes, kSequence)) return std::nullopt;
  TakeInteger(bytes);  // version
  Take(bytes);         // community
  if (!Enter(bytes, kResponse)) return std::nullopt;
  Response response;
  response.id = TakeInteger(bytes);
  response.error = TakeInteger(bytes);
  TakeInteger(bytes);  // index of the wrong object
  const bool has_objects = Enter(bytes, kSequence);
  if (!has_objects || !Enter(bytes, kSequence) || !Take(bytes)) return std::nullopt;
  const auto value = Take(bytes);
  if (!value) return std::nullopt;
  response.value_type = value->type;
  response.value = value->content;
  return response;
}

}  // namespace host::test
