#include "rules/kernel_switch.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace host {
namespace {

class KernelSwitchTest : public ::testing::Test {
 protected:
  KernelSwitchTest() { ::close(::mkstemp(path_.data())); }
  ~KernelSwitchTest() override { ::unlink(path_.c_str()); }

  void Write(const std::string& value) const { std::ofstream(path_) << value << '\n'; }

  std::string Read() const {
    std::string value;
    std::ifstream(path_) >> value;
    return value;
  }

  std::string path_ = "/tmp/kernel_switch_test.XXXXXX";
};

TEST_F(KernelSwitchTest, TurnsOnAndPutsBack) {
  Write("0");
  {
    KernelSwitch setting(path_);
    EXPECT_EQ(Read(), "0");
    setting.TurnOn();
    EXPECT_EQ(Read(), "1");
  }
  EXPECT_EQ(Read(), "0");
}

TEST_F(KernelSwitchTest, LeavesOnWhatWasOn) {
  Write("1");
  { KernelSwitch(path_).TurnOn(); }
  EXPECT_EQ(Read(), "1");
}

TEST_F(KernelSwitchTest, IsOffAsLongAsTheSettingSaysSo) {
  Write("0");
  const KernelSwitch setting(path_);
  EXPECT_TRUE(setting.IsOff());
  Write("1");
  EXPECT_FALSE(setting.IsOff());
  ::unlink(path_.c_str());
  EXPECT_FALSE(setting.IsOff()) << "not there";
}

TEST_F(KernelSwitchTest, AsksOnce) {
  Write("0");
  KernelSwitch setting(path_);
  setting.TurnOn();
  Write("0");
  setting.TurnOn();
  EXPECT_EQ(Read(), "0");
}

TEST_F(KernelSwitchTest, MakesNoSettingThatIsNotThere) {
  ::unlink(path_.c_str());
  { KernelSwitch(path_).TurnOn(); }
  EXPECT_NE(::access(path_.c_str(), F_OK), 0);
}

}  // namespace
}  // namespace host
