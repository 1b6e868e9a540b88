// Lists in the operator's order, and the cases of choices.
#include <gmock/gmock.h>

#include <string>

#include "config/engine.h"
#include "netconf/edit.h"
#include "netconf/rpc_error.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {
namespace {

using host::EditOperation;
using ::testing::HasSubstr;

const host::Schema& Models() {
  static const host::Schema models(NETCONF_MODELS, kStandardFolder);
  return models;
}

const std::string kNamespace = R"( xmlns="urn:snmp-app:test:orders")";

std::string Word(const std::string& value, const std::string& attributes = "") {
  return "<word" + kNamespace + attributes + ">" + value + "</word>";
}

std::string Insert(const std::string& place, const std::string& anchor = "") {
  return " yang:insert=\"" + place + "\"" + (anchor.empty() ? "" : " " + anchor);
}

std::string Line(const std::string& name, const std::string& attributes = "",
                 const std::string& more = "") {
  return "<line" + kNamespace + attributes + "><name>" + name + "</name><number>1</number>" + more +
         "</line>";
}

std::string Key(const std::string& keys) {
  return "xmlns:o=\"urn:snmp-app:test:orders\" yang:key=\"" + keys + "\"";
}

std::string KeyOf(const std::string& name) { return Key("[o:name='" + name + "'][o:number='1']"); }

class OrderTest : public NetconfTest {
 protected:
  static host::Tree Before() {
    return Read(Models(), R"({"orders:word": [1, 2, 3], "orders:line": [)"
                          R"({"name": "a", "number": 1, "note": "n"}, {"name": "b", "number": 1},)"
                          R"({"name": "c", "number": 1}]})");
  }

  static void Apply(const std::string& edit, host::Tree* tree) {
    const Content content = Content::OfConfig(Models(), edit);
    host::ApplyEdit(Models().Context(), content.Nodes(), EditOperation::kMerge, tree);
  }

  /// The values and the names of lines as they stand in the tree, a blank behind each.
  static std::string Order(const host::Tree& tree) {
    std::string words;
    std::string lines;
    for (const lyd_node* node = tree.get(); node != nullptr; node = node->next) {
      const std::string name = node->schema->name;
      if (name == "word") words += lyd_get_value(node) + std::string(" ");
      if (name == "line") lines += lyd_get_value(lyd_child(node)) + std::string(" ");
    }
    return words + lines;
  }

