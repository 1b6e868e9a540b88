// Changes of a configuration as <edit-config> asks for them.
#include "netconf/edit.h"

#include <gmock/gmock.h>

#include <string>

#include "netconf/rpc_error.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {
namespace {

using host::EditOperation;
using ::testing::HasSubstr;

constexpr char kBefore[] =
    R"({"shapes:shapes": {"feature": {"level": 4}, "small": 1, "left": "l", )"
    R"("ranking": ["a", "b"], "outer": [{"name": "x", "number": 1, "note": "n", )"
    R"("details": {"inner": [{"id": "i", "value": 5}]}}]}})";

std::string Shapes(const std::string& content) {
  return content.empty() ? ""
                         : R"(<shapes xmlns="urn:snmp-app:test:shapes">)" + content + "</shapes>";
}

const std::string kFeature = "<feature><level>4</level></feature>";
const std::string kLeaves = "<small>1</small><left>l</left>";
const std::string kRanking = "<ranking>a</ranking><ranking>b</ranking>";
const std::string kEntryStart = "<outer><name>x</name><number>1</number>";
const std::string kDetails = "<details><inner><id>i</id><value>5</value></inner></details>";
const std::string kOuter = kEntryStart + "<note>n</note>" + kDetails + "</outer>";

class EditTest : public NetconfTest {
 protected:
  static host::Tree Before(const std::string& json = kBefore) {
    return Read(NetconfShapeModels(), json);
  }

  /// Applies what stands in <shapes>.
  static void Apply(const std::string& edit, EditOperation operation, host::Tree* tree) {
    const Content content = Content::OfConfig(NetconfShapeModels(), Shapes(edit));
    host::ApplyEdit(NetconfShapeModels().Context(), content.Nodes(), operation, tree);
  }

