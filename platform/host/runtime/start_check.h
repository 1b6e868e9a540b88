// What an executable wants done before its process is brought up.
#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>

namespace host {

/// May end the process. What it returns, null too, is kept as long as `loop`, and goes before it.
using StartCheck = std::function<std::shared_ptr<void>(boost::asio::io_context& loop)>;

/// Set before main(), when there is no context yet, and in force for each that is made.
void SetStartCheck(StartCheck check);

/// Runs it; null when none is set.
std::shared_ptr<void> RunStartCheck(boost::asio::io_context& loop);

}  // namespace host
