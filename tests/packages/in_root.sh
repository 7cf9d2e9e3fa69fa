#!/usr/bin/env bash
# Runs a command in a system that is in a folder, as root there. It sees the processes and devices of this
# machine as long as it runs; what is mounted for that is gone with it.
#   in_root.sh FOLDER COMMAND...
set -euo pipefail
root=$1
shift
exec unshare --mount sh -c 'mount -t proc proc "$0/proc" && mount --rbind /sys "$0/sys" &&
  mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"' "$root" env -i \
  PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
