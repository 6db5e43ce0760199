#!/bin/sh
# Runs the Avahi network test against a private Avahi daemon and system bus in
# private mount and network namespaces, unseen by the machine's own daemons.
# A veth pair gives the daemon two multicast-capable interfaces on one link (it
# ignores loopback), on which each service is seen twice.
# Usage: avahi-netns-test.sh <test binary> [gtest arguments...]; exits 77
# (skipped) where namespaces, root or the daemons are missing.
set -u

skip() { echo "SKIPPED: $*"; exit 77; }

probe=${1:?usage: $0 <test binary> [gtest arguments...]}
shift
PATH=$PATH:/usr/sbin:/sbin

if [ "${JW_AVAHI_NETNS_INSIDE:-}" != 1 ]; then
    [ "$(id -u)" = 0 ] || skip "needs root to make network namespaces"
    for tool in unshare ip mount dbus-daemon avahi-daemon; do
        command -v "$tool" >/dev/null 2>&1 || skip "$tool is not installed"
    done
    unshare -m -n true 2>/dev/null || skip "unshare -m -n is not permitted here"
    JW_AVAHI_NETNS_INSIDE=1 exec unshare -m -n "$0" "$probe" "$@"
fi

# From here on, inside the namespaces.
work=$(mktemp -d)
bus_pid= avahi_pid=

cleanup() {
    status=$?
    [ -n "$avahi_pid" ] && kill "$avahi_pid" 2>/dev/null && wait "$avahi_pid" 2>/dev/null
    # The test may have restarted the daemon on its own; its pid file tells.
    avahi-daemon --kill 2>/dev/null
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null
    [ "$status" != 0 ] && [ "$status" != 77 ] && echo "--- avahi-daemon log" && cat "$work/avahi.log" 2>/dev/null
    umount /run 2>/dev/null
    rm -rf "$work"
    exit "$status"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

# Mounts made here must not reach the machine.
mount --make-rprivate / || exit 1
# A fresh /run hides the machine's bus and daemon sockets from everything here.
mount -t tmpfs -o mode=755 jw-run /run || exit 1
mkdir -p /run/dbus /run/avahi-daemon

ip link set lo up
ip link add v0 type veth peer name v1 2>/dev/null || skip "cannot make a veth pair"
ip addr add 10.231.0.1/24 dev v0
ip addr add 10.231.0.2/24 dev v1
ip link set v0 up
ip link set v1 up

cat >"$work/bus.conf" <<'EOF'
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/> <allow own="*"/> <allow send_destination="*"/> <allow receive_sender="*"/>
  </policy>
</busconfig>
EOF
dbus-daemon --config-file="$work/bus.conf" --fork --nopidfile --print-pid=3 3>"$work/bus.pid" || exit 1
bus_pid=$(cat "$work/bus.pid")
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket

cat >"$work/avahi.conf" <<'EOF'
[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=v0,v1
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
EOF
# Started when the test asks for it (or after 30 s): the test must pick it
# up when it appears.
ready="$work/start-daemon"
(
    i=0
    while [ ! -e "$ready" ] && [ "$i" -lt 300 ]; do
        sleep 0.1
        i=$((i + 1))
    done
    exec avahi-daemon -f "$work/avahi.conf" --no-drop-root --no-chroot --no-rlimits --no-proc-title
) >"$work/avahi.log" 2>&1 &
avahi_pid=$!

JW_AVAHI_NETNS=1 JW_AVAHI_START_DAEMON="$ready" JW_AVAHI_CONFIG="$work/avahi.conf" "$probe" "$@"
