// Expressions that are too long for libyang, wherever they come from.
#include "config/expression_limit.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>

#include "rpc_fixture.h"

namespace host::test {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

/// Of so many bytes, most of which are tokens of their own.
std::string Expression(size_t size) {
  std::string text = "1";
  while (text.size() + 2 <= size) text += "+1";
  return text + std::string(size - text.size(), ' ');
}

std::string Get(const std::string& select) {
  return R"(<get><filter type="xpath" select=")" + select + R"("/></get>)";
}

class ExpressionLimit : public RpcTest {
 protected:
  void SetUp() override {
    RpcTest::SetUp();
    alarm(60);  // A parser that never comes back ends the test.
  }
  void TearDown() override { alarm(0); }
};

TEST_F(ExpressionLimit, ASelectBeyondItIsTooBig) {
  for (const size_t size : {host::kLongestExpression + 1, size_t{65603}, size_t{1000001}}) {
    const Reply reply = Ask(Get(Expression(size)));
    EXPECT_EQ(reply.tag, "too-big") << size;
    EXPECT_THAT(reply.message, HasSubstr("An expression has at most 16384 bytes"));
    EXPECT_FALSE(reply.closes);
  }
  // One of a number is read, and selects no nodes. A sanitizer's own memory counts as the search's.
  EXPECT_THAT(Ask(Get(Expression(host::kLongestExpression))).tag,
              AnyOf("invalid-value", "resource-denied"));
}

TEST_F(ExpressionLimit, ASelectThatIsNoFiltersIsNotRead) {
  const std::string attribute = " nc:select=\"" + Expression(65603) + "\"";
  for (const char* target : {"running", "candidate"}) {
    EXPECT_EQ(Edit("<confdConfig xmlns=\"urn:snmp-app:dyncfg\"" + attribute + "/>", target).tag,
              "unknown-attribute");
  }
  EXPECT_EQ(Config(), "");
}

TEST_F(ExpressionLimit, HoldsForFiles) {
  const TestFolder folder;
  const std::string path = folder.Write(
      "startup.json", R"({"confd_dyncfg:confdConfig": {"@": {"ietf-netconf:select": ")" +
                          Expression(65603) + R"("}, "snmpAgent": {"port": 1161}}})");
  EXPECT_THAT(
      [&] { Engine().ReplaceByFile(path); },
      ::testing::ThrowsMessage<std::exception>(HasSubstr("An expression has at most 16384 bytes")));
  EXPECT_EQ(Config(), "");
}

}  // namespace
}  // namespace host::test
