// Redirect ports over restarts: every order of adding, deleting and restarting, held against what
// an operator would write down by hand.

#include <algorithm>
#include <array>
#include <cstddef>
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

/// An interface that is listened on: its UDP port, and the redirect port that its row has stored, 0
/// for none. Only the creation of a row stores one.
struct Listening {
  uint16_t udp_port;
  uint16_t stored;
};

constexpr std::array<const char*, 3> kInterfaces = {"eth1", "eth2", "eth3"};

class ListenRestartTest : public DeviceTest {
 protected:
  /// A program without a row, on three L3 interfaces; those named live in a VRF.
  void Begin(const std::set<std::string>& in_vrf) {
    program_.reset();
    device_.Reset();
    in_vrf_ = in_vrf;
    rows_.clear();
    ports_.clear();
    extra_.clear();
    kernel_.clear();
    path_.clear();
    running_.Set(listening::kEnabled, common::MakeBool(true));
    running_.Set(data::kExtra, common::MakeList({}));
    for (const std::string name : kInterfaces) {
      data::AddL3(running_, name);
      data::SetIpv4(running_, name, Address(name).c_str());
      if (IsInVrf(name)) data::SetVrf(running_, name);
      TellLibrary(name);
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
    rows_[name] = {161, IsInVrf(name) ? PortOf(name) : uint16_t{0}};
    extra_.insert(EntryOf(name));
  }

  void Delete(const std::string& name) {
    path_ += " -" + name;
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) { edit.Delete(Row(name)); }));
    extra_.erase(EntryOf(name));
    ports_.erase(name);
    rows_.erase(name);
  }

  void Toggle(const std::string& name) { rows_.count(name) != 0 ? Delete(name) : Add(name); }

  void ChangePort(const std::string& name) {
    const auto row = rows_.find(name);
    if (row == rows_.end()) return;
    path_ += " :" + name;
    if (!IsInVrf(name)) extra_.erase(EntryOf(name));
    row->second.udp_port = row->second.udp_port == 161 ? 1161 : 161;
    if (!IsInVrf(name)) extra_.insert(EntryOf(name));
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) {
      listening::SetPort(edit, "l3-" + name, "udp-port", row->second.udp_port);
    }));
  }

  /// Takes an L3 interface into a VRF or out of it. Entries are made and deleted with rows and UDP
  /// ports alone, so they stay as they are.
  void Move(const std::string& name) {
    path_ += " ~" + name;
    if (in_vrf_.erase(name) == 0) in_vrf_.insert(name);
    TellLibrary(name);
    ASSERT_TRUE(device_.framework.Transact([&](fake::Database& edit) {
      IsInVrf(name) ? data::SetVrf(edit, name) : edit.Delete(data::kL3 + ("{" + name + "}/vrf"));
    }));
    if (IsInVrf(name) && rows_.count(name) != 0) PortOf(name);
  }

  /// The kernel's redirects go with the process, the rows come back in the order of their names.
  void Restart() {
    path_ += " restart";
    program_.reset();
    kernel_.clear();
    ports_.clear();
    for (const auto& [name, row] : rows_) {
      running_.Delete(Row(name));
      if (row.stored != 0) ports_[name] = row.stored;
    }
    for (const auto& [name, row] : rows_) {
      listening::AddRow(running_, "l3-" + name);
      listening::SetPort(running_, "l3-" + name, "udp-port", row.udp_port);
      if (row.stored != 0) listening::SetPort(running_, "l3-" + name, "redir-port", row.stored);
      if (IsInVrf(name)) PortOf(name);
    }
    device_.middleware.faults.clear();
    program_ = std::make_unique<Program>();
    // A port that is not stored cannot be read, which is told.
    const auto has_none = [](const auto& row) { return row.second.stored == 0; };
    EXPECT_EQ(std::count_if(rows_.begin(), rows_.end(), has_none),
              static_cast<std::ptrdiff_t>(device_.middleware.faults.size()));
    device_.middleware.faults.clear();
  }

  void Check() {
    SCOPED_TRACE(path_);
    std::set<Redirect> redirects;
    for (const auto& [name, row] : rows_) {
      EXPECT_EQ(row.udp_port, Port(name, "udp-port")) << name;
      EXPECT_EQ(row.stored, Port(name, "redir-port")) << name;
      if (IsInVrf(name)) redirects.emplace(name, row.udp_port, ports_.at(name));
    }
    EXPECT_EQ(extra_, Extra());
    EXPECT_EQ(redirects, Kernel());
    EXPECT_THAT(FaultLines(), IsEmpty());
    device_.journal.clear();
    device_.log.records.clear();
  }

 private:
  bool IsInVrf(const std::string& name) const { return in_vrf_.count(name) != 0; }

  static std::string Address(const std::string& name) { return "10.0.0." + name.substr(3); }

  void TellLibrary(const std::string& name) {
    device_.rules.interfaces["l3-" + name] = {IsInVrf(name) ? 5U : 0U, name};
  }

  /// The redirect port of a name, the lowest that is free when it has none.
  uint16_t PortOf(const std::string& name) {
    if (ports_.count(name) != 0) return ports_.at(name);
    std::set<uint16_t> taken;
    for (const auto& row : ports_) taken.insert(row.second);
    uint16_t port = 60600;
    while (taken.count(port) != 0) ++port;
    return ports_[name] = port;
  }

  /// The extra entry that a row has as things stand.
  std::string EntryOf(const std::string& name) {
    return IsInVrf(name) ? "0.0.0.0:" + std::to_string(PortOf(name))
                         : Address(name) + ":" + std::to_string(rows_.at(name).udp_port);
  }

  uint16_t Port(const std::string& name, const std::string& leaf) const {
    const fake::Node* node = running_.Find(Row(name) + "/" + leaf);
    return node == nullptr ? uint16_t{0} : node->value.Value().val.u16;
  }

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
  std::map<std::string, Listening> rows_;
  std::map<std::string, uint16_t> ports_;  ///< Redirect ports by name.
  std::set<std::string> extra_;
  std::set<Redirect> kernel_;
  std::string path_;  ///< What was done, for a failed check.
  std::unique_ptr<Program> program_;
};

