#include "delivery/change.h"

#include <cassert>
#include <cstring>
#include <utility>

#include "confd/tag_table.h"
#include "confd_cdb.h"

namespace common {

namespace {

/// The way from the root to a change, innermost last.
using Way = std::vector<Change*>;

confd_hkeypath_t MakeKeyPath(const Way& way) {
  confd_hkeypath_t kp = {};
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    const Change& change = **step;
    assert(kp.len + 2 <= MAXDEPTH && change.keys.size() <= MAXKEYLEN);
    if (!change.keys.empty()) {
      for (size_t i = 0; i < change.keys.size(); ++i) {
        kp.v[kp.len][i] = change.keys[i].Value();
      }
      for (size_t i = change.keys.size(); i < MAXKEYLEN; ++i) kp.v[kp.len][i].type = C_NOEXISTS;
      ++kp.len;
    }
    for (confd_value_t& rest : kp.v[kp.len]) rest.type = C_NOEXISTS;
    kp.v[kp.len][0].type = C_XMLTAG;
    kp.v[kp.len][0].val.xmltag = {change.tag, change.ns};
    ++kp.len;
  }
  return kp;
}

/// The changes at the element that `steps` names, each with its way there.
void Find(std::vector<Change>& changes, const std::vector<PathStep>& steps, size_t depth, Way* way,
          std::vector<Way>* found) {
  const uint32_t tag = TagTable::Global().Hash(steps[depth].name);
  for (Change& change : changes) {
    if (change.tag != tag) continue;
    way->push_back(&change);
    if (depth + 1 == steps.size()) {
      found->push_back(*way);
    } else {
      Find(change.children, steps, depth + 1, way, found);
    }
    way->pop_back();
  }
}

std::vector<Way> FindAll(std::vector<Change>& changes, const std::string& path) {
  std::vector<Way> found;
  Way way;
  Find(changes, ParsePath(path), 0, &way, &found);
  return found;
}

/// False when the callback asked for no more.
bool VisitOne(Way* way, const vkconfd::SubscriptionPoint& point) {
  Change& change = *way->back();
  confd_hkeypath_t kp = MakeKeyPath(*way);
  const bool want_old = (point.iterate_flags & ITER_WANT_PREV) != 0;
  const confd_iter_ret next = point.callback(
      &kp, change.op, want_old ? change.old_value.Get() : nullptr, change.new_value.Get());
  if (next != ITER_RECURSE) return next != ITER_STOP;
  for (Change& child : change.children) {
    way->push_back(&child);
    const bool more = VisitOne(way, point);
    way->pop_back();
    if (!more) return false;
  }
  return true;
}

}  // namespace

OwnedValue& OwnedValue::operator=(OwnedValue&& other) noexcept {
  std::swap(value_, other.value_);
  return *this;
}

bool IsTouched(const std::vector<Change>& changes, const std::string& path) {
  // The search changes nothing; it only hands out ways for visits that may.
  return !FindAll(const_cast<std::vector<Change>&>(changes), path).empty();
}

void Visit(std::vector<Change>& changes, const vkconfd::SubscriptionPoint& point) {
  for (Way& way : FindAll(changes, point.path)) {
    if (!VisitOne(&way, point)) return;
  }
}

}  // namespace common
