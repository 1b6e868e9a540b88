#include "runtime/service_manager.h"

#include <systemd/sd-daemon.h>

namespace host {

void NotifyReady() { sd_notify(0, "READY=1"); }

void NotifyReloading() { sd_notify(0, "RELOADING=1"); }

void NotifyStopping() { sd_notify(0, "STOPPING=1"); }

}  // namespace host
