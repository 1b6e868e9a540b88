// Delivery of a commit's changes to the configuration handlers.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "delivery/change.h"
#include "vkconfd/config_handler.h"

namespace common {

/// Told of an exception that left a handler: what was being done, and the exception's text.
using HandlerFailed = std::function<void(const std::string& operation, const std::string& reason)>;

/// Delivers `changes` to every touched subscription point of `handlers`, in order of priority
/// (lower first; equal: order of registration). A handler's StartCommit comes before its first
/// callback, its ApplyCommitConfig after its last. The commit is in force already, so an exception
/// of one callback is told to `failed` and the delivery goes on. std::bad_alloc goes to the caller:
/// what was left half done for want of memory is not done by the next commit either.
void Deliver(std::vector<Change>& changes, const std::vector<vkconfd::ConfigHandler*>& handlers,
             const HandlerFailed& failed);

}  // namespace common
