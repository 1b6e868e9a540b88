// The application object: construction, run, HA role changes.

#include "application_test.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kStart[] = "snmp-app src/app/application Run 12 Initializing SNMP daemon.";

TEST_F(ApplicationTest, ConstructionInstallsContextThenCategoryThenHandlers) {
  EXPECT_THAT(
      ConstructionJournal(),
      ElementsAre("context new snmp-app", "context gone earlier", "category snmp-app",
                  "timer new snmp-app-timer 5000", "timer pause", "category snmp-app-agent",
                  "category snmp-app-dying-gasp", "category snmp-app-listen",
                  "data handler new 0100010", "category snmp-app-listen", "category snmp-app",
                  "log TargetVrfCfgHandler: Target subscription registered",
                  "category snmp-app-l3intf", "log IntfCfgHandler: Registered"));
}

TEST_F(ApplicationTest, HaTableHoldsTwoCallbacksAndThreeEmptySlots) {
  const vkos::Context::HaStateChangeCallbacks* table = device_.process.ha_callbacks;
  ASSERT_NE(nullptr, table);
  EXPECT_NE(nullptr, dynamic_cast<Application::GoActive*>(table->go_active));
  EXPECT_NE(nullptr, dynamic_cast<Application::GoStandby*>(table->go_standby));
  for (const vkos::Callback* reserved : table->reserved) EXPECT_EQ(nullptr, reserved);
  EXPECT_EQ(5 * sizeof(vkos::Callback*), sizeof *table);
}

TEST_F(ApplicationTest, SecondCallReturnsTheSameObjectAndCreatesNothing) {
  EXPECT_EQ(&application_, &Application::Instance());
  EXPECT_THAT(device_.journal, IsEmpty());
}

TEST_F(ApplicationTest, RunGoesThroughItsStepsInOrder) {
  device_.process.script = [this] { device_.Note("script"); };
  EXPECT_EQ(0, application_.Run());
  EXPECT_THAT(
      device_.journal,
      ElementsAre("log Run: Initializing SNMP daemon.", "context vkmw", "app new snmp-app",
                  "context server", "server run", "session open 1",
                  "log LoadInitialConfig: Loading SNMP agent configuration",
                  std::string("cdb_get ") + agent::kExtra, std::string("cdb_get ") + agent::kIp,
                  std::string("cdb_get ") + agent::kEnabled, "session close", "session open 1",
                  "log LoadInitialConfig: Loading SNMP listening configuration",
                  std::string("cdb_get ") + agent::kEnabled,
                  "cdb_num_instances /snmp/agent/listen/interface",
                  "log LoadInitialConfig: Getting 0 listening interface(s)", "session close",
                  "log ApplyCommitConfig: Applying new configuration for SNMP listening.",
                  "session open 1", "session close", "session open 1",
                  "log LoadInitialConfig: Loading SNMP target configuration",
                  "cdb_num_instances /SNMP_TARGET_MIB:SNMP-TARGET-MIB/snmpTargetAddrTable/"
                  "snmpTargetAddrEntry",
                  "session close", "log ApplyCommitConfig: Apply commit of SNMP configuration.",
                  "script", "app gone", "log Run: SNMP daemon has finished!"));
}

TEST_F(ApplicationTest, RunLogsItsStartAndEnd) {
  EXPECT_EQ(0, application_.Run());
  EXPECT_EQ(kStart, LogLines().front());
  EXPECT_EQ(kEnd, LogLines().back());
  EXPECT_THAT(device_.middleware.faults, IsEmpty());
}

TEST_F(ApplicationTest, RunHandsItsRecordsToTheFramework) {
  application_.Run();
  ASSERT_EQ(1U, device_.framework.registrations.size());
  EXPECT_EQ(vkos::the_context->GetVkmw(), LastRegistration().vkmw);
  EXPECT_EQ("snmp-app", LastRegistration().log_category->name);
  EXPECT_EQ("snmp-app", LastRegistration().name);
  EXPECT_EQ(2, static_cast<int>(LastRegistration().phase));
  EXPECT_EQ(0, LastRegistration().argument);
}

TEST_F(ApplicationTest, RunHandsItsHandlersToTheFrameworkInOrder) {
  application_.Run();
  const fake::Registration& registration = LastRegistration();
  ASSERT_EQ(4U, registration.config_handlers.size());
  EXPECT_NE(nullptr, dynamic_cast<SnmpAgentCfgHandler*>(registration.config_handlers[0]));
  EXPECT_NE(nullptr, dynamic_cast<SnmpListenCfgHandler*>(registration.config_handlers[1]));
  EXPECT_NE(nullptr, dynamic_cast<IntfCfgHandler*>(registration.config_handlers[2]));
  EXPECT_NE(nullptr, dynamic_cast<TargetVrfCfgHandler*>(registration.config_handlers[3]));
  EXPECT_THAT(registration.action_handlers, IsEmpty());
  ASSERT_EQ(1U, registration.data_handlers.size());
  EXPECT_NE(nullptr, dynamic_cast<SnmpListenDataHandler*>(registration.data_handlers[0]));
}

