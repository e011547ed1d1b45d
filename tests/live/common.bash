# shellcheck shell=bash
# Shared by the live runs, which source it.

ok() { echo "ok $1"; }
bad() { echo "not ok $1: $2"; }

# verdict NAME WHY: ok when WHY is empty; otherwise prints its first line as the reason.
verdict() {
    if [ -z "$2" ]; then ok "$1"; else bad "$1" "${2%%$'\n'*}"; fi
}

# in_namespaces NAME: starts the script again in its own mount, network and process namespaces. There no other program
# interferes, and its mounts end with it. When no namespaces can be made, the run is skipped.
in_namespaces() {
    local user
    [ -z "${WYRT_LIVE_INSIDE:-}" ] || return 0
    for user in --mount-proc --map-root-user; do # the second is for an ordinary user who may make a user namespace
        if unshare "$user" --mount --net --pid --fork --mount-proc true 2>/dev/null; then
            WYRT_LIVE_INSIDE=1 exec unshare "$user" --mount --net --pid --fork --kill-child --mount-proc bash "$0"
        fi
    done
    echo "skip $1: no namespaces can be made"
    exit 0
}
