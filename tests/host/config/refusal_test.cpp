// What a refusal tells of the place and the kind of what is wrong.
#include "config/refusal.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>

#include "confd_maapi.h"
#include "config/target_check.h"
#include "recorder.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

const host::Schema& Constraints() {
  static const host::Schema models(TEST_FOLDER "/constraints");
  return models;
}

/// The refusal that `step` throws; none when it throws none.
template <typename Step>
std::optional<host::Refusal> RefusalOf(Step step) {
  try {
    step();
  } catch (const host::Refusal& refusal) {
    return refusal;
  }
  return std::nullopt;
}

struct Violation {
  const char* name;
  std::string top;  ///< What stands in the container.
  const char* tag;
  const char* app_tag;
  const char* path;
  const char* text;
};

void PrintTo(const Violation& violation, std::ostream* out) { *out << violation.top; }

class Violations : public ::testing::TestWithParam<Violation> {};

TEST_P(Violations, AreToldWithTagsAndPath) {
  const std::string json = R"({"constraints:top": {)" + GetParam().top + "}}";
  const auto refusal = RefusalOf([&] { Read(Constraints(), json); });
  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->Tag(), GetParam().tag);
  EXPECT_EQ(refusal->AppTag(), GetParam().app_tag);
  EXPECT_EQ(refusal->Path(), GetParam().path);
  EXPECT_THAT(refusal->what(), HasSubstr(GetParam().text));
}

constexpr char kWhole[] =
    R"({"name": "whole", "left": "", "member": ["a", "b"], "part": [{"id": "p"}]})";

std::string Groups(const std::string& second) {
  return R"("group": [)" + std::string(kWhole) + ", " + second + "]";
}

std::string Row(const std::string& name, const std::string& rest) {
  return R"({"name": ")" + name + "\", " + rest + "}";
}

constexpr char kFailed[] = "operation-failed";
constexpr char kNeeded[] = R"("needed": "")";

INSTANTIATE_TEST_SUITE_P(
    Each, Violations,
    ::testing::Values(
        Violation{"Must", R"("limited": 5)", kFailed, "must-violation", "/constraints:top/limited",
                  "Must condition"},
        Violation{"MustWithATagOfItsOwn", R"("own-must": 5)", kFailed, "less-than-five",
                  "/constraints:top/own-must", "Must condition"},
        Violation{"PatternWithATagOfItsOwn", R"("pattern": "b")", kFailed, "only-a",
                  "/constraints:top/pattern", "it consists of the letter a"},
        Violation{"Range", R"("small": 6)", kFailed, "", "/constraints:top/small",
                  "expected 1 to 5"},
        Violation{"Reference", R"("reference": "\"it's\"")", "data-missing", "instance-required",
                  "/constraints:top/reference", "Invalid leafref value"},
        Violation{"When", R"("needs-limited": "")", kFailed, "", "/constraints:top/needs-limited",
                  "When condition"},
        Violation{"Unique",
                  R"("row": [)" + Row("a", R"("number": 1, "needed": "")") + ", " +
                      Row("it's", R"("number": 1, "needed": "")") + "]",
                  kFailed, "data-not-unique", R"(/constraints:top/row[name="it's"])", "Unique"},
        Violation{"TooMany",
                  R"("row": [)" + Row("a", kNeeded) + ", " + Row("b", kNeeded) + ", " +
                      Row("c", kNeeded) + ", " + Row("d", kNeeded) + "]",
                  kFailed, "too-many-elements", "/constraints:top/row[name='d']", "Too many"},
        Violation{"TwoEntriesOfOneKey",
                  R"("row": [)" + Row("a", kNeeded) + ", " + Row("a", kNeeded) + "]", kFailed, "",
                  "/constraints:top/row[name='a']", "Duplicate instance"},
        Violation{"MandatoryLeaf",
                  R"("row": [)" + Row("a", kNeeded) + ", " + Row("b", R"("number": 1)") + "]",
                  kFailed, "", "/constraints:top/row[name='b']",
                  "in /constraints:top/row[name='b']"},
        Violation{"MandatoryChoice",
                  Groups(R"({"name": "b", "member": ["a", "b"], "part": [{"id": "p"}]})"),
                  "data-missing", "missing-choice", "/constraints:top/group[name='b']",
                  "in /constraints:top/group[name='b']"},
        Violation{"TooFewValues",
                  Groups(R"({"name": "b", "left": "", "member": ["a"], "part": [{"id": "p"}]})"),
                  kFailed, "too-few-elements", "/constraints:top/group[name='b']/member",
                  "Too few"},
        Violation{"TooFewEntries", Groups(R"({"name": "b", "right": {}, "member": ["a", "b"]})"),
                  kFailed, "too-few-elements", "/constraints:top/group[name='b']/part", "Too few"},
        Violation{"UnknownElement", R"("absent": 1)", kFailed, "", "/constraints:top",
                  "unknown element 'absent'"}),
    [](const auto& test) { return std::string(test.param.name); });