  static void Validate(host::Tree* tree) {
    host::ValidateTree(NetconfShapeModels().Context(), tree);
  }
};

struct Edit {
  const char* name;
  EditOperation operation;  ///< The default operation.
  std::string edit;
  std::string after;  ///< What stands in <shapes> then.
};

void PrintTo(const Edit& edit, std::ostream* out) { *out << edit.edit; }

class Edits : public EditTest, public ::testing::WithParamInterface<Edit> {};

TEST_P(Edits, ChangesTheConfiguration) {
  host::Tree tree = Before();
  Apply(GetParam().edit, GetParam().operation, &tree);
  EXPECT_EQ(Xml(tree), Shapes(GetParam().after));
  Validate(&tree);
  EXPECT_EQ(Xml(tree), Shapes(GetParam().after)) << "after validation";
}

constexpr auto kMerge = EditOperation::kMerge;
constexpr auto kNone = EditOperation::kNone;

INSTANTIATE_TEST_SUITE_P(
    OfLeaves, Edits,
    ::testing::Values(
        Edit{"MergeChanges", kMerge, "<small>2</small>",
             kFeature + "<small>2</small><left>l</left>" + kRanking + kOuter},
        Edit{"MergeAdds", kMerge, "<wide>7</wide>",
             kFeature + "<small>1</small><wide>7</wide><left>l</left>" + kRanking + kOuter},
        Edit{"ReplaceChanges", kMerge, R"(<small nc:operation="replace">2</small>)",
             kFeature + "<small>2</small><left>l</left>" + kRanking + kOuter},
        Edit{"CreateAdds", kMerge, R"(<word nc:operation="create">low</word>)",
             kFeature + "<small>1</small><word>low</word><left>l</left>" + kRanking + kOuter},
        Edit{"DeleteNeedsNoValue", kMerge, R"(<small nc:operation="delete"/>)",
             kFeature + "<left>l</left>" + kRanking + kOuter},
        Edit{"DeleteIgnoresTheValue", kMerge, R"(<left nc:operation="delete">other</left>)",
             kFeature + "<small>1</small>" + kRanking + kOuter},
        Edit{"RemoveTakesWhatIsThere", kMerge, R"(<small nc:operation="remove"/>)",
             kFeature + "<left>l</left>" + kRanking + kOuter},
        Edit{"RemoveOfNothing", kMerge, R"(<wide nc:operation="remove"/>)",
             kFeature + kLeaves + kRanking + kOuter},
        Edit{"NoneChangesNothing", kNone, "<small>2</small>",
             kFeature + kLeaves + kRanking + kOuter},
        Edit{"NoneKeepsToWhatSaysMore", kNone,
             R"(<small nc:operation="merge">2</small><left>other</left>)",
             kFeature + "<small>2</small><left>l</left>" + kRanking + kOuter}),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfLists, Edits,
    ::testing::Values(
        Edit{"MergeAddsToALeafList", kMerge, "<ranking>c</ranking><ranking>a</ranking>",
             kFeature + kLeaves + kRanking + "<ranking>c</ranking>" + kOuter},
        Edit{"DeleteFromALeafList", kMerge, R"(<ranking nc:operation="delete">a</ranking>)",
             kFeature + kLeaves + "<ranking>b</ranking>" + kOuter},
        Edit{
            "MergeOfAnEntryKeepsTheRest", kMerge, kEntryStart + "<note>m</note></outer>",
            kFeature + kLeaves + kRanking + kEntryStart + "<note>m</note>" + kDetails + "</outer>"},
        Edit{"MergeAddsAnEntry", kMerge, "<outer><name>y</name><number>1</number></outer>",
             kFeature + kLeaves + kRanking + kOuter +
                 "<outer><name>y</name><number>1</number></outer>"},
        Edit{"ReplaceOfAnEntryRemovesTheRest", kMerge,
             R"(<outer nc:operation="replace"><name>x</name><number>1</number></outer>)",
             kFeature + kLeaves + kRanking + kEntryStart + "</outer>"},
        Edit{"DeleteOfAnEntry", kMerge,
             R"(<outer nc:operation="delete"><name>x</name><number>1</number></outer>)",
             kFeature + kLeaves + kRanking},
        Edit{"RemoveOfNoEntry", kMerge,
             R"(<outer nc:operation="remove"><name>x</name><number>2</number></outer>)",
             kFeature + kLeaves + kRanking + kOuter},
        Edit{"NestedOperations", kNone,
             kEntryStart + R"(<note nc:operation="delete"/><details>)"
                           R"(<inner nc:operation="create"><id>j</id><value>6</value></inner>)"
                           R"(<inner nc:operation="remove"><id>i</id></inner></details></outer>)",
             kFeature + kLeaves + kRanking + kEntryStart +
                 "<details><inner><id>j</id><value>6</value></inner></details></outer>"}),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfContainers, Edits,
    ::testing::Values(Edit{"DeleteWithAllBelow", kMerge, R"(<feature nc:operation="delete"/>)",
                           kLeaves + kRanking + kOuter},
                      Edit{"ReplaceRemovesTheRest", kMerge, R"(<feature nc:operation="replace"/>)",
                           "<feature/>" + kLeaves + kRanking + kOuter},
                      Edit{"ReplaceByDefaultAppliesBelow", EditOperation::kReplace,
                           "<wide>7</wide>", "<wide>7</wide>"},
                      Edit{"DeleteOfALeafInOne", kMerge,
                           R"(<feature><level nc:operation="delete"/></feature>)",
                           "<feature/>" + kLeaves + kRanking + kOuter}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(EditTest, ADefaultValueIsNotThereForCreateAndDelete) {
  host::Tree tree = Before(R"({"shapes:shapes": {"feature": {}}})");
  EXPECT_THROW(Apply(R"(<feature><level nc:operation="delete"/></feature>)", kMerge, &tree),
               host::RpcError);
  Apply(R"(<feature><level nc:operation="create">3</level></feature>)", kMerge, &tree);
  EXPECT_EQ(Xml(tree), Shapes("<feature><level>3</level></feature>"));
}

TEST_F(EditTest, TheFirstTopElementCanBeDeleted) {
  host::Tree tree = Before();
  const Content content = Content::OfConfig(
      NetconfShapeModels(), R"(<shapes xmlns="urn:snmp-app:test:shapes" nc:operation="delete"/>)");
  host::ApplyEdit(NetconfShapeModels().Context(), content.Nodes(), kMerge, &tree);
  EXPECT_EQ(Xml(tree), "");
}

TEST_F(EditTest, AnEmptyEditChangesNothing) {
  host::Tree tree = Before();
  const std::string before = Xml(tree);
  host::ApplyEdit(NetconfShapeModels().Context(), nullptr, kMerge, &tree);
  EXPECT_EQ(Xml(tree), before);
}

TEST_F(EditTest, AnotherCaseTakesThePlace) {
  host::Tree tree = Before(R"({"shapes:shapes": {"left": "l"}})");
  Apply("<right>r</right>", kMerge, &tree);
  Validate(&tree);
  EXPECT_EQ(Xml(tree), Shapes("<right>r</right>"));
}

}  // namespace
}  // namespace host::test
