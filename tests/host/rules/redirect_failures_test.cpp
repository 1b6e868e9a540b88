// Whatever happens to a call to the packet filter, what the object says is what the kernel has:
// `nft -j list maps` (of 1.0.6, `list table` prints the table's flags wrongly) is asked after every
// step.
#include <gmock/gmock.h>

#include <map>
#include <random>
#include <regex>
#include <set>
#include <utility>

#include "network.h"
#include "rules/redirects.h"

namespace host::test {
namespace {

using ::testing::HasSubstr;

using Key = std::pair<std::string, uint16_t>;

/// The elements in the kernel.
struct Kernel {
  std::map<Key, int> to;
  std::map<int, int> back;
  std::set<int> ports;
};

/// The part of a listing that is about one set.
std::string PartOf(const std::string& listing, const std::string& set) {
  const size_t begin = listing.find(R"("name": ")" + set + "\"");
  const size_t end = listing.find("\"handle\"", listing.find("\"handle\"", begin) + 1);
  return begin == std::string::npos ? "" : listing.substr(begin, end - begin);
}

template <typename Take>
void ForEach(const std::string& text, const char* pattern, Take take) {
  const std::regex expression(pattern);
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
    take(*it);
  }
}

/// Nothing when there is no table.
Kernel ReadKernel() {
  const std::string listing = Output("nft -j list maps");
  Kernel kernel;
  ForEach(PartOf(listing, "to"), R"re(\[\{"concat": \["([^"]+)", (\d+)\]\}, (\d+)\])re",
          [&](const std::smatch& match) {
            kernel.to[{match[1], static_cast<uint16_t>(std::stoi(match[2]))}] = std::stoi(match[3]);
          });
  ForEach(PartOf(listing, "back"), R"(\[(\d+), (\d+)\])", [&](const std::smatch& match) {
    kernel.back[std::stoi(match[1])] = std::stoi(match[2]);
  });
  ForEach(PartOf(listing, "ports"), R"re(\[(\d+), \{"drop": null\}\])re",
          [&](const std::smatch& match) { kernel.ports.insert(std::stoi(match[1])); });
  return kernel;
}

/// What there should be: keys in the order in which they came.
class Model {
 public:
  void Add(const Key& key, uint16_t redirect_port) {
    for (const auto& [there, port] : entries_) {
      if (there == key && port == redirect_port) return;
    }
    Delete(key);
    entries_.emplace_back(key, redirect_port);
  }

  void Delete(const Key& key) {
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
      if (entry->first != key) continue;
      entries_.erase(entry);
      return;
    }
  }

  void ExpectInKernel() const {
    const Kernel kernel = ReadKernel();
    std::map<Key, int> to;
    std::map<int, int> back;
    std::set<int> ports;
    for (const auto& [key, redirect_port] : entries_) {
      to[key] = redirect_port;
      back[redirect_port] = key.second;
      ports.insert(redirect_port);
    }
    EXPECT_EQ(kernel.to, to);
    EXPECT_EQ(kernel.back, back);
    EXPECT_EQ(kernel.ports, ports) << Output("nft -j list maps");
  }

 private:
  std::vector<std::pair<Key, uint16_t>> entries_;
};

constexpr Failure kAll[] = {Failure::kNoBuffer,    Failure::kNoRight,     Failure::kNoAnswer,
                            Failure::kOverrun,     Failure::kInterrupted, Failure::kTooLong,
                            Failure::kTruncated,   Failure::kEmpty,       Failure::kWrongSequence,
                            Failure::kOldSequence, Failure::kOtherType};

class RedirectFailuresTest : public NetworkTest {
 protected:
  void TearDown() override { FailNext({}); }
};

