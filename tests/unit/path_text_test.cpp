// The text of ConfD paths.

#include "confd/path_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "confd/value_text.h"
#include "delivery/change.h"

namespace {

using common::ParsePath;
using common::PathStep;
using ::testing::ElementsAre;

PathStep Step(const std::string& prefix, const std::string& name) { return {prefix, name, {}, {}}; }

PathStep Entry(const std::string& name, const std::vector<std::string>& keys) {
  return {"", name, keys, {}};
}

TEST(ParsePathTest, SplitsElements) {
  EXPECT_THAT(ParsePath("/snmp/agent/listen"),
              ElementsAre(Step("", "snmp"), Step("", "agent"), Step("", "listen")));
}

TEST(ParsePathTest, TakesModulePrefixOff) {
  EXPECT_THAT(
      ParsePath("/confd_dyncfg:confdConfig/snmpAgent/m:ip"),
      ElementsAre(Step("confd_dyncfg", "confdConfig"), Step("", "snmpAgent"), Step("m", "ip")));
}

TEST(ParsePathTest, ReadsKeys) {
  EXPECT_THAT(ParsePath("/list{a}/leaf"), ElementsAre(Entry("list", {"a"}), Step("", "leaf")));
  EXPECT_THAT(ParsePath("/list{a b  c}"), ElementsAre(Entry("list", {"a", "b", "c"})));
}

TEST(ParsePathTest, KeyHoldsAnyCharacterButBlanksAndBraces) {
  EXPECT_THAT(ParsePath("/list{10.0.0.1:161/[2001:db8::1]}"),
              ElementsAre(Entry("list", {"10.0.0.1:161/[2001:db8::1]"})));
}

TEST(ParsePathTest, EmptyBracesAreOneEmptyKey) {
  EXPECT_THAT(ParsePath("/list{}"), ElementsAre(Entry("list", {""})));
}

TEST(ParsePathTest, ReadsPositions) {
  EXPECT_THAT(ParsePath("/list[0]/leaf"),
              ElementsAre(PathStep{"", "list", {}, 0}, Step("", "leaf")));
  EXPECT_THAT(ParsePath("/list[999999999]"), ElementsAre(PathStep{"", "list", {}, 999999999}));
}

TEST(ParsePathTest, StepsDifferInEachPart) {
  const PathStep step = {"p", "n", {"k"}, 1};
  EXPECT_TRUE(step == (PathStep{"p", "n", {"k"}, 1}));
  EXPECT_FALSE(step == (PathStep{"", "n", {"k"}, 1}));
  EXPECT_FALSE(step == (PathStep{"p", "", {"k"}, 1}));
  EXPECT_FALSE(step == (PathStep{"p", "n", {}, 1}));
  EXPECT_FALSE(step == (PathStep{"p", "n", {"k"}, {}}));
}

struct Refused {
  const char* path;
  const char* reason;
};

constexpr Refused kRefused[] = {{"", "'/' is missing at position 0"},
                                {"a", "'/' is missing at position 0"},
                                {"/", "an element name is missing at position 1"},
                                {"/a//b", "an element name is missing at position 3"},
                                {"/a/", "an element name is missing at position 3"},
                                {"/m:", "an element name is missing at position 3"},
                                {"/:a", "a module prefix is missing at position 3"},
                                {"/::a", "a module prefix is missing at position 4"},
                                {"/a:b:c/d", "an element name has a colon at position 6"},
                                {"/a{k", "'}' is missing at position 4"},
                                {"/a{k{l}}", "'}' is missing at position 4"},
                                {"/a{k}b", "'/' is missing at position 5"},
                                {"/a}", "'/' is missing at position 2"},
                                {"/a]", "'/' is missing at position 2"},
                                {"/a[", "']' is missing at position 3"},
                                {"/a[1", "']' is missing at position 4"},
                                {"/a[]", "an index is no number at position 4"},
                                {"/a[-1]", "an index is no number at position 6"},
                                {"/a[x]", "an index is no number at position 5"},
                                {"/a[1234567890]", "an index is no number at position 14"}};

TEST(ParsePathTest, TellsWhatIsWrongAndWhere) {
  for (const Refused& refused : kRefused) {
    try {
      ParsePath(refused.path);
      ADD_FAILURE() << "taken: " << refused.path;
    } catch (const std::invalid_argument& exception) {
      EXPECT_EQ("path \"" + std::string(refused.path) + "\": " + refused.reason, exception.what());
    }
  }
}

/// As a variadic function of the api calls it.
std::string Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  try {
    std::string path = common::FormatPath(format, arguments);
    va_end(arguments);
    return path;
  } catch (const std::invalid_argument& exception) {
    va_end(arguments);
    return exception.what();
  }
}

TEST(FormatPathTest, TakesTextAndNumbers) {
  EXPECT_EQ("/plain", Format("/plain"));
  EXPECT_EQ("/a{key}[3]/-4", Format("/%s{%s}[%d]/%i", "a", "key", 3, -4));
  EXPECT_EQ("4294967295", Format("%u", 4294967295U));
  EXPECT_EQ("-5 5 6", Format("%ld %lu %hu", -5L, 5UL, 6));
  EXPECT_EQ("-5000000000 5000000000", Format("%lld %llu", -5000000000LL, 5000000000ULL));
  EXPECT_EQ("100%", Format("%d%%", 100));
}

TEST(FormatPathTest, TakesValuesAsKeys) {
  const common::OwnedValue key(common::MakeBuf("l3-eth1"));
  const confd_value_t port = common::MakeUint16(161);
  EXPECT_EQ("/a{l3-eth1 161}/b", Format("/a{%x %x}/b", &key.Value(), &port));
}

TEST(FormatPathTest, RefusesOtherConversions) {
  EXPECT_EQ("path format with the unknown conversion %c", Format("/%c", 'a'));
  EXPECT_EQ("path format with the unknown conversion %5", Format("/%5d", 1));
}

TEST(FormatPathTest, RefusesALonePercentSignAtTheEnd) {
  EXPECT_THAT(Format("/a%"), ::testing::StartsWith("path format with the unknown conversion %"));
}

}  // namespace
