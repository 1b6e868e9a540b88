// The parts of a data tree that a request asks for.
#include "netconf/filter.h"

#include <gmock/gmock.h>

#include <string>

#include "netconf/rpc_error.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ResultOf;
using ::testing::Throws;

constexpr char kData[] =
    R"({"snmp:snmp": {"target": [{"name": "a", "ip": "10.0.0.1", "udp-port": 162},)"
    R"({"name": "b", "ip": "10.0.0.2", "udp-port": 162},)"
    R"({"name": "c", "ip": "10.0.0.3", "udp-port": 1162}]},)"
    R"("confd_dyncfg:confdConfig": {"snmpAgent": {"port": 1161,)"
    R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.1:162"]}}})";

std::string Snmp(const std::string& content) {
  return content.empty() ? "" : "<snmp xmlns=\"urn:snmp-app:snmp\">" + content + "</snmp>";
}

std::string Agent(const std::string& content) {
  return "<confdConfig xmlns=\"urn:snmp-app:dyncfg\"><snmpAgent>" + content +
         "</snmpAgent></confdConfig>";
}

std::string Target(const std::string& name, const std::string& content) {
  return "<target><name>" + name + "</name>" + content + "</target>";
}

const std::string kA = Target("a", "<ip>10.0.0.1</ip><udp-port>162</udp-port>");
const std::string kB = Target("b", "<ip>10.0.0.2</ip><udp-port>162</udp-port>");
const std::string kC = Target("c", "<ip>10.0.0.3</ip><udp-port>1162</udp-port>");
const std::string kPorts =
    "<extraIpPorts>10.0.0.1:161</extraIpPorts><extraIpPorts>10.0.0.1:162</extraIpPorts>";

class FilterTest : public NetconfTest {
 protected:
  /// The data, not validated: its targets have no rows of their own.
  static host::Tree Data() { return host::ParseTree(NetconfDeviceModels().Context(), kData); }
};

struct Case {
  const char* name;
  std::string filter;
  std::string selected;
};

void PrintTo(const Case& test, std::ostream* out) { *out << test.filter; }

class Subtree : public FilterTest, public ::testing::WithParamInterface<Case> {};

TEST_P(Subtree, Selects) {
  const Content filter = Content::OfFilter(NetconfDeviceModels(), GetParam().filter);
  EXPECT_EQ(Xml(host::SelectSubtree(filter.Nodes(), Data().get())), GetParam().selected);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Subtree,
    ::testing::Values(
        Case{"AnEmptyFilter", "", ""},
        Case{"ATopElement", "<snmp xmlns=\"urn:snmp-app:snmp\"/>", Snmp(kA + kB + kC)},
        Case{"AnyNamespace", "<snmp xmlns=\"\"/>", Snmp(kA + kB + kC)},
        Case{"AnotherNamespace", "<snmp xmlns=\"urn:snmp-app:dyncfg\"/>", ""},
        Case{"AnUnknownNamespace", "<snmp xmlns=\"urn:x\"/>", ""},
        Case{"AnUnknownElement", Snmp("<absent/>"), ""},
        Case{"AnUnknownElementBesides", Snmp("<absent/><target><name>c</name></target>"), Snmp(kC)},
        Case{"AllEntries", Snmp("<target/>"), Snmp(kA + kB + kC)},
        Case{"ALeafOfEachEntry", Snmp("<target><ip/></target>"),
             Snmp(Target("a", "<ip>10.0.0.1</ip>") + Target("b", "<ip>10.0.0.2</ip>") +
                  Target("c", "<ip>10.0.0.3</ip>"))},
        Case{"AKey", Snmp("<target><name/></target>"),
             Snmp(Target("a", "") + Target("b", "") + Target("c", ""))},
        Case{"AnEntryByItsKey", Snmp("<target><name>b</name></target>"), Snmp(kB)},
        Case{"ALeafOfAnEntry", Snmp(Target("b", "<udp-port/>")),
             Snmp(Target("b", "<udp-port>162</udp-port>"))},
        Case{"EntriesByAValue", Snmp("<target><udp-port>162</udp-port></target>"), Snmp(kA + kB)},
        Case{"EntriesByTwoValues",
             Snmp("<target><udp-port>162</udp-port><ip>10.0.0.2</ip></target>"), Snmp(kB)},
        Case{"OneValueOfTwoDiffers",
             Snmp("<target><udp-port>162</udp-port><ip>10.0.0.3</ip></target>"), ""},
        Case{"AValueAndALeaf", Snmp("<target><udp-port>1162</udp-port><ip/></target>"), Snmp(kC)},
        Case{"BlanksAroundAValue", Snmp("<target><name>\n a\t</name></target>"), Snmp(kA)},
        Case{"AValueThatTheTypeDoesNotHave", Snmp("<target><udp-port>x</udp-port></target>"), ""},
        Case{"TwoThatOverlap", Snmp("<target><name>a</name></target>" + Target("a", "<ip/>")),
             Snmp(kA)},
        Case{"TwoOfOneEntry", Snmp(Target("a", "<ip/>") + Target("a", "<udp-port/>")), Snmp(kA)},
        Case{"TwoEntries", Snmp(Target("a", "<ip/>") + "<target><name>c</name></target>"),
             Snmp(Target("a", "<ip>10.0.0.1</ip>") + kC)},
        Case{"TwoAtTheTop", Snmp("<target><name>a</name></target>") + Agent("<port/>"),
             Agent("<port>1161</port>") + Snmp(kA)},
        Case{"ALeafList", Agent("<extraIpPorts/>"), Agent(kPorts)},
        Case{"AValueOfALeafList", Agent("<extraIpPorts>10.0.0.1:162</extraIpPorts>"),
             Agent("<port>1161</port>" + kPorts)},
        Case{"ALeafThatIsNotThere", Agent("<ip/>"), ""}),
    [](const auto& test) { return std::string(test.param.name); });

