// Which rights a change of a datastore needs (RFC 8341, sections 3.2.5 to 3.2.8).
#include "netconf/access_changes.h"

#include <gtest/gtest.h>

#include <string>

#include "access_support.h"
#include "config/tree.h"

namespace host::test {
namespace {

struct ChangeCase {
  std::string name;
  std::string before;
  std::string after;
  std::string right;  ///< The one that is needed, empty for none.
  std::string path;   ///< Where it is needed.
};

void PrintTo(const ChangeCase& c, std::ostream* out) { *out << c.before << " -> " << c.after; }

class ChangeCases : public NetconfTest, public ::testing::WithParamInterface<ChangeCase> {
 protected:
  static host::Tree TreeOf(const std::string& json) {
    ly_ctx* context = OrderModels().Context();
    host::Tree tree = host::ParseTree(context, json);
    host::AddDefaults(context, &tree);
    return tree;
  }

  /// The path that is refused to who has all rights of these names, empty when none is.
  static std::string Refused(const std::string& rights) {
    const host::Tree nacm = TreeOf(NacmJson(
        RuleListJson("a", RuleJson(R"("access-operations": ")" + rights + R"(", )", "permit"))));
    const host::AccessPolicy policy = host::PolicyOf(OrderModels(), nacm.get());
    const host::Peer peer{"alice", {"a"}, false};
    const host::Access access(policy, peer);
    try {
      host::RequireChanges(access, TreeOf(GetParam().before).get(), TreeOf(GetParam().after).get());
    } catch (const host::AccessDenied& denied) {
      EXPECT_EQ(denied.Tag(), "access-denied");
      return denied.Path();
    }
    return "";
  }
};

TEST_P(ChangeCases, NeedARight) {
  const ChangeCase& c = GetParam();
  EXPECT_EQ(Refused("read exec"), c.path);
  EXPECT_EQ(Refused("create update delete"), "");
  for (const std::string right : {"create", "update", "delete"}) {
    if (c.right.empty()) continue;
    EXPECT_EQ(Refused(right).empty(), right == c.right) << right;
  }
}

const std::string kTwo =
    R"({"orders:line": [{"name": "a", "number": 1}, {"name": "b", "number": 1}]})";

INSTANTIATE_TEST_SUITE_P(
    Each, ChangeCases,
    ::testing::Values(
        ChangeCase{"Nothing", kTwo, kTwo, "", ""},
        ChangeCase{"ANewEntry", "{}", kTwo, "create", "/orders:line[name='a'][number='1']"},
        ChangeCase{"AnEntryThatGoes", kTwo, "{}", "delete", "/orders:line[name='a'][number='1']"},
        ChangeCase{"AnEntryThatMoves", kTwo,
                   R"({"orders:line": [{"name": "b", "number": 1}, {"name": "a", "number": 1}]})",
                   "update", "/orders:line[name='b'][number='1']"},
        ChangeCase{"ALeaf", R"({"harbour:harbour": {"name": "x"}})",
                   R"({"harbour:harbour": {"name": "y"}})", "update", "/harbour:harbour/name"},
        ChangeCase{"ANewLeafInWhatIsAlwaysThere", "{}", R"({"harbour:harbour": {"name": "y"}})",
                   "create", "/harbour:harbour/name"},
        ChangeCase{"ALeafThatGoes", R"({"harbour:harbour": {"name": "x"}})", "{}", "delete",
                   "/harbour:harbour/name"},
        ChangeCase{"AValueOfALeafList", R"({"orders:word": [1]})", R"({"orders:word": [1, 2]})",
                   "create", "/orders:word[.='2']"},
        ChangeCase{"ADefaultThatIsSet", "{}", R"({"ietf-netconf-acm:nacm": {"enable-nacm": true}})",
                   "create", "/ietf-netconf-acm:nacm/enable-nacm"},
        ChangeCase{"ADefaultThatComesBack", R"({"ietf-netconf-acm:nacm": {"enable-nacm": false}})",
                   "{}", "delete", "/ietf-netconf-acm:nacm/enable-nacm"},
        ChangeCase{"AnotherCaseOfAChoice", R"({"orders:road": "west", "orders:car": "red"})",
                   R"({"orders:ship": {"name": "n"}})", "create", "/orders:ship/name"}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace host::test