/// Few keys and ports, so that they meet often; every fourth step has a failure.
TEST_F(RedirectFailuresTest, RandomChangesAndFailuresAgainstAModel) {
  Redirects redirects;
  Model model;
  std::mt19937 random(20261);
  const auto below = [&](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  for (int step = 0; step < 150; ++step) {
    const Key key("eth" + std::to_string(below(3)), static_cast<uint16_t>(161 + below(3)));
    const auto redirect_port = static_cast<uint16_t>(60600 + below(3));
    const bool is_harmed = step > 0 && below(4) == 0;
    if (is_harmed) FailNext({kAll[below(static_cast<int>(std::size(kAll)))]});
    if (below(2) == 0) {
      EXPECT_TRUE(redirects.Add(key.first, key.second, redirect_port));
      model.Add(key, redirect_port);
    } else {
      const Kernel before = ReadKernel();
      const auto there = before.to.find(key);
      EXPECT_TRUE(redirects.Delete(key.first, key.second, redirect_port));
      if (there != before.to.end() && there->second == redirect_port) model.Delete(key);
    }
    FailNext({});
    model.ExpectInKernel();
    if (HasFailure()) FAIL() << "in step " << step;
  }
}

TEST_F(RedirectFailuresTest, OneFailureIsMended) {
  for (const Failure failure : kAll) {
    Redirects redirects;
    Model model;
    ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
    model.Add({"eth1", 161}, 60600);
    FailNext({failure});
    EXPECT_TRUE(redirects.Add("eth2", 161, 60601)) << static_cast<int>(failure);
    EXPECT_TRUE(AllFailed());
    model.Add({"eth2", 161}, 60601);
    model.ExpectInKernel();
  }
}

/// All that can be tried fails: the table is not there, and that is what is known.
TEST_F(RedirectFailuresTest, ThreeFailuresAreRestoredLater) {
  for (const Failure failure : kAll) {
    Redirects redirects;
    Model model;
    ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
    model.Add({"eth1", 161}, 60600);
    FailNext({failure, failure, failure});
    EXPECT_FALSE(redirects.Add("eth2", 161, 60601)) << static_cast<int>(failure);
    EXPECT_TRUE(AllFailed());
    EXPECT_TRUE(ReadKernel().to.empty());
    EXPECT_TRUE(redirects.Restore());
    model.ExpectInKernel();
    const int before = KernelCalls();
    EXPECT_TRUE(redirects.Restore());
    EXPECT_EQ(KernelCalls(), before);
  }
}

TEST_F(RedirectFailuresTest, TheNextChangeRestoresTheRest) {
  Redirects redirects;
  Model model;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  model.Add({"eth1", 161}, 60600);
  FailNext({Failure::kOverrun, Failure::kOverrun, Failure::kOverrun});
  EXPECT_FALSE(redirects.Add("eth2", 161, 60601));
  EXPECT_TRUE(redirects.Add("eth1", 161, 60600)) << "it was lost, and is asked for";
  model.ExpectInKernel();
}

/// Without its table a redirect is gone, and can be deleted.
TEST_F(RedirectFailuresTest, WhatIsLostIsDeleted) {
  Redirects redirects;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  FailNext({Failure::kNoBuffer, Failure::kNoBuffer});
  EXPECT_TRUE(redirects.Delete("eth1", 161, 60600));
  EXPECT_TRUE(ReadKernel().to.empty());
  EXPECT_TRUE(redirects.Restore());
  EXPECT_TRUE(ReadKernel().to.empty());
}

/// Somebody else's table comes in between: told, nothing lost for good.
TEST_F(RedirectFailuresTest, AnotherTableInTheWayOfRestoring) {
  Redirects redirects;
  Model model;
  ASSERT_TRUE(redirects.Add("eth1", 161, 60600));
  model.Add({"eth1", 161}, 60600);
  FailNext({Failure::kNoBuffer, Failure::kNoBuffer, Failure::kNoBuffer});
  EXPECT_FALSE(redirects.Add("eth2", 161, 60601));
  ASSERT_EQ(Nft("add table inet snmp-app"), "");
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(redirects.Add("eth2", 161, 60601));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("of another program"));
  ASSERT_EQ(Nft("delete table inet snmp-app"), "");
  EXPECT_TRUE(redirects.Restore());
  model.ExpectInKernel();
}

/// Many elements go in one transaction that is larger than a socket's usual buffer.
TEST_F(RedirectFailuresTest, ThousandsAreMadeAgain) {
  constexpr int kCount = 4900;
  Redirects redirects;
  for (int i = 0; i < kCount; ++i) {
    ASSERT_TRUE(redirects.Add("eth" + std::to_string(i), 161, static_cast<uint16_t>(60600 + i)));
  }
  FailNext({Failure::kOverrun});
  EXPECT_TRUE(redirects.Add("eth0", 161, 65535));
  const Kernel kernel = ReadKernel();
  EXPECT_EQ(kernel.to.size(), kCount);
  EXPECT_EQ(kernel.back.size(), kCount);
  EXPECT_EQ(kernel.ports.size(), kCount);
}

}  // namespace
}  // namespace host::test
