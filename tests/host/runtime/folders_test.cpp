#include "runtime/folders.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace host {
namespace {

class FoldersTest : public testing::Test {
 protected:
  FoldersTest() {
    unsetenv("CONFIGURATION_DIRECTORY");
    unsetenv("STATE_DIRECTORY");
    unsetenv("SNMP_APP_MODELS");
  }
};

TEST_F(FoldersTest, UsualPlacesWithoutAServiceManager) {
  const Folders folders = Folders::OfProcess();
  EXPECT_EQ(folders.StartupFile(), "/etc/snmp-app/startup.json");
  EXPECT_EQ(folders.RunningFile(), "/var/lib/snmp-app/running.json");
  EXPECT_NE(folders.models.find("/share/snmp-app/yang"), std::string::npos);
}

TEST_F(FoldersTest, ServiceManagersVariablesDecide) {
  setenv("CONFIGURATION_DIRECTORY", "/a/etc", 1);
  setenv("STATE_DIRECTORY", "/a/lib:/b/lib", 1);
  setenv("SNMP_APP_MODELS", "/a/yang", 1);
  const Folders folders = Folders::OfProcess();
  EXPECT_EQ(folders.StartupFile(), "/a/etc/startup.json");
  EXPECT_EQ(folders.RunningFile(), "/a/lib/running.json");
  EXPECT_EQ(folders.models, "/a/yang");
}

TEST_F(FoldersTest, EmptyVariableIsNone) {
  setenv("STATE_DIRECTORY", "", 1);
  EXPECT_EQ(Folders::OfProcess().state, "/var/lib/snmp-app");
}

}  // namespace
}  // namespace host
