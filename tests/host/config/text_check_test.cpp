// A text that is saved tells what the configuration is; pieces that are missing are noticed.
#include "config/text_check.h"

#include <gmock/gmock.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <random>

#include "config/engine.h"
#include "config/system_nodes.h"
#include "support.h"

namespace {

/// Counts down with the texts that libyang formats; the one at zero is not written.
int texts_until_failure = -1;

}  // namespace

// As the library's calls of vfprintf(3) are compiled.
extern "C" int __vfprintf_chk(FILE* file, int /*flag*/, const char* format, va_list arguments) {
  if (texts_until_failure >= 0 && texts_until_failure-- == 0) return -1;
  return vfprintf(file, format, arguments);
}

namespace host::test {
namespace {

/// A configuration with every shape of the models, and whatever JSON has to escape.
const char kShapes[] = R"({"shapes:shapes": {"feature": {}, "small": 7, "signed": -5,
  "huge": "18446744073709551615", "word": "low", "left": "a \"b\" \\ c/\t\r\nä€\u007f",
  "ranking": ["one", "", "two"],
  "outer": [{"name": "x", "number": 1, "note": "n", "details": {"inner": [
      {"id": "1", "value": 3}, {"id": "2"}]}},
    {"name": "y]}", "number": 2}]}})";

host::Tree Shapes() { return Read(ShapeModels(), kShapes); }

TEST(TextCheck, WhatIsPrintedTellsTheConfiguration) {
  const host::Tree tree = Shapes();
  EXPECT_TRUE(host::Tells(host::PrintTree(tree.get()), tree.get()));
  EXPECT_TRUE(host::Tells(kShapes, tree.get())) << "whatever the white space";
  EXPECT_TRUE(host::Tells("{}", Read(ShapeModels(), "{}").get()));
  EXPECT_TRUE(host::Tells("{}\n", nullptr));
}

TEST(TextCheck, MarksAndOtherModelsHaveTheirNames) {
  const std::string json =
      R"({"snmp:snmp": {"agent": {"listen": {"interface": [{"name": "l3-a", "udp-port": 161}]}}},)"
      R"("confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": true,)"
      R"("extraIpPorts": ["10.0.0.1:161", "10.0.0.2:161"]}}})";
  host::Tree tree = host::ParseTree(DeviceModels().Context(), json);
  lyd_node* marked = nullptr;
  for (const char* path : {"/confd_dyncfg:confdConfig/snmpAgent/enabled",
                           "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts[.='10.0.0.2:161']",
                           "/snmp:snmp/agent/listen/interface[name='l3-a']"}) {
    ASSERT_EQ(lyd_find_path(tree.get(), path, 0, &marked), LY_SUCCESS);
    host::MarkAsSystem(marked);
    EXPECT_TRUE(host::Tells(host::PrintTree(tree.get()), tree.get())) << path;
  }
  const std::string text = host::PrintTree(tree.get());
  ASSERT_THAT(text, ::testing::HasSubstr("\"@extraIpPorts\""));
  lyd_free_meta_siblings(marked->meta);
  EXPECT_FALSE(host::Tells(text, tree.get()));
}

/// Whether libyang itself takes the text for the same configuration.
bool IsSame(const std::string& text, const lyd_node* tree) {
  try {
    const host::Tree read = host::ParseTree(ShapeModels().Context(), text);
    return lyd_compare_siblings(read.get(), tree, LYD_COMPARE_FULL_RECURSION) == LY_SUCCESS;
  } catch (const std::runtime_error&) {
    return false;
  }
}

/// libyang takes more for the same than there is to be: other orders, missing empty containers.
TEST(TextCheck, EveryPieceThatIsMissingOrAnotherIsNoticed) {
  const host::Tree tree = host::ParseTree(ShapeModels().Context(), kShapes);
  const std::string text = host::PrintTree(tree.get());
  ASSERT_TRUE(IsSame(text, tree.get()));
  std::mt19937 random(20261122);
  int noticed = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string other = text;
    const size_t from = random() % text.size();
    if (random() % 2 == 0) {
      other.erase(from, 1 + random() % 40);
    } else {
      other[from] = "\",:{}[]0a\\ "[random() % 11];
    }
    const bool tells = host::Tells(other, tree.get());
    ASSERT_LE(tells, IsSame(other, tree.get())) << other;
    noticed += tells ? 0 : 1;
  }
  EXPECT_GT(noticed, 12000);
  for (size_t size = 0; size + 1 < text.size(); ++size) {
    ASSERT_FALSE(host::Tells(text.substr(0, size), tree.get())) << size;
    ASSERT_FALSE(host::Tells(text.substr(size + 1), tree.get()) && size > 0) << size;
  }
  EXPECT_FALSE(host::Tells(text + "}", tree.get()));
  EXPECT_FALSE(host::Tells(text + std::string(1, '\0'), tree.get()));
}

TEST(TextCheck, WhatIsNoEscapeIsNoText) {
  const host::Tree tree = Read(ShapeModels(), R"({"shapes:shapes": {"left": "ab"}})");
  const auto tells = [&tree](const std::string& value) {
    return host::Tells(R"({"shapes:shapes": {"left": ")" + value + R"("}})", tree.get());
  };
  EXPECT_TRUE(tells("ab"));
  EXPECT_TRUE(tells(R"(\u0061b)"));
  for (const char* value : {"a", "abc", R"(\u0061)", R"(\u61b)", R"(\u00e1b)", R"(a\b)", R"(a\x)",
                            R"(a\)", R"(\u)", "a\"b", ""}) {
    EXPECT_FALSE(tells(value)) << value;
  }
}

/// The printer reports success for each of these. Some of its texts are empty, and not missed.
TEST(TextCheck, EveryTextThatThePrinterDidNotWriteIsACommitThatIsRefused) {
  const TestFolder folder;
  std::string saved;
  host::Engine engine(
      TEST_FOLDER "/models", folder.Path("running.json"), nullptr, nullptr, "",
      [&saved](const std::string& text, const host::CommitRecord& /*record*/) { saved = text; });
  const std::string before = host::PrintTree(engine.Running().get());
  int refused = 0;
  bool has_failed = true;
  for (int number = 0; has_failed; ++number) {
    host::Tree candidate = host::ParseTree(engine.Models().Context(), kShapes);
    saved.clear();
    texts_until_failure = number;
    try {
      engine.Commit(std::move(candidate));
      has_failed = texts_until_failure < 0;
      texts_until_failure = -1;
      ASSERT_TRUE(host::Tells(saved, engine.Running().get())) << saved;
      engine.Commit(host::ParseTree(engine.Models().Context(), "{}"));
    } catch (const std::bad_alloc&) {
      ++refused;
      ASSERT_EQ(saved, "");
    }
    ASSERT_EQ(host::PrintTree(engine.Running().get()), before);
  }
  EXPECT_GT(refused, 50);
}

}  // namespace
}  // namespace host::test
