// Whole changes: transaction, hooks, commit and what every handler makes of it.

#include <algorithm>

#include "agent_test.h"
#include "app/intf_cfg.h"
#include "data_listen_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ListenTransactionTest : public DataListenTest {
 protected:
  ListenTransactionTest() {
    device_.confd.EndTransaction();
    running_.Set(agent::kEnabled, common::MakeBool(true));
    running_.Set(agent::kIp, common::MakeBuf("127.0.0.1"));
    running_.Set(agent::kPort, common::MakeUint16(agent::kPortNumber));
    running_.Set(agent::kExtra, common::MakeList({}));
    data::AddL3(running_, "eth1");
    device_.framework.Connect();
    ForgetRecords();
    device_.confd.rebinds.clear();
  }

  std::string RunningExtra() const {
    return common::ValueText(running_.Find(data::kExtra)->value.Value());
  }

  /// Expects that the journal has these lines, each behind the one before.
  void ExpectInOrder(const std::vector<std::string>& lines) const {
    auto from = device_.journal.begin();
    for (const std::string& line : lines) {
      from = std::find(from, device_.journal.end(), line);
      ASSERT_NE(device_.journal.end(), from) << line;
    }
  }

  static void Listen(fake::Database& edit) {
    listening::AddRow(edit, "l3-eth1");
    listening::SetPort(edit, "l3-eth1", "udp-port", 161);
  }

  SnmpAgentCfgHandler agent_handler_;
  IntfCfgHandler intf_handler_{handler_};
  vkconfd::AppInterface app_{
      nullptr,
      nullptr,
      "app",
      std::vector<vkconfd::ConfigHandler*>{&agent_handler_, handler_.get(), &intf_handler_},
      {},
      std::vector<vkconfd::DataHandler*>{&data_handler_},
      ELEM_CONFD_PHASE_2,
      0};
};

TEST_F(ListenTransactionTest, InterfaceInAVrfFromTheTransactionToTheRebind) {
  data::SetVrf(running_, "eth1");
  AddInterface("l3-eth1", 5, "veth1");
  ASSERT_TRUE(device_.framework.Transact(Listen));

  ExpectInOrder({data::Create("0.0.0.0:60600"),
                 "maapi_set_elem2 60600 /snmp/agent/listen/interface{l3-eth1}/redir-port",
                 "transaction finish", "log HandleCfg: Adding interface l3-eth1 to stash",
                 "log HandleCfg: Updating listening interface l3-eth1 with new port 161",
                 "rule add veth1 5 161 60600 2 2"});
  ExpectInOrder({"transaction finish", "log BindAgent: Trying to bind to 0.0.0.0:60600",
                 "maapi_rebind_listener 4"});

  EXPECT_EQ("[ 0.0.0.0:60600 ]", RunningExtra());
  const fake::Node* port = running_.Find("/snmp/agent/listen/interface{l3-eth1}/redir-port");
  ASSERT_NE(nullptr, port);
  EXPECT_EQ(60600, port->value.Value().val.u16);

  EXPECT_EQ(5U, Entry("l3-eth1").vrf);
  EXPECT_EQ("veth1", Entry("l3-eth1").kernel_name);
  EXPECT_EQ(161, Entry("l3-eth1").udp_port);
  EXPECT_EQ(60600, Entry("l3-eth1").redir_port);
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule add veth1 5 161 60600 2 2"));

  EXPECT_THAT(device_.Events("log BindAgent: Trying"),
              ElementsAre("log BindAgent: Trying to bind to 0.0.0.0:60600"));
  EXPECT_EQ(1U, device_.confd.rebinds.size());
  EXPECT_THAT(FaultLines(), IsEmpty());
  EXPECT_THAT(device_.Events("log SetElemCallback: Nothing"),
              ElementsAre("log SetElemCallback: Nothing to do with redirected UDP port for "
                          "interface l3-eth1"));
}

TEST_F(ListenTransactionTest, NewInterfaceWithoutVrfHasOneEntryForEachAddress) {
  data::SetIpv4(running_, "eth1", "127.0.0.1");
  ASSERT_TRUE(device_.framework.Transact(Listen));
  EXPECT_EQ("[ 127.0.0.1:161 ]", RunningExtra());
  EXPECT_THAT(Writes(), ElementsAre(data::Create("127.0.0.1:161"), data::Create("127.0.0.1:161")));
  EXPECT_EQ(1U, device_.Events("log AddExtraEntryIPv4: New").size());
  EXPECT_THAT(device_.rules.calls, IsEmpty());
}

TEST_F(ListenTransactionTest, ChangedPortMovesTheEntry) {
  data::SetIpv4(running_, "eth1", "10.0.0.1");
  ASSERT_TRUE(device_.framework.Transact(Listen));
  ASSERT_TRUE(device_.framework.Transact(
      [](fake::Database& edit) { listening::SetPort(edit, "l3-eth1", "udp-port", 1161); }));
  EXPECT_EQ("[ 10.0.0.1:1161 ]", RunningExtra());
}

TEST_F(ListenTransactionTest, DeletedInterfaceTakesEntryRuleAndPortAlong) {
  data::SetVrf(running_, "eth1");
  AddInterface("l3-eth1", 5, "veth1");
  ASSERT_TRUE(device_.framework.Transact(Listen));
  ForgetRecords();
  ASSERT_TRUE(device_.framework.Transact(
      [](fake::Database& edit) { edit.Delete("/snmp/agent/listen/interface{l3-eth1}"); }));
  EXPECT_EQ("[ ]", RunningExtra());
  EXPECT_THAT(device_.Events("rule"), ElementsAre("rule delete veth1 5 161 60600 2 2"));
  EXPECT_EQ(60600, handler_->AllocateRedirPort("l3-next"));
}

}  // namespace
