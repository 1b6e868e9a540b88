// What is taken for a message at all.
#include "netconf/message.h"

#include <gmock/gmock.h>

#include "netconf/envelope.h"
#include "netconf/rpc_error.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

std::string Repeated(const std::string& text, int times) {
  std::string repeated;
  for (int i = 0; i < times; ++i) repeated += text;
  return repeated;
}

/// Why a text is no message, empty when it is one.
std::string Fault(const std::string& message) {
  try {
    host::ReadHead(message);
  } catch (const host::RpcError& error) {
    EXPECT_EQ(error.Tag(), "malformed-message");
    return error.what();
  }
  return "";
}

std::string Unreadable(const std::string& message) { return host::ReadHead(message).unreadable; }

TEST(MessageTest, TheRootIsToldWithItsNamespace) {
  const host::MessageHead plain = host::ReadHead(R"(<a xmlns="urn:a"/>)");
  EXPECT_EQ(plain.ns, "urn:a");
  EXPECT_EQ(plain.name, "a");
  EXPECT_TRUE(plain.attributes.empty());
  EXPECT_EQ(host::ReadHead(R"(<p:a xmlns:p="urn:a"><b/></p:a>)").ns, "urn:a");
  EXPECT_EQ(host::ReadHead("<a/>").ns, "");
}

TEST(MessageTest, AttributesAreAsTheyAreMeant) {
  const host::MessageHead head = host::ReadHead(
      "<a xmlns:p='urn:p' p:one='&lt;&amp;&#10;\n' two='&quot;\xc3\xa4&#x20ac;'><b "
      "three='3'/></a>");
  ASSERT_EQ(head.attributes.size(), 2U);
  EXPECT_EQ(head.attributes[0].prefix, "p");
  EXPECT_EQ(head.attributes[0].ns, "urn:p");
  EXPECT_EQ(head.attributes[0].name, "one");
  EXPECT_EQ(head.attributes[0].value, "<&\n ");
  EXPECT_EQ(head.attributes[1].prefix, "");
  EXPECT_EQ(head.attributes[1].name, "two");
  EXPECT_EQ(head.attributes[1].value, "\"\xc3\xa4\xe2\x82\xac");
}

std::string Attributes(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += " a" + std::to_string(i) + "='='";
  return text;
}

TEST(MessageTest, AnElementHasNoMoreAttributesThanAParserReadsInTime) {
  const std::string most = Attributes(256);
  const std::string many = Attributes(257);
  EXPECT_EQ(Fault("<a" + most + "><b" + most + "/></a>"), "");
  EXPECT_EQ(Fault("<a><!--" + many + "--><![CDATA[<" + many + "]]><?b " + many + "?></a>"), "");
  EXPECT_EQ(Fault("<a>" + many + "</a>"), "");
  for (const char* before : {"<a>", "<a><!-->'\"<-->", "<a><!--<![CDATA[-->", "<a><?b ' ?>",
                             "<a c='>'>", "<a><![CDATA[<!--]]>"}) {
    EXPECT_THAT(Fault(before + ("<b" + many) + "/></a>"), HasSubstr("256 attributes")) << before;
  }
}

TEST(MessageTest, AMessageHasNoMoreElementsThanLibyangReadsInTime) {
  EXPECT_EQ(Fault("<a>" + Repeated("<b/>", 10000) + "</a>"), "");
  EXPECT_THAT(Fault("<a>" + Repeated("<b/>", 10001) + "</a>"), HasSubstr("more than 10000"));
  const std::string part = "<b>" + Repeated("<c/>", 9999) + "</b>";
  EXPECT_EQ(Fault("<a>" + Repeated(part, 9) + "</a>"), "");
  EXPECT_THAT(Fault("<a>" + Repeated(part, 10) + "</a>"), HasSubstr("more than 100000 elements"));
}

TEST(MessageTest, ADeclarationCommentsAndSectionsAreXml) {
  EXPECT_EQ(Fault("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- b --><a><![CDATA[<]]></a>"),
            "");
}

TEST(MessageTest, ANamespaceMayBeAnyText) {
  EXPECT_EQ(Fault(R"(<a xmlns="relative"/>)"), "");
  EXPECT_EQ(Fault(R"(<a xmlns="no &lt;URI&gt;"/>)"), "");
}

struct Malformed {
  const char* text;
  const char* reason;
};

void PrintTo(const Malformed& malformed, std::ostream* out) { *out << malformed.text; }

class MalformedXml : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedXml, IsNoMessage) {
  const std::string fault = Fault(GetParam().text);
  EXPECT_THAT(fault, HasSubstr(std::string("this is no request: ") + GetParam().reason));
  EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
}

INSTANTIATE_TEST_SUITE_P(
    Each, MalformedXml,
    ::testing::Values(
        Malformed{"", "no rpc element"}, Malformed{"text", "line 1: Start tag expected"},
        Malformed{"\n<a><b></a>", "line 2: Opening and ending tag mismatch"},
        Malformed{"<a/><a/>", "line 1: Extra content"},
        Malformed{"<a b='1' b='2'/>", "line 1: Attribute b redefined"},
        Malformed{"<a xmlns:p='urn:p' xmlns:q='urn:p' p:b='1' q:b='2'/>", "line 1: Namespaced "},
        Malformed{"<p:a/>", "line 1: Namespace prefix p on a is not defined"},
        Malformed{"<a><b p:c='1'/></a>", "line 1: Namespace prefix p for c"},
        Malformed{"<a>&other;</a>", "line 1: Entity 'other' not defined"},
        Malformed{"<\xc3\x97/>", "line 1: StartTag: invalid element name"},
        Malformed{"<a>\xff</a>", "line 1: Input is not proper UTF-8"},
        Malformed{"<!DOCTYPE a><a/>", "a message has no document type"},
        Malformed{"<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>", "a message has no document type"}));

TEST(MessageTest, AZeroByteIsRefused) {
  EXPECT_THAT(Fault("<a/>" + std::string(1, '\0')), HasSubstr("there is a zero byte in it"));
}

TEST(MessageTest, ElementsGoNoDeeperThanTheirReaderCan) {
  EXPECT_EQ(Fault(Repeated("<a>", 200) + Repeated("</a>", 200)), "");
  EXPECT_THAT(Fault(Repeated("<a>", 100000) + Repeated("</a>", 100000)), HasSubstr("depth"));
}

TEST(MessageTest, ElementsOfOneNameBesideEachOtherNeedANamespace) {
  EXPECT_EQ(Unreadable("<a><b/><b/></a>"), "b");
  EXPECT_EQ(Unreadable("<a><x><b/><c/><b/></x></a>"), "b");
  EXPECT_EQ(Unreadable("<a><b/><b xmlns='urn:b'/></a>"), "b");
}

TEST(MessageTest, OtherElementsNeedNone) {
  EXPECT_EQ(Unreadable("<a xmlns='urn:a'><b/><b/></a>"), "");
  EXPECT_EQ(Unreadable("<a><b/><c/></a>"), "");
  EXPECT_EQ(Unreadable("<a><b><b/></b></a>"), "");
  EXPECT_EQ(Unreadable("<a><c><b/></c><d><b/></d></a>"), "");
}

}  // namespace
}  // namespace host::test