constexpr unsigned int kSteps = 6;

/// The steps of an order: numbers of interfaces, and another one for a restart.
std::vector<unsigned int> StepsOf(unsigned int order) {
  std::vector<unsigned int> steps;
  for (unsigned int step = 0; step < kSteps; ++step) steps.push_back(order >> 2 * step & 3);
  return steps;
}

/// Whether an order has a restart with nothing before it, or nothing but another restart.
bool IsIdle(const std::vector<unsigned int>& steps) {
  const unsigned int restart = kInterfaces.size();
  const auto twice = [&](unsigned int one, unsigned int next) {
    return one == restart && next == restart;
  };
  return steps.front() == restart ||
         std::adjacent_find(steps.begin(), steps.end(), twice) != steps.end();
}

TEST_F(ListenRestartTest, EveryOrderOfAddingDeletingAndRestarting) {
  for (unsigned int order = 0; order < 1U << 2 * kSteps; ++order) {
    const std::vector<unsigned int> steps = StepsOf(order);
    if (IsIdle(steps)) continue;
    Begin({"eth1", "eth2", "eth3"});
    for (const unsigned int step : steps) {
      step < kInterfaces.size() ? Toggle(kInterfaces[step]) : Restart();
      Check();
      if (HasFailure()) return;
    }
  }
}

TEST_F(ListenRestartTest, LongWaysWithPortsThatChangeAndInterfacesThatMove) {
  std::mt19937 random(4711);
  for (int way = 0; way < 150; ++way) {
    Begin(way % 2 == 0 ? std::set<std::string>{"eth1", "eth2"} : std::set<std::string>{});
    for (int step = 0; step < 25; ++step) {
      const char* name = kInterfaces[random() % kInterfaces.size()];
      switch (random() % 6) {
        case 0:
          ChangePort(name);
          break;
        case 1:
          Restart();
          break;
        case 2:
          Move(name);
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
