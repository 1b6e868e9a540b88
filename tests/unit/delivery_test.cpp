// The visit of a commit's changes and their delivery to handlers.

#include "delivery/delivery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "confd/tag_table.h"
#include "confd_cdb.h"
#include "recording_handler.h"

namespace {

using common::Change;
using common::OwnedValue;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Change Element(const std::string& name) {
  Change change;
  change.tag = common::TagTable::Global().Hash(name);
  return change;
}

Change Leaf(const std::string& name, uint16_t from, uint16_t to) {
  Change change = Element(name);
  change.op = MOP_VALUE_SET;
  change.old_value = OwnedValue(common::MakeUint16(from));
  change.new_value = OwnedValue(common::MakeUint16(to));
  return change;
}

Change Entry(const std::string& list, const std::string& key, confd_iter_op op) {
  Change change = Element(list);
  change.keys.emplace_back(common::MakeBuf(key));
  change.op = op;
  return change;
}

template <typename... Children>
Change With(Change change, Children... children) {
  (change.children.push_back(std::move(children)), ...);
  return change;
}

/// A container "top" with a leaf and three entries of a list.
std::vector<Change> Changes() {
  std::vector<Change> changes;
  changes.push_back(With(Element("top"), Leaf("leaf", 1, 2),
                         With(Entry("list", "a", MOP_CREATED), Leaf("x", 0, 1), Leaf("y", 0, 2)),
                         Entry("list", "b", MOP_DELETED),
                         With(Entry("list", "c", MOP_MODIFIED), Leaf("x", 3, 4))));
  return changes;
}

class DeliveryTest : public ::testing::Test {
 protected:
  void Deliver(const std::vector<vkconfd::ConfigHandler*>& handlers) {
    common::Deliver(changes_, handlers,
                    [this](const std::string& operation, const std::string& reason) {
                      failures_.push_back(operation + ": " + reason);
                    });
  }

  /// What a handler that follows `path` is told of the changes.
  std::vector<std::string> Follow(const char* path, int32_t flags, confd_iter_ret next) {
    a_.Follow(path, 1, flags, next);
    Deliver({&a_});
    return calls_;
  }

