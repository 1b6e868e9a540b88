#include "snmp/descriptors.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

namespace host {

void MakeRoomForListeners() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  const int any = eventfd(0, EFD_CLOEXEC);
  if (any >= 0) close(MoveUp(any));
}

/// Other libraries of the process wait with select(2), which ends the process for a descriptor from
/// FD_SETSIZE on. Listeners may be thousands, so they leave the low numbers to the others. Where
/// the limit of descriptors is too low for that, there is no room for thousands either.
int MoveUp(int socket) {
  const int high = fcntl(socket, F_DUPFD_CLOEXEC, FD_SETSIZE);
  if (high < 0) return socket;
  close(socket);
  return high;
}

}  // namespace host
