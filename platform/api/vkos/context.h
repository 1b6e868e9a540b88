// The process context: what the middleware keeps for one process.
#pragma once

#include <memory>

#include "vkmw/vkmw.h"
#include "vkos/callback.h"

namespace vkos {

/// The event loop of the process.
class Server {
 public:
  virtual ~Server() = default;

  /// Runs the loop on the calling thread until the process is asked to end. Every handler, timer
  /// and HA callback is called from here, one at a time. An exception that leaves a handler while
  /// it is being connected leaves Run, too.
  virtual void Run() = 0;
};

class Context {
 public:
  /// Called when the node's high-availability role changes; null entries are skipped.
  struct HaStateChangeCallbacks {
    Callback* go_active;
    Callback* go_standby;
    Callback* reserved[3];
  };

  /// Brings the process up. Both records are copied; the callbacks stay the caller's and outlive
  /// the context's server run. When the process cannot be brought up, it throws
  /// std::exception, or ends the process with a fault.
  Context(const vkmw_process_signature_t* signature, const HaStateChangeCallbacks* callbacks);
  ~Context();

  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  /// The middleware handle; owned by the context.
  vkmw_t* GetVkmw();

  /// The event loop; owned by the context.
  Server& GetServer();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The one context of the process. Whoever installs another destroys the one before.
extern std::unique_ptr<Context> the_context;

}  // namespace vkos
