// Redirect ports over restarts: every order of adding, deleting and restarting, held against what
// an operator would write down by hand.

#include <array>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "app/intf_cfg.h"
#include "data_listen_test.h"
#include "vkconfd/app_interface.h"

namespace {

using ::testing::IsEmpty;

/// All of the program that has to do with redirect ports, as one start brings it up.
struct Program {
  Program() { fake::Device::Instance().framework.Connect(); }

  std::shared_ptr<SnmpListenCfgHandler> listen = std::make_shared<SnmpListenCfgHandler>();
  SnmpListenDataHandler data{listen};
  IntfCfgHandler intf{listen};
  vkconfd::AppInterface app{nullptr,
                            nullptr,
                            "app",
                            std::vector<vkconfd::ConfigHandler*>{listen.get(), &intf},
                            {},
                            std::vector<vkconfd::DataHandler*>{&data},
                            ELEM_CONFD_PHASE_2,
                            0};
};

/// Kernel name, port and redirect port.
using Redirect = std::tuple<std::string, unsigned int, unsigned int>;

/// What is listened on: the UDP port and, in a VRF, the redirect port of each L3 interface.
struct Listening {
  uint16_t udp_port;
  uint16_t redirect_port;
};

constexpr std::array<const char*, 3> kInterfaces = {"eth1", "eth2", "eth3"};

class ListenRestartTest : public DeviceTest {
 protected:
  /// eth1 and eth2 live in a VRF, eth3 too unless it has an address for itself.
  void Begin(bool third_in_vrf) {
    program_.reset();
    device_.Reset();
    model_.clear();
    kernel_.clear();
    path_.clear();
    running_.Set(listening::kEnabled, common::MakeBool(true));
    running_.Set(data::kExtra, common::MakeList({}));
    in_vrf_ = {"eth1", "eth2"};
    if (third_in_vrf) in_vrf_.insert("eth3");
    for (const std::string name : kInterfaces) {
      data::AddL3(running_, name);
      if (in_vrf_.count(name) == 0) {
        data::SetIpv4(running_, name, "10.0.0.3");
        continue;
      }
      data::SetVrf(running_, name);
      device_.rules.interfaces["l3-" + name] = {5, name};
    }
    program_ = std::make_unique<Program>();
  }

  static std::string Row(const std::string& name) {
    return listening::kList + ("{l3-" + name + "}");
  }

