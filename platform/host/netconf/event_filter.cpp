#include "netconf/event_filter.h"

#include "netconf/filter.h"
#include "netconf/parameters.h"
#include "netconf/xpath_search.h"

namespace host {

namespace {

/// One that every server has, to try an expression with.
constexpr char kSample[] =
    R"(<replayComplete xmlns="urn:ietf:params:xml:ns:netmod:notification"/>)";

const ly_ctx* ContextOf(const Tree& operation) { return operation->schema->module->ctx; }

}  // namespace

Tree ParseEvent(const ly_ctx* context, const std::string& xml) {
  const Input input(xml);
  lyd_node* tree = nullptr;
  lyd_node* ignored = nullptr;
  const LY_ERR result =
      lyd_parse_op(context, nullptr, input.Get(), LYD_XML, LYD_TYPE_NOTIF_YANG, &tree, &ignored);
  Tree event(tree);
  if (result != LY_SUCCESS) throw TakeRefusal(const_cast<ly_ctx*>(context));
  return event;
}

EventFilter::EventFilter(const lyd_node* operation, const SearchLimits& limits) : limits_(limits) {
  if (Parameter(operation, "filter") == nullptr) return;
  operation_ = CopyNode(operation, LYD_DUP_RECURSIVE);
  xpath_ = XPathOf(operation);
  const Tree sample = ParseEvent(ContextOf(operation_), kSample);
  Matches({sample.get()});
}

std::vector<bool> EventFilter::Select(const std::vector<const Event*>& events) const {
  std::vector<bool> all(events.size(), true);
  if (operation_ == nullptr || events.empty()) return all;
  std::vector<Tree> trees;
  std::vector<const lyd_node*> nodes;
  trees.reserve(events.size());
  nodes.reserve(events.size());
  for (const Event* event : events) {
    trees.push_back(ParseEvent(ContextOf(operation_), event->xml));
    nodes.push_back(trees.back().get());
  }
  return Matches(nodes);
}

std::vector<bool> EventFilter::Matches(const std::vector<const lyd_node*>& events) const {
  if (xpath_) return MatchXPath(xpath_->c_str(), events, limits_);
  const lyd_node* filter = SubtreeOf(operation_.get());
  std::vector<bool> selected;
  selected.reserve(events.size());
  for (const lyd_node* event : events) selected.push_back(MatchesSubtree(filter, event));
  return selected;
}

}  // namespace host