class RefusalTest : public ::testing::Test {
 protected:
  TestFolder folder_;
  HookedEngine host_{folder_};

  std::optional<host::Refusal> CommitOf(const std::string& json) {
    return RefusalOf(
        [&] { host_.engine.Commit(host::ParseTree(host_.engine.Models().Context(), json)); });
  }
};

TEST_F(RefusalTest, AHooksIsAtTheElementThatItWasCalledFor) {
  host_.hooks.action = [](int, const host::HookCall& call) {
    return call.kind == host::HookKind::kSet ? CONFD_ERR : CONFD_OK;
  };
  const auto refusal = CommitOf(ListenJson({{"a1", 1}}));
  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->Tag(), kFailed);
  EXPECT_EQ(refusal->Path(), R"(/snmp:snmp/agent/listen/interface[name="a1"]/udp-port)");
  EXPECT_THAT(refusal->what(), HasSubstr("/udp-port: callpoint \"listen\" refuses the change"));
  host_.hooks.begin_result = CONFD_ERR;
  EXPECT_EQ(CommitOf(ListenJson({{"a1", 1}})).value().Path(), "");
}

TEST_F(RefusalTest, OfWhatHooksWroteIsAtThat) {
  host_.hooks.action = [](int handle, const host::HookCall& call) {
    return call.kind == host::HookKind::kCreated
               ? maapi_delete(1, handle, "%s/udp-port", ListenPath(NameOf(call)).c_str())
               : CONFD_OK;
  };
  EXPECT_EQ(CommitOf(ListenJson({{"a1", 1}})).value().Path(),
            "/snmp:snmp/agent/listen/interface[name='a1']");
}

TEST_F(RefusalTest, AnOperatorsWriteOfWhatIsTheSystemsIsAtTheLeaf) {
  const auto refusal = CommitOf(R"({"snmp:snmp": {"agent": {"listen": {"interface": )"
                                R"([{"name": "a1", "udp-port": 1, "redir-port": 61000}]}}}})");
  EXPECT_EQ(refusal.value().Path(), "/snmp:snmp/agent/listen/interface[name='a1']/redir-port");
  EXPECT_THAT(refusal->what(), HasSubstr("redir-port: only the system writes \"redir-port\""));
}

TEST_F(RefusalTest, ATargetWithoutARowIsToldAtTheTarget) {
  const auto refusal =
      CommitOf(R"({"snmp:snmp": {"target": [{"name": "t", "ip": "10.0.0.5", "udp-port": 162}]}})");
  EXPECT_EQ(refusal.value().Path(), "/snmp:snmp/target[name='t']");
  EXPECT_THAT(refusal->what(), HasSubstr("/snmp:snmp/target[name='t']: the target has no row"));
}

TEST_F(RefusalTest, AFilesTellsTheFileAndNothingElseThanBefore) {
  EXPECT_THAT([this] { host_.Replace(R"({"snmp:snmp": {"target": [{"name": "t"}]}})"); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  folder_.Path("startup.json") +
                  ": Mandatory node \"ip\" instance does not exist (Schema location "
                  "\"/snmp:snmp/target/ip\") in /snmp:snmp/target[name='t']"));
}

}  // namespace
}  // namespace host::test
