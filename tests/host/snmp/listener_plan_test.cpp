#include "snmp/listener_plan.h"

#include <gtest/gtest.h>

namespace host {
namespace {

using Endpoints = std::set<Endpoint>;

const Endpoint kA = {"10.0.0.1", 161};
const Endpoint kB = {"10.0.0.2", 161};
const Endpoint kC = {"::1", 161};

void ExpectPlan(const ListenerPlan& plan, const Endpoints& open, const Endpoints& close) {
  EXPECT_EQ(plan.open, open);
  EXPECT_EQ(plan.close, close);
}

TEST(ListenerPlanTest, NothingToNothing) { ExpectPlan(PlanListeners({}, {}), {}, {}); }

TEST(ListenerPlanTest, OpensAllAtFirst) { ExpectPlan(PlanListeners({}, {kA, kB}), {kA, kB}, {}); }

TEST(ListenerPlanTest, ClosesAllAtLast) { ExpectPlan(PlanListeners({kA, kB}, {}), {}, {kA, kB}); }

TEST(ListenerPlanTest, LeavesOutWhatStays) {
  ExpectPlan(PlanListeners({kA, kB}, {kB, kC}), {kC}, {kA});
}

TEST(ListenerPlanTest, SameAgainIsNothing) {
  ExpectPlan(PlanListeners({kA, kC}, {kA, kC}), {}, {});
}

TEST(ListenerPlanTest, AnotherPortIsAnotherListener) {
  const Endpoint other = {kA.address, 162};
  ExpectPlan(PlanListeners({kA}, {other}), {other}, {kA});
}

TEST(ListenerPlanTest, OtherTextOfAnOpenAddressIsThatAddress) {
  const Endpoint long_text = {"0:0:0:0:0:0:0:1", 161};
  ExpectPlan(PlanListeners({kA, kC}, {kA, long_text}), {}, {});
  ExpectPlan(PlanListeners({kA, kC}, {long_text, kC}), {}, {kA});
  ExpectPlan(PlanListeners({kA}, {kA, long_text, kC}), {kC}, {});
}

TEST(ListenerPlanTest, TextThatIsNoAddressIsOpened) {
  const Endpoint name = {"localhost", 161};
  ExpectPlan(PlanListeners({kA}, {kA, name}), {name}, {});
}

}  // namespace
}  // namespace host
