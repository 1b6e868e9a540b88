// Room for the sockets of thousands of listeners.
#pragma once

namespace host {

/// Raises the process's soft limit of descriptors to the hard one, and has the kernel make room for
/// the first listeners' numbers. A table that threads share grows only after a wait for all
/// processors (11 ms were seen), so this is called before there is a second thread. What the system
/// refuses here, it refuses again, and with a reason, to a listener.
void MakeRoomForListeners();

/// Moves a socket to a number that select(2) of other libraries does not reach, FD_SETSIZE or more;
/// returns the number, which is the one of before where there is no such room.
int MoveUp(int socket);

}  // namespace host
