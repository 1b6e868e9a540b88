// The cdb_ reads of whole elements on models with every shape: what is no leaf, lists, containers.
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>

#include "confd/error.h"
#include "confd/value_text.h"
#include "config/engine.h"
#include "runtime/process.h"
#include "support.h"
#include "vkconfd/cdb_session.h"

namespace host::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kOuter[] = "/shapes/outer";
constexpr char kShapes[] = R"({"shapes:shapes": {
  "small": 8, "wide": 4294967295, "signed": -2147483648, "right": "r", "ranking": ["z", "a"],
  "outer": [
    {"name": "a", "number": 1, "note": "first",
     "details": {"inner": [{"id": "x", "value": -5}, {"id": "y"}]}},
    {"name": "b", "number": 2},
    {"name": "c", "number": 3, "note": "third"}]}})";

class Connection : public VkConfdInterface {
 public:
  int MaapiSocket() override { return 0; }
};

class CdbShapesTest : public ::testing::Test {
 protected:
  CdbShapesTest() {
    for (confd_value_t& value : values_) value = common::MakeUint8(7);
    process_.engine = &engine_;
    common::ClearError();
    engine_.ReplaceByFile(folder_.Write("startup.json", kShapes));
    session_ = std::make_unique<VkConfdCdbSession>(&connection_, CDB_RUNNING, true);
  }
  ~CdbShapesTest() override {
    for (confd_value_t& value : values_) confd_free_value(&value);
    session_.reset();
  }

  int Socket() const { return session_->Socket(); }

  int GetObject(int n, const char* path) {
    return cdb_get_object(Socket(), values_.data(), n, "%s", path);
  }
  int GetObjects(int n, int ix, int nobj, const char* path = kOuter) {
    return cdb_get_objects(Socket(), values_.data(), n, ix, nobj, "%s", path);
  }

  static std::string Text(const confd_value_t& value) {
    return value.type == C_NOEXISTS ? "none" : common::ValueText(value);
  }

  /// The texts of the first values.
  std::vector<std::string> Texts(size_t count) const {
    std::vector<std::string> texts;
    for (size_t i = 0; i < count; ++i) texts.push_back(Text(values_.at(i)));
    return texts;
  }

  /// Expects that a read has failed so, with the path in its text, and touched no value.
  void ExpectRefused(int result, int code, const std::string& path) const {
    EXPECT_EQ(result, CONFD_ERR) << path;
    EXPECT_EQ(confd_errno, code) << path;
    EXPECT_THAT(confd_lasterr(), HasSubstr("path \"" + path + "\": "));
    EXPECT_THAT(Texts(values_.size()), Each("7")) << path;
    common::ClearError();
  }

  TestFolder folder_;
  Connection connection_;
  host::Process process_;
  host::Engine engine_{TEST_FOLDER "/models", folder_.Path("running.json"), nullptr};
  std::unique_ptr<VkConfdCdbSession> session_;
  std::array<confd_value_t, 12> values_ = {};
};

TEST_F(CdbShapesTest, ContainerHasItsLeavesInOrder) {
  EXPECT_GT(GetObject(6, "/shapes"), 6);
  EXPECT_THAT(Texts(7), ElementsAre("none", "8", "4294967295", "-2147483648", "none", "none", "7"));
}

TEST_F(CdbShapesTest, LeafListsAndListsAreAmongTheChildren) {
  const int children = GetObject(12, "/shapes");
  std::vector<std::string> found;
  for (const confd_value_t& value : values_) {
    if (value.type == C_LIST || value.type == C_XMLTAG) found.push_back(Text(value));
  }
  EXPECT_THAT(found, ElementsAre("[ z a ]", "outer"));
  EXPECT_EQ(Text(values_.at(static_cast<size_t>(children) - 1)), "outer") << "the last child";
}

TEST_F(CdbShapesTest, ContainerOfAnEntryIsAName) {
  EXPECT_EQ(GetObject(4, "/shapes/outer{a 1}"), 4);
  EXPECT_THAT(Texts(5), ElementsAre("a", "1", "first", "details", "7"));
  EXPECT_EQ(values_[3].type, C_XMLTAG);
  EXPECT_EQ(values_[3].val.xmltag.ns,
            engine_.Models().NamespaceHash(
                host::ParseModelPath(engine_.Models(), "/shapes/outer{a 1}/details").Element()));
}

TEST_F(CdbShapesTest, ListIsANameWhereItHasEntries) {
  EXPECT_EQ(GetObject(1, "/shapes/outer{a 1}/details"), 1);
  EXPECT_THAT(Texts(2), ElementsAre("inner", "7"));
  EXPECT_EQ(values_[0].type, C_XMLTAG);
  EXPECT_EQ(GetObject(1, "/shapes/outer{b 2}/details"), 1);
  EXPECT_THAT(Texts(2), ElementsAre("none", "7"));
}

TEST_F(CdbShapesTest, EntryBelowAnEntry) {
  EXPECT_EQ(GetObject(2, "/shapes/outer[0]/details/inner[0]"), 2);
  EXPECT_THAT(Texts(3), ElementsAre("x", "-5", "7"));
  confd_free_value(&values_[0]);
  EXPECT_EQ(
      cdb_get_objects(Socket(), values_.data(), 2, 0, 2, "%s{%s %d}/details/inner", kOuter, "a", 1),
      2);
  EXPECT_THAT(Texts(5), ElementsAre("x", "-5", "y", "none", "7"));
}

