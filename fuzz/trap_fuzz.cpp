// The trap message: its BER, read here without the program's help, is what it ought to be.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/trap_target.h"
#include "property.h"

namespace {

/// Takes elements off a part of the message.
class BerReader {
 public:
  BerReader(const std::vector<uint8_t>& bytes, size_t begin, size_t end)
      : bytes_(bytes), at_(begin), end_(end) {}

  /// Enters the next element, which has this tag.
  BerReader Element(uint8_t tag) {
    Require(Byte() == tag, "an element has its tag");
    size_t length = Byte();
    if (length > 0x7f) {
      Require(length == 0x81, "no length takes more than one byte behind the first");
      length = Byte();
      Require(length > 0x7f, "a length has its shortest form");
    }
    Require(length <= end_ - at_, "an element ends within the one around it");
    at_ += length;
    return {bytes_, at_ - length, at_};
  }

  std::string Content(uint8_t tag) {
    const BerReader element = Element(tag);
    return {bytes_.begin() + static_cast<std::ptrdiff_t>(element.at_),
            bytes_.begin() + static_cast<std::ptrdiff_t>(element.end_)};
  }

  size_t At() const { return at_; }
  void RequireEnd() const { Require(at_ == end_, "nothing follows the last element"); }

 private:
  uint8_t Byte() {
    Require(at_ < end_, "an element has tag and length");
    return bytes_[at_++];
  }

  const std::vector<uint8_t>& bytes_;
  size_t at_;
  size_t end_;
};

constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kOctetString = 0x04;
constexpr uint8_t kObjectId = 0x06;
constexpr uint8_t kSequence = 0x30;
constexpr uint8_t kTimeTicks = 0x43;
constexpr uint8_t kTrapV2 = 0xa7;

void CheckBinding(BerReader* bindings, const std::string& name, uint8_t tag,
                  const std::string& value) {
  BerReader binding = bindings->Element(kSequence);
  Require(binding.Content(kObjectId) == name, "a binding has its name");
  Require(binding.Content(tag) == value, "a binding has its value");
  binding.RequireEnd();
}

/// Checks the bindings; `uptime` are the four bytes of the first one's value.
void CheckBindings(BerReader* bindings, const std::string& uptime, size_t uptime_offset) {
  BerReader first = BerReader(*bindings).Element(kSequence);
  first.Content(kObjectId);
  Require(first.At() + 2 == uptime_offset, "the offset points to the four bytes of the uptime");
  const std::string event("\x2b\6\1\2\1\x81\x1e\1\6\1", 10);
  CheckBinding(bindings, std::string("\x2b\6\1\2\1\1\3\0", 8), kTimeTicks, uptime);
  CheckBinding(bindings, std::string("\x2b\6\1\6\3\1\1\4\1\0", 10), kObjectId,
               std::string("\x2b\6\1\2\1\x81\x1e\0\2", 9));
  CheckBinding(bindings, event + "\4", kInteger, "\1\1");
  CheckBinding(bindings, event + "\3", kOctetString, "\1\x80\xc2");
  bindings->RequireEnd();
}

void CheckMessage(const std::vector<uint8_t>& message, const std::string& community,
                  const std::string& uptime, size_t uptime_offset) {
  BerReader whole(message, 0, message.size());
  BerReader content = whole.Element(kSequence);
  whole.RequireEnd();
  Require(content.Content(kInteger) == "\1", "the version is SNMPv2c");
  Require(content.Content(kOctetString) == community, "the community is the one given");
  BerReader pdu = content.Element(kTrapV2);
  content.RequireEnd();
  Require(pdu.Content(kInteger).size() <= 4, "a request-id has at most 32 bits");
  for (int i = 0; i < 2; ++i) {
    Require(pdu.Content(kInteger) == std::string(1, '\0'), "error status and index are zero");
  }
  BerReader bindings = pdu.Element(kSequence);
  pdu.RequireEnd();
  CheckBindings(&bindings, uptime, uptime_offset);
}

void CheckRefusal(const std::string& community) {
  std::vector<uint8_t> message;
  uint32_t uptime_offset = 4711;
  try {
    BuildTrapMessage(community, message, uptime_offset);
  } catch (const std::length_error&) {
    Require(message.empty() && uptime_offset == 4711, "a refusal changes nothing");
    return;
  }
  Require(false, "a community of more than 127 bytes is refused");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string community(reinterpret_cast<const char*>(data), size);
  if (size > 127) {
    CheckRefusal(community);
    return 0;
  }
  std::vector<uint8_t> message;
  uint32_t uptime_offset = 0;
  BuildTrapMessage(community, message, uptime_offset);
  CheckMessage(message, community, std::string(4, '\0'), uptime_offset);
  const std::string uptime = (community + "\xff\x80\x01\x7f").substr(0, 4);
  Require(message.size() >= 4 && uptime_offset <= message.size() - 4, "the uptime is within");
  std::copy(uptime.begin(), uptime.end(), message.begin() + uptime_offset);
  CheckMessage(message, community, uptime, uptime_offset);
  return 0;
}
