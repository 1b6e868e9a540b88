// Messages in a stream of bytes.
#include "netconf/framing.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

namespace host::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr size_t kLimit = 20;

using Messages = std::vector<std::string>;

/// Gives all of `bytes` to a decoder and takes what is whole then.
Messages Decode(host::FrameDecoder* decoder, const std::string& bytes) {
  decoder->Append(bytes.data(), bytes.size());
  Messages messages;
  while (auto message = decoder->Next()) messages.push_back(*message);
  return messages;
}

/// Whether a parameter of a test stands for the chunked framing.
class Framing : public ::testing::TestWithParam<bool> {
 protected:
  static host::FrameDecoder NewDecoder(size_t limit = kLimit) {
    host::FrameDecoder decoder(limit);
    if (GetParam()) decoder.UseChunks();
    return decoder;
  }

  static std::string Frame(const std::string& message) {
    return GetParam() ? host::FrameChunked(message) : host::FrameDelimited(message);
  }
};

INSTANTIATE_TEST_SUITE_P(Both, Framing, ::testing::Bool(), [](const auto& framing) {
  return std::string(framing.param ? "Chunked" : "Delimited");
});

TEST_P(Framing, SeveralMessagesArriveInOnePiece) {
  host::FrameDecoder decoder = NewDecoder();
  EXPECT_THAT(Decode(&decoder, Frame("<a/>") + Frame("]]>]]") + Frame("\n#1\n")),
              ElementsAre("<a/>", "]]>]]", "\n#1\n"));
  EXPECT_FALSE(decoder.IsWithinMessage());
}

TEST_P(Framing, EveryCutGivesTheSameMessages) {
  const std::string stream = Frame("<a>]]>]</a>") + Frame("\n##") + Frame("c");
  for (size_t cut = 0; cut <= stream.size(); ++cut) {
    host::FrameDecoder decoder = NewDecoder();
    Messages messages = Decode(&decoder, stream.substr(0, cut));
    for (const auto& message : Decode(&decoder, stream.substr(cut))) messages.push_back(message);
    EXPECT_THAT(messages, ElementsAre("<a>]]>]</a>", "\n##", "c")) << "cut at byte " << cut;
  }
}

TEST_P(Framing, MessagesArriveByteByByte) {
  host::FrameDecoder decoder = NewDecoder();
  Messages messages;
  for (const char byte : Frame("<a/>") + Frame("]]") + Frame("x")) {
    for (const auto& message : Decode(&decoder, {byte})) messages.push_back(message);
  }
  EXPECT_THAT(messages, ElementsAre("<a/>", "]]", "x"));
}

TEST_P(Framing, NothingIsTakenBeforeTheLastByte) {
  const std::string stream = Frame("<a/>");
  host::FrameDecoder decoder = NewDecoder();
  EXPECT_FALSE(decoder.IsWithinMessage());
  EXPECT_EQ(decoder.Next(), std::nullopt);
  for (size_t i = 0; i + 1 < stream.size(); ++i) {
    EXPECT_THAT(Decode(&decoder, stream.substr(i, 1)), ElementsAre()) << "byte " << i;
    EXPECT_TRUE(decoder.IsWithinMessage()) << "byte " << i;
  }
  EXPECT_THAT(Decode(&decoder, stream.substr(stream.size() - 1)), ElementsAre("<a/>"));
  EXPECT_FALSE(decoder.IsWithinMessage());
}

TEST_P(Framing, BytesOfAnyValueStayAsTheyAre) {
  std::string message;
  for (int byte = 0; byte < 256; ++byte) message += static_cast<char>(byte);
  host::FrameDecoder decoder = NewDecoder(message.size());
  EXPECT_THAT(Decode(&decoder, Frame(message)), ElementsAre(message));
}

TEST_P(Framing, AMessageMayHaveTheSizeOfTheLimit) {
  const std::string longest(kLimit, 'x');
  host::FrameDecoder decoder = NewDecoder();
  EXPECT_THAT(Decode(&decoder, Frame(longest) + Frame(longest)), ElementsAre(longest, longest));
}

TEST_P(Framing, AMessageWithOneByteMoreIsRefused) {
  host::FrameDecoder decoder = NewDecoder();
  EXPECT_THAT([&] { Decode(&decoder, Frame(std::string(kLimit + 1, 'x'))); },
              ThrowsMessage<host::FramingError>(HasSubstr("at most 20 bytes")));
}

TEST(DelimitedFraming, ALongMessageIsRefusedBeforeItEnds) {
  host::FrameDecoder decoder(kLimit);
  // What may be the begin of the end is not counted yet.
  EXPECT_THAT(Decode(&decoder, std::string(kLimit, 'x') + "]]>]]"), ElementsAre());
  EXPECT_THROW(Decode(&decoder, "]"), host::FramingError);
}

