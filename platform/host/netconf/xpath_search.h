// What an XPath expression of an operator selects.
#pragma once

#include <libyang/libyang.h>

#include <chrono>
#include <vector>

namespace host {

/// An expression of a few names can take hours on thousands of interfaces. All sessions may ask for
/// one at the same time, and the watchdog must be fed meanwhile.
constexpr std::chrono::milliseconds kXPathLimit{1000};

/// The nodes among `data`, its siblings and all below them that an expression with module names as
/// prefixes selects, in document order. A process of its own searches, a copy of this one, so that
/// neither its time nor a fault of libyang's is this one's.
/// Throws RpcError: invalid-value for an expression that is none, or that does not select nodes;
/// resource-denied when the search takes longer than `limit`; operation-failed when its process
/// could not be made or ended too soon.
std::vector<const lyd_node*> FindXPath(const char* expression, const lyd_node* data,
                                       std::chrono::milliseconds limit = kXPathLimit);

}  // namespace host
