# shellcheck shell=bash
# What the live runs share; they source it.

ok() { echo "ok $1"; }
bad() { echo "not ok $1: $2"; }

# verdict NAME WHY: good when there is no reason why not; of several reasons the first is told.
verdict() {
    if [ -z "$2" ]; then ok "$1"; else bad "$1" "${2%%$'\n'*}"; fi
}

# in_namespaces NAME: begins the script anew in mount, network and process namespaces of its own, where nothing but its own
# work happens and what it mounts ends with it; the run is left out where none can be made.
in_namespaces() {
    local user
    [ -z "${WYRT_LIVE_INSIDE:-}" ] || return 0
    for user in --mount-proc --map-root-user; do # the second: an ordinary user that may have a user namespace
        if unshare "$user" --mount --net --pid --fork --mount-proc true 2>/dev/null; then
            WYRT_LIVE_INSIDE=1 exec unshare "$user" --mount --net --pid --fork --kill-child --mount-proc bash "$0"
        fi
    done
    echo "skip $1: no namespaces can be made"
    exit 0
}