TEST(DelimitedFraming, BlanksBetweenMessagesAreNoMessage) {
  host::FrameDecoder decoder(kLimit);
  EXPECT_THAT(Decode(&decoder, host::FrameDelimited("a") + " \t\r\n"), ElementsAre("a"));
  EXPECT_FALSE(decoder.IsWithinMessage());
  EXPECT_THAT(Decode(&decoder, "<"), ElementsAre());
  EXPECT_TRUE(decoder.IsWithinMessage());
}

TEST(ChunkedFraming, ChunksMakeOneMessage) {
  host::FrameDecoder decoder(kLimit);
  decoder.UseChunks();
  EXPECT_THAT(Decode(&decoder, "\n#4\n<rpc\n#1\n \n#10\n\n##\n\n##\n/>\n##\n"),
              ElementsAre("<rpc \n##\n\n##\n/>"));
}

TEST(ChunkedFraming, TheLimitCountsAllChunks) {
  host::FrameDecoder decoder(kLimit);
  decoder.UseChunks();
  EXPECT_THAT(Decode(&decoder, "\n#10\n0123456789\n#10\n0123456789\n##\n"),
              ElementsAre("01234567890123456789"));
  EXPECT_THROW(Decode(&decoder, "\n#10\n0123456789\n#11\n"), host::FramingError);
}

TEST(ChunkedFraming, AChunkIsRefusedAsSoonAsItIsAnnouncedTooLong) {
  host::FrameDecoder decoder(kLimit);
  decoder.UseChunks();
  EXPECT_THAT([&] { Decode(&decoder, "\n#21\n"); },
              ThrowsMessage<host::FramingError>(HasSubstr("at most 20 bytes")));
}

TEST(ChunkedFraming, TheLargestSizeIsANumberLikeOthers) {
  host::FrameDecoder decoder(4294967295U);
  decoder.UseChunks();
  EXPECT_THAT(Decode(&decoder, "\n#4294967295\nx"), ElementsAre());
  EXPECT_TRUE(decoder.IsWithinMessage());
}

TEST(ChunkedFraming, AMessageWithoutTheEndOfItsChunksIsNotWhole) {
  host::FrameDecoder decoder(kLimit);
  decoder.UseChunks();
  EXPECT_THAT(Decode(&decoder, "\n#1\nx"), ElementsAre());
  EXPECT_TRUE(decoder.IsWithinMessage());
  EXPECT_THAT(Decode(&decoder, "\n##\n"), ElementsAre("x"));
}

TEST(SwitchOfFraming, WhatFollowsTheFirstMessageIsChunkedAlready) {
  host::FrameDecoder decoder(kLimit);
  const std::string stream = host::FrameDelimited("hello") + host::FrameChunked("]]>]]>");
  decoder.Append(stream.data(), stream.size());
  EXPECT_EQ(decoder.Next(), "hello");
  decoder.UseChunks();
  EXPECT_TRUE(decoder.IsWithinMessage());
  EXPECT_EQ(decoder.Next(), "]]>]]>");
  EXPECT_EQ(decoder.Next(), std::nullopt);
}

struct Malformed {
  const char* name;
  const char* bytes;
};

class MalformedChunk : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedChunk, IsRefused) {
  host::FrameDecoder decoder(std::numeric_limits<size_t>::max());
  decoder.UseChunks();
  EXPECT_THROW(Decode(&decoder, GetParam().bytes), host::FramingError);
}

INSTANTIATE_TEST_SUITE_P(
    Each, MalformedChunk,
    ::testing::Values(Malformed{"NoLineFeedBefore", "#"}, Malformed{"ABlankBefore", " \n#1\nx"},
                      Malformed{"NoHash", "\n1\nx"}, Malformed{"TwoLineFeeds", "\n\n#1\nx"},
                      Malformed{"NoDigits", "\n#\nx"}, Malformed{"Zero", "\n#0\n"},
                      Malformed{"LeadingZero", "\n#01\nx"}, Malformed{"Plus", "\n#+1\nx"},
                      Malformed{"Minus", "\n#-1\nx"}, Malformed{"Letters", "\n#1a\nx"},
                      Malformed{"Hexadecimal", "\n#0x1\nx"},
                      Malformed{"CarriageReturn", "\n#1\r\n"},
                      Malformed{"ElevenDigits", "\n#11111111111\n"},
                      Malformed{"OneMoreThanTheLargest", "\n#4294967296\n"},
                      Malformed{"NoLineFeedBehind", "\n#1111111111x"},
                      Malformed{"EndOfChunksFirst", "\n##\n"},
                      Malformed{"MoreHashes", "\n#1\nx\n###\n"},
                      Malformed{"DataLongerThanAnnounced", "\n#1\nxy\n##\n"}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace host::test
