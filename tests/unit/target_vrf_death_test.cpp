// What ends the process: values of the wrong type, and an address that cannot be printed.

#include <cstdio>
#include <cstdlib>

#include "confd/error.h"
#include "target_vrf_test.h"

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

/// Prints the journal's last line but one, the number of back-traces and the faults when the
/// process ends.
void PrintEnd() {
  const fake::Device& device = fake::Device::Instance();
  fprintf(stderr, "%s, %s, back-traces: %d\n", device.journal[device.journal.size() - 2].c_str(),
          device.journal.back().c_str(), device.middleware.backtraces);
  for (const fake::Fault& fault : device.middleware.faults) {
    fprintf(stderr, "%s|\n", Line(fault).c_str());
  }
}

class TargetVrfDeathTest : public TargetVrfTest {
 protected:
  TargetVrfDeathTest() {
    target::Add(Running(), {"t1", "red", "10.0.0.5", 162});
    BeginCommit();
  }
  ~TargetVrfDeathTest() override { device_.confd.pre_commit.reset(); }

  static std::string Failed(const std::string& assertion) {
    return "Assertion `" + assertion + "' failed";
  }

  static auto FailedRule(const std::string& assertion) {
    return HasSubstr("void TargetVrfCfgHandler::AddDelIpRuleIntf(bool, const string&, int): " +
                     Failed(assertion));
  }

  /// Changes t1's rule with `error` as ConfD's last one, and tells how the process ended.
  void ChangeAndPrintEnd(const std::string& error) {
    atexit(PrintEnd);
    common::Fail(CONFD_ERR_BADTYPE, error);
    ChangeRule(true, "t1");
  }

  void ExpectFatal(const std::string& error, const std::string& text) {
    EXPECT_EXIT(ChangeAndPrintEnd(error), ::testing::ExitedWithCode(1),
                EndsWith("backtrace, fault 1 AddDelIpRuleIntf, back-traces: 1\n" +
                         target::Fault(1, "AddDelIpRuleIntf", text) + "|\n"));
  }
};

TEST_F(TargetVrfDeathTest, NameOfATargetIsNoText) {
  Running().AddEntry(target::kList, {{"name", common::MakeUint16(7)}});
  for (const bool add : {true, false}) {
    EXPECT_DEATH(ChangeRule(add, "7"), FailedRule("(&v[0])->type == C_BUF"));
  }
}

TEST_F(TargetVrfDeathTest, PortIsNoUint16) {
  target::Set(Running(), "t1", "udp-port", common::MakeUint32(162));
  EXPECT_DEATH(ChangeRule(true, "t1"), FailedRule("(&v[3])->type == C_UINT16"));
}

TEST_F(TargetVrfDeathTest, PortIsNotThere) {
  Running().Delete(target::Entry("t1") + "/udp-port");
  EXPECT_DEATH(ChangeRule(false, "t1"), FailedRule("(&v[3])->type == C_UINT16"));
}

TEST_F(TargetVrfDeathTest, IndexOfAVrfIsNoUint32) {
  target::SetVrf(Running(), "red", common::MakeUint16(256));
  EXPECT_DEATH(ChangeRule(true, "t1"),
               AllOf(HasSubstr("uint32_t TargetVrfCfgHandler::GetTargetVrf(int, const string&)"),
                     HasSubstr(Failed("(&vrf_id_confd)->type == C_UINT32"))));
}

TEST_F(TargetVrfDeathTest, KeyOfADeletedTargetIsNoText) {
  const confd_hkeypath_t kp = EntryPath({"snmp", "target"}, common::MakeUint16(7));
  EXPECT_DEATH(Handle(kp, MOP_DELETED), HasSubstr(Failed("(&kp->v[0][0])->type == C_BUF")));
}

TEST_F(TargetVrfDeathTest, KeyAboveARuleLeafIsNoText) {
  for (const char* leaf : {"vrf", "ip", "udp-port"}) {
    for (const confd_iter_op op : {MOP_VALUE_SET, MOP_DELETED}) {
      EXPECT_DEATH(Handle(ElementPath({"snmp", "target", leaf}), op),
                   HasSubstr(Failed("(&kp->v[1][0])->type == C_BUF")));
    }
  }
}

TEST_F(TargetVrfDeathTest, LoadedNameIsNoText) {
  Running().Delete(target::Entry("t1"));
  Running().AddEntry(target::kList, {{"name", common::MakeUint16(7)}});
  target::AddRow(Running(), "7");
  EXPECT_DEATH(Load(), FailedRule("(&v[0])->type == C_BUF"));
}

TEST_F(TargetVrfDeathTest, AddressThatCannotBePrinted) {
  Running().Delete(target::Entry("t1") + "/ip");
  ExpectFatal("no such type", "no such type");
}

TEST_F(TargetVrfDeathTest, AddressThatIsEmpty) {
  target::Set(Running(), "t1", "ip", common::MakeBuf(""));
  ExpectFatal("no %d format", "no %d format");
}

TEST_F(TargetVrfDeathTest, TextOfTheFaultIsCutTo299Bytes) {
  Running().Delete(target::Entry("t1") + "/ip");
  ExpectFatal(std::string(400, 'e'), std::string(299, 'e'));
}

TEST_F(TargetVrfDeathTest, AddressIsPrintedBeforeThePortIsLookedAt) {
  Running().Delete(target::Entry("t1") + "/ip");
  Running().Delete(target::Entry("t1") + "/udp-port");
  ExpectFatal("no address", "no address");
}

}  // namespace