  static host::RpcError RefusalOf(const std::string& edit) {
    host::Tree tree = Before();
    try {
      Apply(edit, &tree);
    } catch (const host::RpcError& error) {
      return error;
    }
    return {"", "", "nothing is refused"};
  }
};

struct Ordered {
  const char* name;
  std::string edit;
  const char* order;
};

void PrintTo(const Ordered& ordered, std::ostream* out) { *out << ordered.edit; }

class Orders : public OrderTest, public ::testing::WithParamInterface<Ordered> {};

TEST_P(Orders, IsTheOperators) {
  host::Tree tree = Before();
  Apply(GetParam().edit, &tree);
  EXPECT_EQ(Order(tree), GetParam().order);
  host::ValidateTree(Models().Context(), &tree);
  EXPECT_EQ(Order(tree), GetParam().order) << "after validation";
}

const std::string kReplace = R"( nc:operation="replace")";

INSTANTIATE_TEST_SUITE_P(
    OfValues, Orders,
    ::testing::Values(
        Ordered{"NewOnesAreLast", Word("4"), "1 2 3 4 a b c "},
        Ordered{"First", Word("4", Insert("first")), "4 1 2 3 a b c "},
        Ordered{"Last", Word("4", Insert("last")), "1 2 3 4 a b c "},
        Ordered{"Before", Word("4", Insert("before", R"(yang:value="2")")), "1 4 2 3 a b c "},
        Ordered{"After", Word("4", Insert("after", R"(yang:value="2")")), "1 2 4 3 a b c "},
        Ordered{"MovedToTheFirst", Word("3", Insert("first")), "3 1 2 a b c "},
        Ordered{"TheFirstMovedToTheLast", Word("1", Insert("last")), "2 3 1 a b c "},
        Ordered{"MovedBefore", Word("3", Insert("before", R"(yang:value="2")")), "1 3 2 a b c "},
        Ordered{"MovedByReplace", Word("1", kReplace + Insert("after", R"(yang:value="2")")),
                "2 1 3 a b c "},
        Ordered{"AtItself", Word("2", Insert("before", R"(yang:value="2")")), "1 2 3 a b c "},
        Ordered{"MergedStays", Word("1"), "1 2 3 a b c "},
        Ordered{"ReplacedStays", Word("1", kReplace), "1 2 3 a b c "},
        Ordered{"OneAfterTheOther",
                Word("4", Insert("first")) + Word("5", Insert("after", R"(yang:value="4")")),
                "4 5 1 2 3 a b c "}),
    [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfEntries, Orders,
    ::testing::Values(Ordered{"First", Line("d", Insert("first")), "1 2 3 d a b c "},
                      Ordered{"Last", Line("d", Insert("last")), "1 2 3 a b c d "},
                      Ordered{"Before", Line("d", Insert("before", KeyOf("a"))), "1 2 3 d a b c "},
                      Ordered{"After", Line("d", Insert("after", KeyOf("a"))), "1 2 3 a d b c "},
                      Ordered{"Moved", Line("c", Insert("before", KeyOf("b"))), "1 2 3 a c b "},
                      Ordered{"CreatedInPlace",
                              Line("d", R"( nc:operation="create")" + Insert("first")),
                              "1 2 3 d a b c "},
                      Ordered{"ReplacedStays", Line("a", kReplace), "1 2 3 a b c "},
                      Ordered{"KeysInAnyOrderWithBlanks",
                              Line("d", Insert("before", Key("[ o:number = '1' ][o:name = 'b']"))),
                              "1 2 3 a d b c "}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(OrderTest, AReplacedEntryHasNothingOfTheOldOne) {
  host::Tree tree = Before();
  Apply(Line("a", kReplace, "") + Line("b", kReplace, "<note>m</note>"), &tree);
  EXPECT_EQ(Order(tree), "1 2 3 a b c ");
  EXPECT_THAT(Xml(tree), HasSubstr(Line("a") + Line("b", "", "<note>m</note>") + Line("c")));
}

TEST_F(OrderTest, AColonInAKeysValueIsKept) {
  host::Tree tree = Before();
  Apply(Line("x:y") + Line("d", Insert("before", KeyOf("x:y"))), &tree);
  EXPECT_EQ(Order(tree), "1 2 3 a b c d x:y ");
}

struct RefusedPlace {
  const char* name;
  std::string edit;
  const char* tag;
  const char* path;
  const char* attribute;
  const char* app_tag;
};

void PrintTo(const RefusedPlace& refused, std::ostream* out) { *out << refused.edit; }

class RefusedPlaces : public OrderTest, public ::testing::WithParamInterface<RefusedPlace> {};

TEST_P(RefusedPlaces, TellWhy) {
  const host::RpcError error = RefusalOf(GetParam().edit);
  const std::string xml = error.Xml(Models().Context());
  EXPECT_EQ(error.Tag(), GetParam().tag) << error.what();
  EXPECT_EQ(error.Path(), GetParam().path);
  EXPECT_EQ(TextOf(xml, "bad-attribute"), GetParam().attribute);
  EXPECT_EQ(TextOf(xml, "error-app-tag"), GetParam().app_tag);
}

constexpr char kOfWord[] = "/orders:word[.='4']";
constexpr char kOfLine[] = "/orders:line[name='d'][number='1']";

INSTANTIATE_TEST_SUITE_P(
    Each, RefusedPlaces,
    ::testing::Values(RefusedPlace{"NoSuchValue", Word("4", Insert("before", R"(yang:value="9")")),
                                   "bad-attribute", kOfWord, "value", "missing-instance"},
                      RefusedPlace{"NoSuchEntry", Line("d", Insert("after", KeyOf("x"))),
                                   "bad-attribute", kOfLine, "key", "missing-instance"},
                      RefusedPlace{"ANewOneAtItself",
                                   Word("4", Insert("before", R"(yang:value="4")")),
                                   "bad-attribute", kOfWord, "value", "missing-instance"},
                      RefusedPlace{"NoValue", Word("4", Insert("before", R"(yang:value="x")")),
                                   "bad-attribute", kOfWord, "value", ""},
                      RefusedPlace{"NoKey", Line("d", Insert("after", Key("name"))),
                                   "bad-attribute", "", "key", ""},
                      RefusedPlace{"OneKeyOfTwo", Line("d", Insert("after", Key("[o:name='a']"))),
                                   "bad-attribute", kOfLine, "key", ""},
                      RefusedPlace{"AnchorNotTold", Word("4", Insert("after")), "missing-attribute",
                                   kOfWord, "value", ""},
                      RefusedPlace{"KeyNotTold", Line("d", Insert("before")), "missing-attribute",
                                   kOfLine, "key", ""},
                      RefusedPlace{"NoOrderOfTheOperators",
                                   "<road" + kNamespace + Insert("first") + ">r</road>",
                                   "unknown-attribute", "/orders:road", "insert", ""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(OrderTest, AnAnchorInAnEmptyListIsMissing) {
  host::Tree tree;
  EXPECT_THROW(Apply(Word("4", Insert("before", R"(yang:value="4")")), &tree), host::RpcError);
}

std::string Leaf(const std::string& name, const std::string& attributes = "") {
  return "<" + name + kNamespace + attributes + ">x</" + name + ">";
}

TEST_F(OrderTest, ALaterEditsCaseTakesThePlaceOfAnEarlierOnes) {
  host::Tree tree = Read(Models(), "{}");
  Apply(Leaf("car") + Leaf("road"), &tree);
  EXPECT_EQ(Xml(tree), Leaf("car") + Leaf("road"));
  Apply(Leaf("train"), &tree);
  EXPECT_EQ(Xml(tree), Leaf("train") + Leaf("road")) << "the outer case is the same";
  const std::string ship = "<ship" + kNamespace + "><name>s</name></ship>";
  Apply(ship, &tree);
  EXPECT_EQ(Xml(tree), ship);
  host::ValidateTree(Models().Context(), &tree);
  EXPECT_EQ(Xml(tree), ship) << "after validation";
}

TEST_F(OrderTest, TwoCasesInOneEditAreRefused) {
  const host::RpcError error = RefusalOf(Leaf("car") + Leaf("road") + Leaf("train"));
  EXPECT_EQ(error.Tag(), "bad-element");
  EXPECT_EQ(error.Path(), "/orders:train");
  EXPECT_THAT(error.what(), HasSubstr("train excludes car"));
  EXPECT_EQ(RefusalOf("<ship" + kNamespace + "/>" + Leaf("road")).Tag(), "bad-element");
}

TEST_F(OrderTest, OneCaseGoesAsTheOtherComes) {
  host::Tree tree = Read(Models(), R"({"orders:car": "x"})");
  Apply(Leaf("car", R"( nc:operation="delete")") + Leaf("train"), &tree);
  EXPECT_EQ(Xml(tree), Leaf("train"));
}

TEST_F(OrderTest, AKeysBadValueIsToldWithTheModelsReason) {
  const auto line = [](const std::string& keys) {
    return "<line" + kNamespace + ">" + keys + "</line>";
  };
  const host::RpcError range = RefusalOf(line("<name>d</name><number>10</number>"));
  EXPECT_EQ(range.Tag(), "invalid-value");
  EXPECT_EQ(range.Path(), "/orders:line/number");
  EXPECT_THAT(range.what(), HasSubstr("lines have the numbers 1 to 9"));
  EXPECT_THAT(range.Xml(Models().Context()), HasSubstr("<bad-element>number</bad-element>"));
  const host::RpcError missing = RefusalOf(line("<name>d</name>"));
  EXPECT_EQ(missing.Tag(), "missing-element");
  EXPECT_THAT(missing.Xml(Models().Context()), HasSubstr("<bad-element>number</bad-element>"));
  const host::RpcError twice =
      RefusalOf(line("<name>d</name><number>1</number><number>2</number>"));
  EXPECT_EQ(twice.Tag(), "bad-element");
}

}  // namespace
}  // namespace host::test
