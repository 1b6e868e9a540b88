#!/usr/bin/env bash
# confine.sh ROOT CAPABILITIES FOLDER COMMAND...: runs a command as the unit file has the daemon run:
# as its user, with these capabilities and no others, folders like the service manager's, the rest of
# the file system and /proc/sys read-only. FOLDER, with the notification socket, is seen at /mnt.
# To be run in a mount namespace of its own.
set -euo pipefail
root=$1 capabilities=$2 folder=$3
shift 3

mount --bind "$folder" "$root/mnt"
for writable in /var/lib/snmp-app /run/snmp-app; do
  install -d -o "$(chroot "$root" id -u snmp-app)" -g "$(chroot "$root" id -g snmp-app)" -m 700 \
    "$root$writable"
  mount --bind "$root$writable" "$root$writable"
done
mount --bind "$root/etc/snmp-app" "$root/etc/snmp-app"
mount --bind "$root/proc/sys" "$root/proc/sys"
mount -o remount,bind,ro "$root/proc/sys"
mount -o remount,bind,ro "$root"

exec chroot "$root" env -u SNMP_APP_MODELS CONFIGURATION_DIRECTORY=/etc/snmp-app \
  STATE_DIRECTORY=/var/lib/snmp-app RUNTIME_DIRECTORY=/run/snmp-app NOTIFY_SOCKET=/mnt/notify \
  setpriv --reuid snmp-app --regid snmp-app --clear-groups --no-new-privs \
  --bounding-set "-all,$capabilities" --inh-caps "-all,$capabilities" \
  --ambient-caps "-all,$capabilities" -- "$@"
