// Hooks that write down what they are told and do what a test gives them, and an engine with them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "config/engine.h"
#include "runtime/process.h"
#include "support.h"

namespace host::test {

class Recorder : public host::Hooks {
 public:
  /// What a hook does in a call, for example with the handle of its transaction.
  using Action = std::function<int(int handle, const host::HookCall& call)>;

  int Begin(host::Transaction* transaction) override;
  void End(host::Transaction* transaction) override;
  int Call(host::Transaction* transaction, const host::HookCall& call) override;

  std::vector<std::string> calls;  ///< "created /path", "set /path = value", "removed /path".
  Action action;                   ///< Done in each call; may be empty.
  int begin_result = CONFD_OK;
};

/// The path of the entry of the list of listening interfaces with a name.
std::string ListenPath(const std::string& name);

/// The name of the entry that a call is about.
std::string NameOf(const host::HookCall& call);

/// JSON of the device's models: listening interfaces {name, port}, agent settings beside them.
std::string ListenJson(const std::vector<std::pair<std::string, int>>& rows,
                       const std::string& settings = "");

/// Creates and deletes 0.0.0.0:6NNNN for each entry, with its redirect port, as the daemon does.
int FollowWithExtraEntries(int handle, const host::HookCall& call);

/// An engine with a recorder, which the calls of platform/api work on as long as it lives.
class HookedEngine {
 public:
  explicit HookedEngine(const TestFolder& folder);

  host::CommitResult Replace(const std::string& json);
  std::string RunningText() const { return host::PrintTree(engine.Running().get()); }

  const TestFolder& folder;
  Recorder hooks;
  std::vector<std::string> delivered;  ///< Changes of the last delivery at the agent's settings.
  host::Process process;
  host::Engine engine;
};

}  // namespace host::test
