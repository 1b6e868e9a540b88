#include "runtime/folders.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <system_error>

namespace host {
namespace {

class FoldersTest : public testing::Test {
 protected:
  FoldersTest() {
    unsetenv("CONFIGURATION_DIRECTORY");
    unsetenv("STATE_DIRECTORY");
    unsetenv("RUNTIME_DIRECTORY");
    unsetenv("SNMP_APP_MODELS");
    unsetenv("SNMP_APP_STANDARD_MODELS");
  }
};

TEST_F(FoldersTest, UsualPlacesWithoutAServiceManager) {
  const Folders folders = Folders::OfProcess();
  EXPECT_EQ(folders.StartupFile(), "/etc/snmp-app/startup.json");
  EXPECT_EQ(folders.RunningFile(), "/var/lib/snmp-app/running.json");
  EXPECT_EQ(folders.NetconfSocket(), "/run/snmp-app/netconf.sock");
  EXPECT_EQ(folders.standard_models, "/usr/share/yuma/modules/ietf");
  EXPECT_NE(folders.models.find("/share/snmp-app/yang"), std::string::npos);
}

TEST_F(FoldersTest, NamesInAFolderAreInAlphabeticOrder) {
  char folder[] = "/tmp/snmp-app-folders-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string path = folder;
  for (const char* name : {"/b", "/a", "/c"}) std::ofstream(path + name) << name;
  EXPECT_EQ(NamesIn(path), (std::vector<std::string>{".", "..", "a", "b", "c"}));
  for (const char* name : {"/b", "/a", "/c"}) EXPECT_EQ(remove((path + name).c_str()), 0);
  EXPECT_EQ(remove(folder), 0);
  EXPECT_THROW(NamesIn(path), std::system_error);
}

TEST_F(FoldersTest, ServiceManagersVariablesDecide) {
  setenv("CONFIGURATION_DIRECTORY", "/a/etc", 1);
  setenv("STATE_DIRECTORY", "/a/lib:/b/lib", 1);
  setenv("RUNTIME_DIRECTORY", "/a/run", 1);
  setenv("SNMP_APP_MODELS", "/a/yang", 1);
  setenv("SNMP_APP_STANDARD_MODELS", "/a/ietf", 1);
  const Folders folders = Folders::OfProcess();
  EXPECT_EQ(folders.StartupFile(), "/a/etc/startup.json");
  EXPECT_EQ(folders.RunningFile(), "/a/lib/running.json");
  EXPECT_EQ(folders.models, "/a/yang");
  EXPECT_EQ(folders.NetconfSocket(), "/a/run/netconf.sock");
  EXPECT_EQ(folders.standard_models, "/a/ietf");
}

TEST_F(FoldersTest, EmptyVariableIsNone) {
  setenv("STATE_DIRECTORY", "", 1);
  EXPECT_EQ(Folders::OfProcess().state, "/var/lib/snmp-app");
}

}  // namespace
}  // namespace host