TEST_F(CdbShapesTest, FewerAndMoreValuesThanChildren) {
  EXPECT_EQ(GetObject(0, "/shapes/outer{a 1}"), 4);
  EXPECT_THAT(Texts(1), ElementsAre("7"));
  EXPECT_EQ(GetObject(2, "/shapes/outer{c 3}"), 4);
  EXPECT_THAT(Texts(3), ElementsAre("c", "3", "7"));
  confd_free_value(&values_[0]);
  EXPECT_EQ(GetObject(6, "/shapes/outer{b 2}"), 4);
  EXPECT_THAT(Texts(7), ElementsAre("b", "2", "none", "details", "none", "none", "7"));
}

TEST_F(CdbShapesTest, RangeOfAListBeginsAndEndsAnywhere) {
  EXPECT_EQ(GetObjects(3, 1, 2), 4);
  EXPECT_THAT(Texts(7), ElementsAre("b", "2", "none", "c", "3", "third", "7"));
}

TEST_F(CdbShapesTest, RangeBeyondTheEndLeavesItsValues) {
  EXPECT_EQ(GetObjects(2, 2, 4), 4);
  EXPECT_THAT(Texts(5), ElementsAre("c", "3", "7", "7", "7"));
}

TEST_F(CdbShapesTest, RangesAreReadInAnyOrder) {
  for (const char* name : {"c", "a", "b", "b"}) {
    confd_free_value(&values_[0]);
    EXPECT_EQ(GetObjects(1, name[0] - 'a', 1), 4);
    EXPECT_THAT(Texts(2), ElementsAre(name, "7"));
  }
}

TEST_F(CdbShapesTest, WhatIsNotThere) {
  ExpectRefused(GetObject(4, "/shapes/outer{a 2}"), CONFD_ERR_NOEXISTS, "/shapes/outer{a 2}");
  ExpectRefused(GetObject(4, "/shapes/outer[3]"), CONFD_ERR_NOEXISTS, "/shapes/outer[3]");
  ExpectRefused(GetObject(4, "/shapes/feature"), CONFD_ERR_NOEXISTS, "/shapes/feature");
  ExpectRefused(GetObject(4, "/shapes/outer{d 4}/details"), CONFD_ERR_NOEXISTS,
                "/shapes/outer{d 4}/details");
  ExpectRefused(GetObjects(1, 3, 1), CONFD_ERR_NOEXISTS, kOuter);
  ExpectRefused(GetObjects(1, 0, 1, "/shapes/outer{b 2}/details/inner"), CONFD_ERR_NOEXISTS,
                "/shapes/outer{b 2}/details/inner");
}

TEST_F(CdbShapesTest, WhatIsNoObject) {
  for (const char* path : {"/shapes/small", "/shapes/ranking", "/shapes/ranking{z}", kOuter,
                           "/shapes/typo", "/shapes/outer{a}", "shapes"}) {
    ExpectRefused(GetObject(4, path), CONFD_ERR_BADPATH, path);
  }
}

TEST_F(CdbShapesTest, WhatIsNoList) {
  for (const char* path : {"/shapes", "/shapes/small", "/shapes/outer{a 1}", "/shapes/typo", ""}) {
    ExpectRefused(GetObjects(1, 0, 1, path), CONFD_ERR_BADPATH, path);
  }
}

TEST_F(CdbShapesTest, NumbersWithSignAreOfTheirTypeOnly) {
  int32_t number = 0;
  EXPECT_EQ(cdb_get_int32(Socket(), &number, "/shapes/%s", "signed"), CONFD_OK);
  EXPECT_EQ(number, -2147483647 - 1);
  EXPECT_EQ(cdb_get_int32(Socket(), &number, "/shapes/outer{a 1}/details/inner{x}/value"),
            CONFD_OK);
  EXPECT_EQ(number, -5);
  ExpectRefused(cdb_get_int32(Socket(), &number, "/shapes/wide"), CONFD_ERR_BADTYPE,
                "/shapes/wide");
  ExpectRefused(cdb_get_int32(Socket(), &number, "/shapes/outer{a 1}/details/inner{y}/value"),
                CONFD_ERR_NOEXISTS, "/shapes/outer{a 1}/details/inner{y}/value");
  ExpectRefused(cdb_get_int32(Socket(), &number, "/shapes"), CONFD_ERR_BADPATH, "/shapes");
  EXPECT_EQ(number, -5);
}

TEST_F(CdbShapesTest, TextIsNoBytes) {
  unsigned char* bytes = nullptr;
  int size = 5;
  ExpectRefused(cdb_get_binary(Socket(), &bytes, &size, "/shapes/right"), CONFD_ERR_BADTYPE,
                "/shapes/right");
  ExpectRefused(cdb_get_binary(Socket(), &bytes, &size, "/shapes/left"), CONFD_ERR_NOEXISTS,
                "/shapes/left");
  EXPECT_EQ(bytes, nullptr);
  EXPECT_EQ(size, 5);
}

TEST_F(CdbShapesTest, NoSession) {
  const int socket = Socket();
  session_.reset();
  unsigned char* bytes = nullptr;
  int32_t number = 0;
  int size = 0;
  ExpectRefused(cdb_get_object(socket, values_.data(), 1, "/shapes"), CONFD_ERR_NOSESSION,
                "/shapes");
  ExpectRefused(cdb_get_objects(socket, values_.data(), 1, 0, 1, "%s", kOuter), CONFD_ERR_NOSESSION,
                kOuter);
  ExpectRefused(cdb_get_int32(socket, &number, "/shapes/signed"), CONFD_ERR_NOSESSION,
                "/shapes/signed");
  ExpectRefused(cdb_get_binary(socket, &bytes, &size, "/shapes/right"), CONFD_ERR_NOSESSION,
                "/shapes/right");
}

}  // namespace
}  // namespace host::test
