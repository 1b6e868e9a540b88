// A search in a process of its own.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace host {

/// What a search may take up. An expression of a few names can take hours on thousands of
/// interfaces; all sessions may ask for one at the same time, and the watchdog must be fed.
struct SearchLimits {
  std::chrono::milliseconds processor{1000};  ///< Time of the processor, however busy that is.
  std::chrono::milliseconds wait{8000};       ///< Time until the answer is there.
  size_t memory = size_t{256} * 1024 * 1024;  ///< In bytes, beyond what the process has already.
};

/// What `search` returns in a copy of this process, made for it, so that neither its time nor its
/// memory nor a fault of libyang's is this one's. The copy has none of this one's descriptors but
/// standard error, and ends with it. Its end is collected when the call is over.
/// Throws RpcError: resource-denied when the search takes longer than `limits` allow;
/// operation-failed when its process could not be made or ended too soon.
std::string SearchInCopy(const std::function<std::string()>& search, const SearchLimits& limits);

}  // namespace host