class XPath : public FilterTest, public ::testing::WithParamInterface<Case> {};

TEST_P(XPath, Selects) {
  EXPECT_EQ(Xml(host::SelectXPath(GetParam().filter.c_str(), Data().get())), GetParam().selected);
}

INSTANTIATE_TEST_SUITE_P(
    Each, XPath,
    ::testing::Values(
        Case{"ANode", "/confd_dyncfg:confdConfig/snmpAgent/port", Agent("<port>1161</port>")},
        Case{"APredicate", "/snmp:snmp/target[udp-port=1162]", Snmp(kC)},
        Case{"APlace", "/snmp:snmp/target[2]/ip", Snmp(Target("b", "<ip>10.0.0.2</ip>"))},
        Case{"AnywhereBelow", "//snmp:udp-port[. > 1000]",
             Snmp(Target("c", "<udp-port>1162</udp-port>"))},
        Case{"AUnion", "/snmp:snmp/target[name='a'] | /confd_dyncfg:confdConfig",
             Agent("<port>1161</port>" + kPorts) + Snmp(kA)},
        Case{"NodesOfOneEntry", "/snmp:snmp/target[name='a']/*", Snmp(kA)},
        Case{"Nothing", "/snmp:snmp/target[name='d']", ""}),
    [](const auto& test) { return std::string(test.param.name); });

class XPathRefusal : public FilterTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(XPathRefusal, IsAnInvalidValueOfSelect) {
  const host::Tree data = Data();
  EXPECT_THAT(
      [&] { host::SelectXPath(GetParam(), data.get()); },
      Throws<host::RpcError>(AllOf(
          ResultOf([](const auto& error) { return error.Tag(); }, "invalid-value"),
          ResultOf([](const auto& error) { return error.Xml(NetconfDeviceModels().Context()); },
                   HasSubstr("<bad-attribute>select</bad-attribute>")))));
}

INSTANTIATE_TEST_SUITE_P(Each, XPathRefusal,
                         ::testing::Values("", "/snmp:snmp[", "/absent:snmp", "count(//*)",
                                           "'text'"));

TEST_F(FilterTest, AFilterHasALimit) {
  const auto select = [](size_t targets) {
    std::string text;
    for (size_t i = 0; i < targets; ++i) text += "<target/>";
    const Content filter = Content::OfFilter(NetconfDeviceModels(), Snmp(text));
    return Xml(host::SelectSubtree(filter.Nodes(), Data().get()));
  };
  EXPECT_NE(select(host::kMaxFilterElements - 1), "");
  EXPECT_THAT(
      [&] { select(host::kMaxFilterElements); },
      Throws<host::RpcError>(ResultOf([](const auto& error) { return error.Tag(); }, "too-big")));
}

TEST_F(FilterTest, OfNoDataIsNothing) {
  EXPECT_EQ(host::SelectXPath("/snmp:snmp", nullptr), nullptr);
  const Content filter = Content::OfFilter(NetconfDeviceModels(), Snmp("<target/>"));
  EXPECT_EQ(host::SelectSubtree(filter.Nodes(), nullptr), nullptr);
}

}  // namespace
}  // namespace host::test
