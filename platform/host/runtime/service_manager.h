// What the process tells its service manager; nothing happens without one. See sd_notify(3).
#pragma once

namespace host {

/// The configuration is loaded and applied: the service is up, or up again after a reload.
void NotifyReady();

/// The start-up configuration is being read again.
void NotifyReloading();

/// The process is on its way out.
void NotifyStopping();

}  // namespace host