TEST_F(ApplicationTest, DyingGaspHandlerIsNotTheFrameworks) {
  application_.Run();
  const fake::Registration& registration = LastRegistration();
  for (vkconfd::ConfigHandler* handler : registration.config_handlers) {
    EXPECT_EQ(nullptr, dynamic_cast<DyingGaspTrapCfgHandler*>(handler));
  }
}

TEST_F(ApplicationTest, RunCanBeCalledAgain) {
  EXPECT_EQ(0, application_.Run());
  EXPECT_EQ(0, application_.Run());
  EXPECT_EQ(2U, device_.Events("app gone").size());
}

TEST_F(ApplicationTest, GoingActiveIsLogged) {
  EXPECT_TRUE(device_.process.GoActive());
  EXPECT_THAT(LogLines(),
              ElementsAre("snmp-app include/app/application Execute 12 SNMP daemon going Active."));
}

TEST_F(ApplicationTest, GoingStandbyIsLogged) {
  EXPECT_TRUE(device_.process.GoStandby());
  EXPECT_THAT(LogLines(), ElementsAre("snmp-app include/app/application Execute 12 "
                                      "SNMP daemon going Standby."));
}

TEST_F(ApplicationTest, RoleChangesDoNotTouchAHandler) {
  device_.confd.running.Set(agent::kEnabled, common::MakeBool(true));
  device_.process.script = [this] {
    ASSERT_EQ(1, device_.clock.Running()) << "no retry is pending";
    device_.journal.clear();
    device_.process.GoStandby();
    device_.process.GoActive();
    EXPECT_THAT(device_.journal, ElementsAre("log Execute: SNMP daemon going Standby.",
                                             "log Execute: SNMP daemon going Active."));
    EXPECT_EQ(1, device_.clock.Running());
    device_.confd.running.Set(agent::kEnabled, common::MakeBool(false));
    device_.clock.Advance(5000);
    EXPECT_EQ(1U, device_.Events("session open").size()) << "the retry did not come";
  };
  EXPECT_EQ(0, application_.Run());
}

TEST_F(ApplicationTest, CommitReachesTheHandlersWhileTheServerRuns) {
  device_.process.script = [this] {
    device_.journal.clear();
    device_.framework.Commit(
        [](fake::Database& edit) { edit.Set(agent::kEnabled, common::MakeBool(false)); });
    EXPECT_THAT(
        device_.journal,
        ElementsAre("log StartCommit: Starting commit of SNMP agent configuration.",
                    "log HandleCfg: Called kp /confdConfig/snmpAgent/enabled, op 4",
                    "log HandleCfg: New value: false",
                    "log StartCommit: Starting commit of configuration for SNMP listening.",
                    "log HandleCfg: Called kp /confdConfig/snmpAgent/enabled, op 4",
                    "log HandleCfg: New value: false",
                    "log ApplyCommitConfig: Applying new configuration for SNMP listening.",
                    "log StartCommit: Starting commit of L3 interface.",
                    "log HandleCfg: Called kp /confdConfig/snmpAgent/enabled, op 4",
                    "log HandleCfg: Not modify",
                    "log ApplyCommitConfig: Applying new configuration of L3 interface.",
                    "log ApplyCommitConfig: Applying new configuration for SNMP listening."));
  };
  EXPECT_EQ(0, application_.Run());
}

/// Tests that need a process in which no application was constructed yet.
class ApplicationProcessDeathTest : public ::testing::Test {
 protected:
  ApplicationProcessDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  /// Prints the journal's lines when the process ends, after the application is gone.
  static void PrintJournalAtExit() {
    fake::Device::Instance();
    atexit([] {
      for (const std::string& event : fake::Device::Instance().journal) {
        fprintf(stderr, "%s\n", event.c_str());
      }
    });
  }

  static void RunAsTheProgram() {
    PrintJournalAtExit();
    exit(Application::Instance().Run());
  }

  /// As in main(), nothing catches what the construction throws.
  static void ConstructWithoutMiddleware() noexcept {
    fake::Device::Instance().confd.RefuseNext("context new", CONFD_ERR_EXTERNAL, "no middleware");
    Application::Instance();
  }
};

TEST_F(ApplicationProcessDeathTest, HandlersAreReleasedAtExitAfterTheRun) {
  EXPECT_EXIT(RunAsTheProgram(), ::testing::ExitedWithCode(0),
              HasSubstr("log Run: SNMP daemon has finished!\ntimer gone\n"));
}

TEST_F(ApplicationProcessDeathTest, ExceptionOfTheConstructionEndsTheProcess) {
  EXPECT_EXIT(ConstructWithoutMiddleware(), ::testing::KilledBySignal(SIGABRT),
              HasSubstr("no middleware"));
}

}  // namespace
