// The framework's side of the application: what was registered, start and commits.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "confd/fake_database.h"
#include "vkconfd/base_handler.h"
#include "vkconfd/config_handler.h"
#include "vkconfd/data_handler.h"
#include "vkmw/vkmw.h"

namespace fake {

/// What an application interface was made with.
struct Registration {
  vkmw_t* vkmw;
  zlog_category_s* log_category;
  std::string name;
  std::vector<vkconfd::ConfigHandler*> config_handlers;
  std::vector<vkconfd::ActionHandler*> action_handlers;
  std::vector<vkconfd::DataHandler*> data_handlers;
  ELEM_CONFD_PHASE_ET phase;
  int argument;
};

class Framework {
 public:
  /// Connects the handlers of the live application interface, and has each configuration handler
  /// load and apply. Nothing without one. What a handler throws passes.
  void Connect();

  /// One commit: `edit` changes a copy of the running configuration, which is then in force, and
  /// the differences are delivered to the live application interface's handlers. What a handler
  /// throws becomes a fault.
  void Commit(const std::function<void(Database&)>& edit);

  /// One transaction: `edit` changes its candidate, the data handlers of the live application
  /// interface are called, and then the candidate is committed as by Commit. False, with nothing
  /// committed, when a callback refused.
  bool Transact(const std::function<void(Database&)>& edit);

  /// For the application interface.
  void Register(const Registration& registration);
  void Unregister();

  /// Forgets the records, except that of an application interface that is still there.
  void Reset() {
    registrations.erase(registrations.begin(),
                        live_ ? registrations.end() - 1 : registrations.end());
  }

  bool HasApp() const { return live_; }

  /// Every application interface that there was, newest last.
  std::vector<Registration> registrations;

 private:
  template <typename Operation>
  void ForEachHandler(Operation operation);

  bool live_ = false;       ///< The last of the registrations is still there.
  bool connected_ = false;  ///< Its handlers have been connected.
};

}  // namespace fake
