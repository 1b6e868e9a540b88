// Values that their types refuse, and names that the models do not have, in words.
#include "config/type_words.h"

#include <gmock/gmock.h>

#include <string>

#include "config/near_name.h"
#include "config/parse_refusal.h"
#include "support.h"

namespace host::test {
namespace {

const host::Schema& WordModels() {
  static const host::Schema models(TEST_FOLDER "/words");
  return models;
}

const lysc_node* LeafOf(const std::string& name) {
  return WordModels().Resolve({{"", "top", {}, {}}, {"", name, {}, {}}}).back();
}

/// What the parser says to a value, line by line as the text has it.
std::string TextOfRefusal(const std::string& json) {
  try {
    host::ParseTree(WordModels().Context(), json);
  } catch (const host::Refusal& refusal) {
    return refusal.what();
  }
  return "it is taken";
}

struct Wrong {
  const char* leaf;
  const char* json;  ///< A value that is refused.
  const char* words;
  const char* in_xml;  ///< What the words are there, null for the same.
};

void PrintTo(const Wrong& wrong, std::ostream* out) { *out << wrong.leaf << ' ' << wrong.json; }

class WrongValue : public ::testing::TestWithParam<Wrong> {};

TEST_P(WrongValue, IsToldWithLinePathAndWhatIsExpected) {
  const Wrong& wrong = GetParam();
  const std::string leaf = wrong.leaf;
  EXPECT_EQ(TextOfRefusal("{\"words:top\": {\n\"" + leaf + "\": " + wrong.json + "}}"),
            "line 2, /words:top/" + leaf + ": " + wrong.words);
}

TEST_P(WrongValue, HasWordsForXml) {
  const Wrong& wrong = GetParam();
  EXPECT_EQ(host::WhyNotTaken(LeafOf(wrong.leaf), wrong.words, host::Notation::kXml),
            wrong.in_xml == nullptr ? wrong.words : wrong.in_xml);
}

INSTANTIATE_TEST_SUITE_P(
    Each, WrongValue,
    ::testing::Values(
        Wrong{"allowed", "\"true\"", "expected true or false, without quotes",
              "expected true or false"},
        Wrong{"allowed", "1", "expected true or false, without quotes", "expected true or false"},
        Wrong{"small", "6", "expected 1 to 5 or 7 or 9 to 11, without quotes",
              "expected 1 to 5 or 7 or 9 to 11"},
        Wrong{"dock", "\"161\"", "expected 0 to 65535, without quotes", "expected 0 to 65535"},
        Wrong{"dock", "70000", "expected 0 to 65535, without quotes", "expected 0 to 65535"},
        Wrong{"dock", "null", "expected 0 to 65535, without quotes", "expected 0 to 65535"},
        Wrong{"dock", "[1]", "expected 0 to 65535, without quotes", "expected 0 to 65535"},
        Wrong{"level", "4", "expected -3 to 3, without quotes", "expected -3 to 3"},
        Wrong{"whole", "1", "expected -9223372036854775808 to 9223372036854775807", nullptr},
        Wrong{"large", "\"-1\"", "expected 0 to 18446744073709551615", nullptr},
        Wrong{"odd", "10", "it has one digit", nullptr},
        Wrong{"odd", "\"x\"", "expected 1 to 9, without quotes", "expected 1 to 9"},
        Wrong{"share", "\"1.234\"", "expected a number with up to 2 digits behind the point",
              nullptr},
        Wrong{"kind", "\"green\"", "expected one of red, blue", nullptr},
        Wrong{"signs", "\"left\"", "expected any of up, down", nullptr},
        Wrong{"mark", "\"x\"", "expected [null]", "expected no value"},
        Wrong{"text", "4", "expected a text, in quotes", "expected a text"},
        Wrong{"short", "\"long\"", "expected a text of 1 to 3 characters, in quotes",
              "expected a text of 1 to 3 characters"},
        Wrong{"letters", "\"A\"", "expected a text that matches [a-z]*, in quotes",
              "expected a text that matches [a-z]*"},
        Wrong{"only-a", "\"b\"", "it has 2 to 4 letters", nullptr},
        Wrong{"only-a", "\"bb\"", "it consists of the letter a", nullptr},
        Wrong{"only-a", "4", "expected a text of 2 to 4 characters, in quotes",
              "expected a text of 2 to 4 characters"},
        Wrong{"bytes", "\"AAAAAAAA\"", "expected 2 to 4 bytes in base64", nullptr},
        Wrong{"any-bytes", "\"%\"", "expected bytes in base64", nullptr},
        Wrong{"address", "\"localhost\"", "expected an IPv4 or IPv6 address", nullptr},
        Wrong{"address", "true", "expected an IPv4 or IPv6 address", nullptr},
        Wrong{"address-with-zone", "\"10.0.0.256\"", "expected an IPv4 or IPv6 address", nullptr},
        Wrong{"network", "\"10.0.0.0/33\"", "expected an IPv4 prefix such as 192.0.2.0/24",
              nullptr},
        Wrong{"time", "\"now\"", "expected a date and time such as 2026-11-21T10:00:00Z", nullptr},
        Wrong{"number-or-kind", "4", "expected 0 to 3, without quotes or one of none",
              "expected 0 to 3 or one of none"},
        Wrong{"place", "\"x\"", "expected the path of an element", nullptr},
        Wrong{"same-port", "\"x\"", "expected 0 to 65535, without quotes", "expected 0 to 65535"},
        Wrong{"ports", "[1, 70000]", "expected 0 to 65535, without quotes",
              "expected 0 to 65535"}));

TEST(WrongForm, IsToldAtTheElement) {
  EXPECT_EQ(TextOfRefusal(R"({"words:top": "x"})"), "line 1: top: expected an object in braces");
  EXPECT_EQ(TextOfRefusal(R"({"words:top": {"row": {}}})"),
            "line 1, /words:top: row: expected objects in square brackets");
  EXPECT_EQ(TextOfRefusal(R"({"words:top": {"ports": 1}})"),
            "line 1, /words:top: ports: expected values in square brackets");
}

struct Typo {
  const char* json;
  const char* words;
};

class Typos : public ::testing::TestWithParam<Typo> {};

TEST_P(Typos, AreToldWithWhatMayHaveBeenMeant) {
  EXPECT_EQ(TextOfRefusal(GetParam().json), GetParam().words);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Typos,
    ::testing::Values(
        Typo{R"({"words:top": {"alowed": true}})",
             "line 1, /words:top: unknown element 'alowed': did you mean 'allowed'?"},
        Typo{R"({"words:top": {"absent": true}})", "line 1, /words:top: unknown element 'absent'"},
        Typo{"{\"words:top\":\n {\"row\": [{\"name\": \"it's ] \", \"numbr\": 1}]}}",
             "line 2, /words:top/row[name=\"it's ] \"]: unknown element 'numbr': did you mean "
             "'number'?"},
        Typo{R"({"words:tops": {}})", "line 1: unknown element 'tops': did you mean 'words:top'?"},
        Typo{R"({"top": {}})", "line 1: unknown element 'top': did you mean 'words:top'?"},
        Typo{R"({"word:top": {}})", "line 1: there is no model 'word': did you mean 'words'?"},
        Typo{R"({"other:top": {}})", "line 1: there is no model 'other'"}));

TEST(NearName, IsTheOneWithTheFewestSlips) {
  EXPECT_EQ(host::NearName("enabel", {"extra", "enabled", "ip"}), "enabled");
  EXPECT_EQ(host::NearName("ENABLED", {"enabled"}), "enabled");
  EXPECT_EQ(host::NearName("prot", {"part", "port"}), "port") << "two are swapped";
  EXPECT_EQ(host::NearName("prt", {"sort", "port", "part"}), "port");
  EXPECT_EQ(host::NearName("interfaces", {"interface"}), "interface");
  EXPECT_EQ(host::NearName("udpport", {"udp-port"}), "udp-port");
}

TEST(NearName, IsNoneWhereNoneIsNear) {
  EXPECT_EQ(host::NearName("colour", {"enabled", "ip", "port"}), "");
  EXPECT_EQ(host::NearName("ip", {"id"}), "");
  EXPECT_EQ(host::NearName("", {"a"}), "");
  EXPECT_EQ(host::NearName("port", {}), "");
  EXPECT_EQ(host::NearName("port", {"ports", "port"}), "") << "it is one of them";
  EXPECT_EQ(host::NearName("abcdefghijklmnop", {"abcdefghijkl"}), "") << "four are missing";
}

TEST(NearName, OfAVeryLongNameIsNotLookedForLongly) {
  EXPECT_EQ(host::NearName(std::string(2'000'000, 'x'), {"enabled"}), "");
}

}  // namespace
}  // namespace host::test
