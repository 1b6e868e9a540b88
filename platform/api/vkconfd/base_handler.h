// What every handler of the program has in common.
#pragma once

/// The framework's connection to ConfD; owned by the application interface.
class VkConfdInterface {
 public:
  virtual ~VkConfdInterface() = default;

  /// A connected socket for maapi_ calls.
  virtual int MaapiSocket() = 0;
};

/// ConfD's start phases. A handler is connected once ConfD reaches the phase it asked for.
enum ELEM_CONFD_PHASE_ET { ELEM_CONFD_PHASE_0 = 0, ELEM_CONFD_PHASE_1 = 1, ELEM_CONFD_PHASE_2 = 2 };

namespace vkconfd {

class BaseHandler {
 public:
  BaseHandler() = default;
  virtual ~BaseHandler() = default;

  BaseHandler(const BaseHandler&) = delete;
  BaseHandler& operator=(const BaseHandler&) = delete;

  /// ConfD has reached `phase` and the handler's connection stands.
  virtual void ConfdConnected(ELEM_CONFD_PHASE_ET /*phase*/) {}

  /// The connection is gone.
  virtual void ConfdDisconnected() {}

  /// Called by the application interface, before ConfdConnected and with null after
  /// ConfdDisconnected. The connection stays the interface's.
  void SetConfdInterface(VkConfdInterface* confd_interface) { confd_interface_ = confd_interface; }

 protected:
  VkConfdInterface* confd_interface_ = nullptr;
};

/// Serves actions that an operator invokes. The program has none.
class ActionHandler : public BaseHandler {};

}  // namespace vkconfd
