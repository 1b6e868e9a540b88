// Exceptions that escape the framework while the application runs.

#include <stdexcept>

#include "application_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// An exception from within the event loop.
class ApplicationFaultTest : public ApplicationTest {
 protected:
  /// Runs with a script that throws, and expects one fault of `line` and `text`.
  void ExpectFault(int line, const std::string& text) {
    EXPECT_EQ(0, application_.Run());
    ASSERT_EQ(1U, device_.middleware.faults.size());
    const fake::Fault& fault = device_.middleware.faults[0];
    EXPECT_EQ(0, fault.code);
    EXPECT_EQ("Run", fault.function);
    EXPECT_EQ("src/app/application", fault.file);
    EXPECT_EQ(line, fault.line);
    EXPECT_EQ(text, fault.text);
    ExpectEndAfterFault();
  }

  void ExpectEndAfterFault() const {
    EXPECT_EQ(1U, device_.Events("log Run: SNMP daemon has finished!").size());
    ASSERT_LE(3U, device_.journal.size());
    EXPECT_THAT(std::vector<std::string>(device_.journal.end() - 3, device_.journal.end()),
                ElementsAre("app gone", "fault 0 Run", "log Run: SNMP daemon has finished!"));
    EXPECT_EQ(kEnd, LogLines().back());
  }
};

TEST_F(ApplicationFaultTest, StandardException) {
  device_.process.script = [] { throw std::runtime_error("no loop"); };
  ExpectFault(69, "Exception caught!\n'no loop'\n");
}

TEST_F(ApplicationFaultTest, TextOfAStandardExceptionIsCutTo300Bytes) {
  const std::string reason(400, 'r');
  device_.process.script = [reason] { throw std::runtime_error(reason); };
  ExpectFault(69, ("Exception caught!\n'" + reason).substr(0, 299));
}

TEST_F(ApplicationFaultTest, TextThatJustFitsIsWhole) {
  const std::string reason(299 - std::string("Exception caught!\n''\n").size(), 'r');
  device_.process.script = [reason] { throw std::runtime_error(reason); };
  ExpectFault(69, "Exception caught!\n'" + reason + "'\n");
}

TEST_F(ApplicationFaultTest, PercentSignsOfTheReasonAreText) {
  device_.process.script = [] { throw std::runtime_error("100% %s%n"); };
  ExpectFault(69, "Exception caught!\n'100% %s%n'\n");
}

TEST_F(ApplicationFaultTest, OtherException) {
  device_.process.script = [] { throw 5; };
  ExpectFault(72, "Unknown exception error!\n");
}

TEST_F(ApplicationFaultTest, ExceptionOfAHandlerThatLoads) {
  device_.confd.running.Set(agent::kExtra, agent::List({"127.0.0.1:999999999999999999999999"}));
  ExpectFault(69, "Exception caught!\n'stoul'\n");
  EXPECT_EQ(device_.confd.opened_sessions, device_.confd.closed_sessions);
}

TEST_F(ApplicationFaultTest, FrameworkThatCannotBeMade) {
  device_.confd.RefuseNext("app new", CONFD_ERR_EXTERNAL, "no ConfD");
  EXPECT_EQ(0, application_.Run());
  ASSERT_EQ(1U, device_.middleware.faults.size());
  EXPECT_EQ(69, device_.middleware.faults[0].line);
  EXPECT_EQ("Exception caught!\n'no ConfD'\n", device_.middleware.faults[0].text);
  EXPECT_THAT(device_.Events("server run"), IsEmpty());
  EXPECT_EQ(kEnd, LogLines().back());
}

}  // namespace
