// Edits that are refused, with what the refusal tells.
#include <gmock/gmock.h>

#include <string>

#include "netconf/edit.h"
#include "netconf/rpc_error.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {
namespace {

using host::EditOperation;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kBefore[] = R"({"shapes:shapes": {"small": 1, "ranking": ["a"], )"
                           R"("outer": [{"name": "x", "number": 1, "note": "n"}]}})";
constexpr auto kMerge = EditOperation::kMerge;
constexpr auto kNone = EditOperation::kNone;

struct Refused {
  const char* name;
  EditOperation operation;  ///< The default operation.
  const char* edit;         ///< What stands in <shapes>.
  const char* tag;
  const char* path;
  const char* message;
  const char* bad_element;  ///< Empty when none is told.
};

void PrintTo(const Refused& refused, std::ostream* out) { *out << refused.edit; }

class EditRefusal : public NetconfTest, public ::testing::WithParamInterface<Refused> {};

/// An element's error that tells tag, path, message and the bad element.
void ExpectRefusal(const Refused& expected, const std::string& content) {
  const host::Schema& models = NetconfShapeModels();
  host::Tree tree = Read(models, kBefore);
  const Content edit = Content::OfConfig(models, content);
  try {
    host::ApplyEdit(models.Context(), edit.Nodes(), expected.operation, &tree);
    FAIL() << "nothing is refused";
  } catch (const host::RpcError& error) {
    EXPECT_EQ(error.Tag(), expected.tag);
    EXPECT_EQ(error.Path(), expected.path);
    EXPECT_THAT(error.what(), HasSubstr(expected.message));
    EXPECT_EQ(TextOf(error.Xml(models.Context()), "bad-element"), expected.bad_element);
    EXPECT_TRUE(IsWellFormed(models, "<a xmlns=\"urn:a\">" + error.Xml(models.Context()) + "</a>"));
  }
}

TEST_P(EditRefusal, TellsTagPathAndMessage) {
  ExpectRefusal(GetParam(), std::string(R"(<shapes xmlns="urn:snmp-app:test:shapes">)") +
                                GetParam().edit + "</shapes>");
}

INSTANTIATE_TEST_SUITE_P(
    Each, EditRefusal,
    ::testing::Values(
        Refused{"CreateOfALeaf", kMerge, R"(<small nc:operation="create">2</small>)", "data-exists",
                "/shapes:shapes/small", "small exists already", ""},
        Refused{"CreateOfAValue", kMerge, R"(<ranking nc:operation="create">a</ranking>)",
                "data-exists", "/shapes:shapes/ranking[.='a']", "ranking exists already", ""},
        Refused{"CreateOfAnEntry", kMerge,
                R"(<outer nc:operation="create"><name>x</name><number>1</number></outer>)",
                "data-exists", "/shapes:shapes/outer[name='x'][number='1']", "outer exists already",
                ""},
        Refused{"DeleteOfALeaf", kMerge, R"(<left nc:operation="delete"/>)", "data-missing",
                "/shapes:shapes/left", "left does not exist", ""},
        Refused{"DeleteOfAnEntry", kMerge,
                R"(<outer nc:operation="delete"><name>x</name><number>2</number></outer>)",
                "data-missing", "/shapes:shapes/outer[name='x'][number='2']",
                "outer does not exist", ""},
        Refused{"DeleteOfAContainer", kMerge, R"(<feature nc:operation="delete"/>)", "data-missing",
                "/shapes:shapes/feature", "feature does not exist", ""},
        Refused{"NoneForALeaf", kNone, "<left>l</left>", "data-missing", "/shapes:shapes/left",
                "left does not exist", ""},
        Refused{"NoneOnTheWay", kNone,
                R"(<feature><level nc:operation="create">1</level></feature>)", "data-missing",
                "/shapes:shapes/feature", "feature does not exist", ""},
        Refused{"AnElementThatThereIsNot", kMerge, "<absent/>", "unknown-element", "/shapes:shapes",
                "unknown element 'absent'", "absent"},
        Refused{"ANamespaceThatThereIsNot", kMerge, R"(<small xmlns="urn:x">1</small>)",
                "unknown-namespace", "/shapes:shapes", "namespace 'urn:x'", "small"},
        Refused{"AValueOutOfRange", kMerge, "<small>256</small>", "invalid-value",
                "/shapes:shapes/small", "small cannot have the value \"256\": expected 0 to 255",
                "small"},
        Refused{"ATypo", kMerge, "<smal>1</smal>", "unknown-element", "/shapes:shapes",
                "unknown element 'smal': did you mean 'small'?", "smal"},
        Refused{"ATypoInANamespace", kMerge, R"(<small xmlns="urn:snmp-app:test:shape">1</small>)",
                "unknown-namespace", "/shapes:shapes", "did you mean 'urn:snmp-app:test:shapes'?",
                "small"},
        Refused{"NoValue", kMerge, "<small/>", "invalid-value", "/shapes:shapes/small",
                "cannot have the value \"\"", "small"},
        Refused{"MarkupInAValue", kMerge, "<small>&lt;&amp;\"'&gt;</small>", "invalid-value",
                "/shapes:shapes/small", "the value \"<&\"'>\"", "small"},
        Refused{"NoKeys", kMerge, "<outer><note>n</note></outer>", "missing-element",
                "/shapes:shapes", "an entry of outer lacks a key", "name"},
        Refused{"OneKeyOfTwo", kMerge, "<outer><name>x</name></outer>", "missing-element",
                "/shapes:shapes", "an entry of outer lacks a key", "number"},
        Refused{"ABadKey", kMerge, "<outer><name>x</name><number>x</number></outer>",
                "invalid-value", "/shapes:shapes/outer/number",
                "cannot have the value \"x\": ", "number"},
        Refused{"TwoCases", kMerge, "<left>l</left><right>r</right>", "bad-element",
                "/shapes:shapes/right", "right excludes left", "right"},
        Refused{"DeletionOfAnUnknownElement", kMerge, R"(<absent nc:operation="delete"/>)",
                "unknown-element", "/shapes:shapes", "unknown element 'absent'", "absent"}),
    [](const auto& test) { return std::string(test.param.name); });

class TopRefusal : public NetconfTest {};

TEST_F(TopRefusal, HasNoPath) {
  ExpectRefusal({"", kMerge, "", "unknown-namespace", "", "namespace 'urn:x'", "a"},
                R"(<a xmlns="urn:x"/>)");
  ExpectRefusal({"", kMerge, "", "unknown-element", "", "unknown element 'a'", "a"},
                R"(<a xmlns="urn:snmp-app:test:shapes"/>)");
}

TEST(EditOperationName, IsKnownOrRefused) {
  EXPECT_EQ(host::ParseEditOperation("merge"), EditOperation::kMerge);
  EXPECT_EQ(host::ParseEditOperation("replace"), EditOperation::kReplace);
  EXPECT_EQ(host::ParseEditOperation("create"), EditOperation::kCreate);
  EXPECT_EQ(host::ParseEditOperation("delete"), EditOperation::kDelete);
  EXPECT_EQ(host::ParseEditOperation("remove"), EditOperation::kRemove);
  EXPECT_EQ(host::ParseEditOperation("none"), EditOperation::kNone);
  try {
    host::ParseEditOperation("Merge");
    FAIL();
  } catch (const host::RpcError& error) {
    EXPECT_EQ(error.Tag(), "bad-attribute");
    EXPECT_THAT(error.Path(), IsEmpty());
  }
}

}  // namespace
}  // namespace host::test
