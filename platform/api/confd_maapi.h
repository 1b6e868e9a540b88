// Declarations of what the program uses of ConfD's management agent API, MAAPI.
#pragma once

#include "confd_lib.h"

extern "C" {

/// Listener numbers of maapi_rebind_listener().
enum {
  CONFD_LISTENER_SNMP = 4  ///< The SNMP agent's UDP listeners.
};

/// Closes and opens listeners anew, so that they match the configuration in force. For SNMP these
/// are the agent's address and port and every entry of the extra list; none while it is disabled.
/// `sock` is a connected MAAPI socket. Returns CONFD_OK when every listener is open, and
/// confd_lasterr() is "" then; else CONFD_ERR with confd_errno CONFD_ERR_EXTERNAL and a text that
/// names the listeners that failed; those that could be opened stay open.
int maapi_rebind_listener(int sock, int listener);

}  // extern "C"
