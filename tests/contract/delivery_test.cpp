#include <stdexcept>

#include "contract_test.h"

namespace contract {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kPortSet[] = "a set /confdConfig/snmpAgent/port = 1161";

class DeliveryTest : public ContractTest {
 protected:
  /// The base configuration with another port.
  static Configuration OtherPort() {
    Configuration configuration;
    configuration.port = 1161;
    return configuration;
  }

  RecordingHandler other_{"b", &journal_};
};

TEST_F(DeliveryTest, EveryHandlerLoadsAndAppliesAtStart) {
  platform_->Start({}, {&handler_, &other_}, {&idle_data_handler_});
  EXPECT_THAT(journal_, ElementsAre("a load", "a apply initial", "b load", "b apply initial"));
}

TEST_F(DeliveryTest, ExceptionWhileConnectingLeavesTheServer) {
  handler_.on_load = [](int) { throw std::runtime_error("cannot load"); };
  EXPECT_THROW(platform_->Start({}, {&handler_}, {&idle_data_handler_}), std::runtime_error);
}

TEST_F(DeliveryTest, ChangedLeafIsSet) {
  handler_.Follow(kPort, 1);
  Start({}, {&handler_});
  platform_->Commit(OtherPort());
  EXPECT_THAT(journal_, ElementsAre("a start", kPortSet, "a apply"));
}

TEST_F(DeliveryTest, OldValueComesWhenItIsWanted) {
  handler_.Follow(kPort, 1, ITER_WANT_PREV);
  Start({}, {&handler_});
  platform_->Commit(OtherPort());
  EXPECT_THAT(journal_, ElementsAre("a start", std::string(kPortSet) + " was 2161", "a apply"));
}

TEST_F(DeliveryTest, UntouchedHandlerIsNotCalled) {
  handler_.Follow(kPort, 1);
  other_.Follow(kIp, 1);
  Start({}, {&handler_, &other_});
  platform_->Commit(OtherPort());
  EXPECT_THAT(journal_, ElementsAre("a start", kPortSet, "a apply"));
}

TEST_F(DeliveryTest, CommitThatChangesNothingIsNotDelivered) {
  handler_.Follow(kPort, 1);
  Start({}, {&handler_});
  platform_->Commit({});
  EXPECT_THAT(journal_, IsEmpty());
}

TEST_F(DeliveryTest, PointsComeByPriorityAcrossHandlers) {
  handler_.Follow(kIp, 20);
  handler_.Follow(kPort, 10);
  other_.Follow(kEnabled, 15);
  other_.Follow(kPort, 10);
  Start({}, {&handler_, &other_});
  platform_->Commit({true, "127.0.0.2", 1161, {}, {}});
  EXPECT_THAT(journal_, ElementsAre("a start", kPortSet, "b start",
                                    "b set /confdConfig/snmpAgent/port = 1161",
                                    "b set /confdConfig/snmpAgent/enabled = true", "b apply",
                                    "a set /confdConfig/snmpAgent/ip = 127.0.0.2", "a apply"));
}

TEST_F(DeliveryTest, LeafListIsSetAsAWhole) {
  handler_.Follow(kExtra, 1);
  Start({false, "127.0.0.1", 161, {"10.0.0.1:161"}, {}}, {&handler_});
  platform_->Commit({false, "127.0.0.1", 161, {"10.0.0.1:161", "10.0.0.2:161"}, {}});
  EXPECT_THAT(
      journal_,
      ElementsAre("a start",
                  "a set /confdConfig/snmpAgent/extraIpPorts = [ 10.0.0.1:161 10.0.0.2:161 ]",
                  "a apply"));
}

TEST_F(DeliveryTest, LeafListThatLosesItsEntriesIsSetToAnEmptyOne) {
  handler_.Follow(kExtra, 1);
  Start({false, "127.0.0.1", 161, {"10.0.0.1:161"}, {}}, {&handler_});
  platform_->Commit({false, "127.0.0.1", 161, {}, {}});
  EXPECT_THAT(journal_,
              ElementsAre("a start", "a set /confdConfig/snmpAgent/extraIpPorts = [ ]", "a apply"));
}

TEST_F(DeliveryTest, KeyPathBeginsWithTheInnermostElement) {
  handler_.Follow(kPort, 1);
  Start({}, {&handler_});
  handler_.on_change = [](confd_hkeypath_t* kp) {
    EXPECT_EQ(kp->len, 3);
    EXPECT_EQ(CONFD_GET_XMLTAG(&kp->v[0][0]), 0x009E8010U) << "port";
    EXPECT_EQ(kp->v[0][1].type, C_NOEXISTS);
  };
  platform_->Commit(OtherPort());
  EXPECT_EQ(journal_.size(), 3U);
}

TEST_F(DeliveryTest, CreatedEntryIsFollowedByItsLeavesWhenAskedFor) {
  constexpr char kRow[] = "/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry{ops}";
  handler_.Follow(kCommunities, 1);
  handler_.next = ITER_RECURSE;
  handler_.on_change = [](confd_hkeypath_t* kp) {
    const bool is_entry = kp->v[0][0].type == C_BUF;
    EXPECT_EQ(kp->v[1][0].type, is_entry ? C_XMLTAG : C_BUF);
  };
  Start({}, {&handler_});
  platform_->Commit({false, "127.0.0.1", 2161, {}, {"ops"}});
  EXPECT_THAT(
      journal_,
      ElementsAre("a start", std::string("a created ") + kRow,
                  std::string("a set ") + kRow + "/snmpCommunityName = ops",
                  std::string("a set ") + kRow + "/snmpCommunitySecurityName = ops", "a apply"));
}

TEST_F(DeliveryTest, ContinueGoesOnBesideAndStopEnds) {
  const std::string row = "/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry";
  handler_.Follow(kCommunities, 1);
  Start({}, {&handler_});
  platform_->Commit({false, "127.0.0.1", 2161, {}, {"x", "y"}});
  EXPECT_THAT(journal_, ElementsAre("a start", "a created " + row + "{x}",
                                    "a created " + row + "{y}", "a apply"));
  journal_.clear();
  handler_.next = ITER_STOP;
  platform_->Commit({});
  EXPECT_THAT(journal_, ElementsAre("a start", "a deleted " + row + "{x}", "a apply"));
}

TEST_F(DeliveryTest, BothConfigurationsCanBeReadDuringDelivery) {
  std::string before;
  std::string now;
  handler_.Follow(kPort, 1);
  handler_.on_change = [&](confd_hkeypath_t*) {
    before = Read(CDB_PRE_COMMIT_RUNNING, kPort);
    now = Read(CDB_RUNNING, kPort);
  };
  Start({}, {&handler_});
  platform_->Commit(OtherPort());
  EXPECT_EQ(before, "2161");
  EXPECT_EQ(now, "1161");
}

TEST_F(DeliveryTest, ExceptionOfACallbackDoesNotStopTheDelivery) {
  handler_.Follow(kPort, 1);
  handler_.on_change = [](confd_hkeypath_t*) { throw std::invalid_argument("stoul"); };
  other_.Follow(kPort, 2);
  Start({}, {&handler_, &other_});
  platform_->Commit(OtherPort());
  EXPECT_THAT(journal_, ElementsAre("a start", kPortSet, "a apply", "b start",
                                    "b set /confdConfig/snmpAgent/port = 1161", "b apply"));
  EXPECT_THAT(platform_->FaultTexts(), ElementsAre(HasSubstr("stoul")));
}

TEST_F(DeliveryTest, HandlersAreTakenOffTheConnectionAtTheEnd) {
  Start({}, {&handler_});
  EXPECT_NE(handler_.Interface(), nullptr);
  platform_->Stop();
  EXPECT_EQ(handler_.Interface(), nullptr);
}

}  // namespace
}  // namespace contract
