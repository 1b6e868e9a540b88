#include "netconf/xpath_search.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "config/tree.h"
#include "netconf/rpc_error.h"

namespace host {

namespace {

using Nodes = std::vector<const lyd_node*>;

/// How an answer begins: with the numbers of nodes behind it, or with the reason of a refusal.
constexpr char kFound = 'f';
constexpr char kRefused = 'r';

/// Appends `data`, its siblings and all below them in document order: their places are their
/// numbers.
void AppendAll(const lyd_node* data, Nodes* nodes) {
  for (; data != nullptr; data = data->next) {
    nodes->push_back(data);
    AppendAll(lyd_child(data), nodes);
  }
}

std::string NumbersOf(const ly_set& found, const lyd_node* data) {
  Nodes selected(found.dnodes, found.dnodes + found.count);
  std::sort(selected.begin(), selected.end());
  Nodes all;
  AppendAll(data, &all);
  std::string numbers;
  for (uint32_t number = 0; number < all.size(); ++number) {
    if (!std::binary_search(selected.begin(), selected.end(), all[number])) continue;
    numbers.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  return numbers;
}

/// Why `data` cannot be searched, empty when it could: `*found` has what was found then.
std::string SearchOne(const char* expression, const lyd_node* data, ly_set** found) {
  errno = 0;
  // From the root (RFC 6241, 8.9.1).
  const LY_ERR result = lyd_find_xpath3(nullptr, data, expression, nullptr, found);
  // Where libyang has no memory for a part of a result, it leaves that out and tells nothing.
  if (result == LY_EMEM || errno == ENOMEM) throw std::bad_alloc();
  return result == LY_SUCCESS ? "" : kRefused + TakeErrors(data->schema->module->ctx);
}

std::string Answer(const char* expression, const lyd_node* data) {
  ly_set* found = nullptr;
  const std::string refusal = SearchOne(expression, data, &found);
  return refusal.empty() ? kFound + NumbersOf(*found, data) : refusal;
}

/// A character for each tree: '1' where something was found.
std::string AnswerForEach(const char* expression, const std::vector<const lyd_node*>& trees) {
  std::string answer(1, kFound);
  for (const lyd_node* tree : trees) {
    ly_set* found = nullptr;
    std::string refusal = SearchOne(expression, tree, &found);
    if (!refusal.empty()) return refusal;
    answer += found->count > 0 ? '1' : '0';
  }
  return answer;
}

/// What a copy of this process answers, without its first character.
std::string Searched(const std::function<std::string()>& search, const SearchLimits& limits) {
  const std::string answer = SearchInCopy(search, limits);
  if (answer[0] == kFound) return answer.substr(1);
  throw RpcError("protocol", "invalid-value", answer.substr(1)).With("bad-attribute", "select");
}

Nodes NodesOf(const std::string& numbers, const lyd_node* data) {
  Nodes all;
  AppendAll(data, &all);
  Nodes nodes;
  for (size_t at = 0; at + sizeof(uint32_t) <= numbers.size(); at += sizeof(uint32_t)) {
    uint32_t number = 0;
    memcpy(&number, numbers.data() + at, sizeof number);
    nodes.push_back(all.at(number));
  }
  return nodes;
}

}  // namespace

std::vector<const lyd_node*> FindXPath(const char* expression, const lyd_node* data,
                                       const SearchLimits& limits) {
  return NodesOf(Searched([&] { return Answer(expression, data); }, limits), data);
}

std::vector<bool> MatchXPath(const char* expression, const std::vector<const lyd_node*>& trees,
                             const SearchLimits& limits) {
  std::vector<bool> matches;
  for (const char c : Searched([&] { return AnswerForEach(expression, trees); }, limits)) {
    matches.push_back(c == '1');
  }
  return matches;
}

}  // namespace host
