// One daemon works on a network namespace, and one on a state folder.
#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>

namespace host {

/// Claims the process's network namespace and then the folder `state`, which is made, for its owner
/// alone, when it is missing. Claims last until the process ends, however it ends; claiming again
/// changes nothing. Throws std::runtime_error that names the process that has a claim already.
/// What it returns turns away from `loop` who connects only to ask whose the namespace is, and must
/// go before the loop does; null when the claim is not this process's.
///
/// In the namespace a claim is an abstract socket (unix(7)), which anybody may bind: one of a
/// process that could not administer the namespace does not count, and is a fault. A folder that
/// cannot be opened is not claimed, and nothing can be kept there; a record tells.
[[nodiscard]] std::shared_ptr<void> ClaimAlone(const std::string& state,
                                               boost::asio::io_context& loop);

}  // namespace host