  void Add(const std::string& name) {
    path_ += " +" + name;
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) {
      listening::AddRow(edit, "l3-" + name);
      listening::SetPort(edit, "l3-" + name, "udp-port", 161);
    }));
    model_[name] = {161, in_vrf_.count(name) != 0 ? LowestFree() : uint16_t{0}};
  }

  void Delete(const std::string& name) {
    path_ += " -" + name;
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) { edit.Delete(Row(name)); }));
    model_.erase(name);
  }

  void Toggle(const std::string& name) { model_.count(name) != 0 ? Delete(name) : Add(name); }

  void ChangePort(const std::string& name) {
    const auto entry = model_.find(name);
    if (entry == model_.end()) return;
    path_ += " :" + name;
    entry->second.udp_port = entry->second.udp_port == 161 ? 1161 : 161;
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) {
      listening::SetPort(edit, "l3-" + name, "udp-port", entry->second.udp_port);
    }));
  }

  /// The kernel's redirects go with the process, the rows come back in the order of their names.
  void Restart() {
    path_ += " restart";
    program_.reset();
    kernel_.clear();
    std::map<std::string, std::array<uint16_t, 2>> rows;
    for (const auto& [name, entry] : model_) rows[name] = {Port(name, "udp-port"), Stored(name)};
    for (const auto& row : rows) running_.Delete(Row(row.first));
    for (const auto& [name, ports] : rows) {
      listening::AddRow(running_, "l3-" + name);
      listening::SetPort(running_, "l3-" + name, "udp-port", ports[0]);
      if (ports[1] != 0) listening::SetPort(running_, "l3-" + name, "redir-port", ports[1]);
    }
    device_.middleware.faults.clear();
    program_ = std::make_unique<Program>();
    // A row outside all VRFs has no port that could be read, which is told.
    EXPECT_EQ(model_.size() - InVrf(), device_.middleware.faults.size());
    device_.middleware.faults.clear();
  }

  void Check() {
    SCOPED_TRACE(path_);
    std::set<std::string> extra;
    std::set<Redirect> redirects;
    for (const auto& [name, entry] : model_) {
      EXPECT_EQ(entry.redirect_port, Stored(name)) << name;
      if (entry.redirect_port == 0) {
        extra.insert("10.0.0.3:" + std::to_string(entry.udp_port));
      } else {
        extra.insert("0.0.0.0:" + std::to_string(entry.redirect_port));
        redirects.emplace(name, entry.udp_port, entry.redirect_port);
      }
    }
    EXPECT_EQ(extra, Extra());
    EXPECT_EQ(redirects, Kernel());
    EXPECT_THAT(FaultLines(), IsEmpty());
    device_.journal.clear();
    device_.log.records.clear();
  }

 private:
  uint16_t LowestFree() const {
    std::set<uint16_t> taken;
    for (const auto& [name, entry] : model_) taken.insert(entry.redirect_port);
    uint16_t port = 60600;
    while (taken.count(port) != 0) ++port;
    return port;
  }

  size_t InVrf() const {
    size_t count = 0;
    for (const auto& [name, entry] : model_) count += in_vrf_.count(name);
    return count;
  }

  uint16_t Port(const std::string& name, const std::string& leaf) const {
    const fake::Node* node = running_.Find(Row(name) + "/" + leaf);
    return node == nullptr ? uint16_t{0} : node->value.Value().val.u16;
  }

  uint16_t Stored(const std::string& name) const { return Port(name, "redir-port"); }

  std::set<std::string> Extra() const {
    std::set<std::string> entries;
    const confd_value_t& list = running_.Find(data::kExtra)->value.Value();
    for (unsigned int i = 0; i < list.val.list.size; ++i) {
      EXPECT_TRUE(entries.insert(common::ValueText(list.val.list.ptr[i])).second);
    }
    return entries;
  }

  /// Carries out what the rule library was asked for since the last time.
  const std::set<Redirect>& Kernel() {
    for (const fake::RuleCall& call : device_.rules.calls) {
      const Redirect redirect = {call.kernel_name, call.port, call.redirect_port};
      call.add ? static_cast<void>(kernel_.insert(redirect))
               : static_cast<void>(kernel_.erase(redirect));
    }
    device_.rules.calls.clear();
    return kernel_;
  }

  fake::Database& running_ = device_.confd.running;
  std::set<std::string> in_vrf_;
  std::map<std::string, Listening> model_;
  std::set<Redirect> kernel_;
  std::string path_;  ///< What was done, for a failed check.
  std::unique_ptr<Program> program_;
};

/// Six steps of four kinds: 4,096 orders for three interfaces in a VRF.
TEST_F(ListenRestartTest, EveryOrderOfAddingDeletingAndRestarting) {
  constexpr unsigned int kSteps = 6;
  for (unsigned int order = 0; order < 1U << 2 * kSteps; ++order) {
    Begin(true);
    for (unsigned int step = 0; step < kSteps; ++step) {
      const unsigned int choice = order >> 2 * step & 3;
      choice < kInterfaces.size() ? Toggle(kInterfaces[choice]) : Restart();
      Check();
      if (HasFailure()) return;
    }
  }
}

TEST_F(ListenRestartTest, LongWaysWithPortChangesAndAnInterfaceInNoVrf) {
  std::mt19937 random(4711);
  for (int way = 0; way < 150; ++way) {
    Begin(way % 2 == 0);
    for (int step = 0; step < 25; ++step) {
      const char* name = kInterfaces[random() % kInterfaces.size()];
      switch (random() % 4) {
        case 0:
          ChangePort(name);
          break;
        case 1:
          Restart();
          break;
        default:
          Toggle(name);
      }
      Check();
      if (HasFailure()) return;
    }
  }
}

}  // namespace
