// The two macros that write records and faults, and the texts of ConfD values in them.

#include "app/trace.h"

#include <cerrno>
#include <type_traits>

#include "app/confd_text.h"
#include "confd/value_text.h"
#include "delivery/change.h"
#include "device_test.h"
#include "key_path.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <size_t N>
std::string PathText(const char (&file)[N]) {
  const auto path = app::SourcePath(file);
  return {path.data(), app::TextLength(path)};
}

TEST(SourcePathTest, EndsBeforeTheExtension) {
  EXPECT_EQ("src/app/application", PathText("src/app/application.cpp"));
  EXPECT_EQ("include/app/application", PathText("include/app/application.h"));
}

TEST(SourcePathTest, OnlyTheLastDotCounts) { EXPECT_EQ("v1.2/a.b", PathText("v1.2/a.b.cpp")); }

TEST(SourcePathTest, WithoutExtensionIsWhole) {
  EXPECT_EQ("src/app/unit", PathText("src/app/unit"));
  EXPECT_EQ("", PathText(""));
}

TEST(SourcePathTest, IsKnownWhenCompiling) {
  constexpr auto kPath = app::SourcePath("a/b.cpp");
  static_assert(app::TextLength(kPath) == 3, "not a constant");
  EXPECT_STREQ("a/b", kPath.data());
}

class TraceTest : public DeviceTest {
 protected:
  zlog_category_s* category_ = vkmw_trace_register_category("test");
};

TEST_F(TraceTest, RecordCarriesThePlaceOfUse) {
  const long line = __LINE__ + 1;
  APP_LOG(category_, app::kProgress, "%s is %d", "answer", 42);
  ASSERT_EQ(1U, device_.log.records.size());
  const fake::LogRecord& record = device_.log.records[0];
  EXPECT_EQ("test", record.category);
  EXPECT_EQ("tests/unit/trace_test", record.file);
  EXPECT_EQ("TestBody", record.function);
  EXPECT_EQ(line, record.line);
  EXPECT_EQ(11, record.level);
  EXPECT_EQ("answer is 42", record.text);
}

TEST_F(TraceTest, LevelsHaveTheirNumbers) {
  EXPECT_EQ(10, app::kDetail);
  EXPECT_EQ(11, app::kProgress);
  EXPECT_EQ(12, app::kNotice);
}

TEST_F(TraceTest, LevelThatIsOffIsNotWritten) {
  device_.log.threshold = 12;
  APP_LOG(category_, app::kProgress, "off");
  APP_LOG(category_, app::kNotice, "on");
  EXPECT_THAT(LogLines(), ElementsAre("test tests/unit/trace_test TestBody 12 on"));
}

TEST_F(TraceTest, LogKeepsErrno) {
  errno = EADDRINUSE;
  APP_LOG(category_, app::kNotice, "%s", std::string(100000, 'a').c_str());
  EXPECT_EQ(EADDRINUSE, errno);
}

TEST_F(TraceTest, LogIsOneStatement) {
  if (category_ == nullptr)
    APP_LOG(category_, app::kNotice, "no");
  else
    APP_LOG(category_, app::kNotice, "yes");
  EXPECT_THAT(LogLines(), ElementsAre("test tests/unit/trace_test TestBody 12 yes"));
}

TEST_F(TraceTest, FaultCarriesThePlaceOfUseAndTheGivenFunctionAndLine) {
  APP_FAULT_FROM("Function", 1, 72, "%s failed", "it");
  ASSERT_EQ(1U, device_.middleware.faults.size());
  const fake::Fault& fault = device_.middleware.faults[0];
  EXPECT_EQ(1, fault.code);
  EXPECT_EQ("Function", fault.function);
  EXPECT_EQ("tests/unit/trace_test", fault.file);
  EXPECT_EQ(72, fault.line);
  EXPECT_EQ("it failed", fault.text);
}

TEST_F(TraceTest, FaultTextHas299Characters) {
  const std::string text(400, 'f');
  APP_FAULT_FROM("Function", 0, 1, "%s", text.c_str());
  APP_FAULT_FROM("Function", 0, 1, "%s", text.substr(0, 299).c_str());
  APP_FAULT_FROM("Function", 0, 1, "%s", text.substr(0, 298).c_str());
  ASSERT_EQ(3U, device_.middleware.faults.size());
  EXPECT_EQ(299U, device_.middleware.faults[0].text.size());
  EXPECT_EQ(299U, device_.middleware.faults[1].text.size());
  EXPECT_EQ(298U, device_.middleware.faults[2].text.size());
}

class ConfdTextTest : public TraceTest {};

TEST_F(ConfdTextTest, KeyPathIsCutTo127Characters) {
  const common::OwnedValue key(common::MakeBuf(std::string(200, 'k')));
  confd_hkeypath_t kp = EntryPath({"list"}, key.Value());
  EXPECT_EQ("/list{" + std::string(121, 'k'), app::KeyPathText(&kp).c_str());
}

TEST_F(ConfdTextTest, ValueIsCutTo8191Characters) {
  const common::OwnedValue value(common::MakeBuf(std::string(9000, 'v')));
  EXPECT_EQ(std::string(8191, 'v'), app::ValueText(&value.Value()).c_str());
}

TEST_F(ConfdTextTest, WhatCannotBePrintedIsEmpty) {
  const confd_value_t none = {C_NOEXISTS, {}};
  confd_hkeypath_t kp = {};
  AddLevel(&kp, common::MakeTag(0xFFFFFFFF, 0));
  EXPECT_STREQ("", app::ValueText(&none).c_str());
  EXPECT_STREQ("", app::KeyPathText(&kp).c_str());
}

TEST_F(ConfdTextTest, ValueIsLoggedAtDetailLevel) {
  const confd_value_t value = common::MakeUint16(161);
  APP_LOG_VALUE(category_, "Port: %s", &value);
  EXPECT_THAT(LogLines(), ElementsAre("test tests/unit/trace_test TestBody 10 Port: 161"));
  EXPECT_EQ(1, device_.confd.printed_values);
}

TEST_F(ConfdTextTest, ValueIsNotPrintedWhenDetailIsOff) {
  device_.log.threshold = 11;
  const confd_value_t value = common::MakeUint16(161);
  APP_LOG_VALUE(category_, "Port: %s", &value);
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(0, device_.confd.printed_values);
}

TEST_F(ConfdTextTest, GuardFreesItsValue) {
  confd_value_t value = common::MakeBuf("text");
  { const app::ValueGuard guard(&value); }
  EXPECT_EQ(C_NOEXISTS, value.type);
  static_assert(!std::is_copy_constructible_v<app::ValueGuard>, "two would free one value");
}

}  // namespace