  std::vector<Change> changes_ = Changes();
  std::vector<std::string> calls_;
  std::vector<std::string> failures_;
  RecordingHandler a_{"a", &calls_};
  RecordingHandler b_{"b", &calls_};
};

TEST_F(DeliveryTest, LeafHasItsNewValue) {
  EXPECT_THAT(Follow("/top/leaf", 0, ITER_CONTINUE),
              ElementsAre("a start", "a set /top/leaf to 2", "a apply"));
}

TEST_F(DeliveryTest, OldValueComesWhenItIsWanted) {
  EXPECT_THAT(Follow("/m:top/leaf", ITER_WANT_PREV, ITER_CONTINUE),
              ElementsAre("a start", "a set /top/leaf from 1 to 2", "a apply"));
}

TEST_F(DeliveryTest, ContinueGoesOnBeside) {
  EXPECT_THAT(Follow("/top/list", 0, ITER_CONTINUE),
              ElementsAre("a start", "a created /top/list{a}", "a deleted /top/list{b}",
                          "a modified /top/list{c}", "a apply"));
}

TEST_F(DeliveryTest, RecurseGoesBelow) {
  EXPECT_THAT(Follow("/top/list", 0, ITER_RECURSE),
              ElementsAre("a start", "a created /top/list{a}", "a set /top/list{a}/x to 1",
                          "a set /top/list{a}/y to 2", "a deleted /top/list{b}",
                          "a modified /top/list{c}", "a set /top/list{c}/x to 4", "a apply"));
}

TEST_F(DeliveryTest, StopEndsThePointOnly) {
  a_.Follow("/top/list", 1, 0, ITER_STOP);
  a_.Follow("/top/leaf", 2, 0, ITER_CONTINUE);
  Deliver({&a_});
  EXPECT_THAT(calls_,
              ElementsAre("a start", "a created /top/list{a}", "a set /top/leaf to 2", "a apply"));
}

TEST_F(DeliveryTest, StopBelowAnEntryEndsThePoint) {
  a_.Follow("/top/list/x", 1, 0, ITER_STOP);
  Deliver({&a_});
  EXPECT_THAT(calls_, ElementsAre("a start", "a set /top/list{a}/x to 1", "a apply"));
}

TEST_F(DeliveryTest, LeafBelowAListIsVisitedInEachEntry) {
  EXPECT_THAT(
      Follow("/top/list/x", 0, ITER_CONTINUE),
      ElementsAre("a start", "a set /top/list{a}/x to 1", "a set /top/list{c}/x to 4", "a apply"));
}

TEST_F(DeliveryTest, ContainerIsVisitedItself) {
  EXPECT_THAT(Follow("/top", 0, ITER_CONTINUE),
              ElementsAre("a start", "a modified /top", "a apply"));
}

TEST_F(DeliveryTest, UntouchedHandlerIsNotCalled) {
  EXPECT_THAT(Follow("/top/other", 0, ITER_CONTINUE), IsEmpty());
  EXPECT_FALSE(common::IsTouched(changes_, "/other"));
  EXPECT_FALSE(common::IsTouched(changes_, "/leaf"));
  EXPECT_TRUE(common::IsTouched(changes_, "/top"));
}

TEST_F(DeliveryTest, LowerPriorityComesFirstAcrossHandlers) {
  a_.Follow("/top/leaf", 20, 0, ITER_CONTINUE);
  a_.Follow("/top/list", 1, 0, ITER_STOP);
  b_.Follow("/top/leaf", 10, 0, ITER_CONTINUE);
  Deliver({&a_, &b_});
  EXPECT_THAT(calls_,
              ElementsAre("a start", "a created /top/list{a}", "b start", "b set /top/leaf to 2",
                          "b apply", "a set /top/leaf to 2", "a apply"));
}

TEST_F(DeliveryTest, EqualPriorityComesInOrderOfRegistration) {
  a_.Follow("/top/leaf", 10, 0, ITER_CONTINUE);
  a_.Follow("/top/list", 10, 0, ITER_STOP);
  b_.Follow("/top/leaf", 10, 0, ITER_CONTINUE);
  Deliver({&b_, &a_});
  EXPECT_THAT(calls_, ElementsAre("b start", "b set /top/leaf to 2", "b apply", "a start",
                                  "a set /top/leaf to 2", "a created /top/list{a}", "a apply"));
}

TEST_F(DeliveryTest, ExceptionIsToldAndTheDeliveryGoesOn) {
  a_.Follow("/top/list", 1, 0, ITER_CONTINUE);
  b_.Follow("/top/leaf", 2, 0, ITER_CONTINUE);
  a_.on_call = [](const std::string& what) { throw std::runtime_error("at " + what); };
  b_.on_call = [](const std::string& what) {
    if (what == "start") throw 1;
  };
  Deliver({&a_, &b_});
  EXPECT_THAT(calls_, ElementsAre("a start", "a created /top/list{a}", "a apply", "b start",
                                  "b set /top/leaf to 2", "b apply"));
  EXPECT_THAT(failures_, ElementsAre("start of commit at /top/list: at start",
                                     "change at /top/list: at created /top/list{a}",
                                     "apply of commit at /top/list: at apply",
                                     "start of commit at /top/leaf: unknown exception"));
}

TEST_F(DeliveryTest, LackOfMemoryIsTheCallers) {
  a_.Follow("/top/list", 1, 0, ITER_CONTINUE);
  for (const std::string at : {"start", "created /top/list{a}", "apply"}) {
    a_.on_call = [&at](const std::string& what) {
      if (what == at) throw std::bad_alloc();
    };
    EXPECT_THROW(Deliver({&a_}), std::bad_alloc) << at;
  }
  EXPECT_THAT(failures_, IsEmpty());
}

TEST_F(DeliveryTest, KeyPathLevelsEndWithNoValue) {
  vkconfd::SubscriptionPoint point = {1, 0, "/top/list/x", 0, nullptr};
  int calls = 0;
  point.callback = [&calls](confd_hkeypath_t* kp, confd_iter_op, confd_value_t*, confd_value_t*) {
    ++calls;
    EXPECT_EQ(4, kp->len);
    EXPECT_EQ(C_XMLTAG, kp->v[0][0].type);
    EXPECT_EQ(C_BUF, kp->v[1][0].type);
    EXPECT_EQ(common::TagTable::Global().Hash("list"), CONFD_GET_XMLTAG(&kp->v[2][0]));
    for (int level = 0; level < kp->len; ++level) EXPECT_EQ(C_NOEXISTS, kp->v[level][1].type);
    return ITER_CONTINUE;
  };
  common::Visit(changes_, point);
  EXPECT_EQ(2, calls);
}

TEST_F(DeliveryTest, CommitWithoutChangesCallsNobody) {
  changes_.clear();
  EXPECT_THAT(Follow("/top", 0, ITER_CONTINUE), IsEmpty());
}

}  // namespace
