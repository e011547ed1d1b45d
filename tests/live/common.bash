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

# growth FILE NAME:MORE...: prints which columns of a file of measurements have grown. The first column is not looked at;
# the others have these names, and may grow by a hundredth and MORE. The first samples allocate the buffers, and one that
# is larger than all before may enlarge them. So the largest value of the second quarter is compared with the smallest of
# the last.
growth() {
    local file=$1
    shift
    printf '%s\n' "$@" | awk '
        FNR == NR { split($0, column, ":"); names[NR] = column[1]; more[NR] = column[2]; columns = NR; next }
        { rows++; for (i = 1; i <= columns; i++) value[i, rows] = $(i + 1) }
        END {
            if (rows < 4) print "not measured"
            for (i = 1; i <= columns; i++) {
                most = 0; least = ""
                for (k = int(rows / 4) + 1; k <= rows / 2; k++) if (value[i, k] > most) most = value[i, k]
                for (k = int(rows * 3 / 4) + 1; k <= rows; k++) if (least == "" || value[i, k] < least) least = value[i, k]
                if (least > most * 1.01 + more[i]) print names[i] ": from " most " to " least
            }
        }' - "$file"
}

# server NAME PACKAGE: sets `found` to the path of a program of another package: as it is installed, or taken from
# Debian's package and unpacked beside the program that is tested, so that nothing is installed or started. Empty: there
# is none.
# shellcheck disable=SC2034 # for those that source this file
server() {
    local folder
    found=$(command -v "$1") && return
    folder=$(dirname -- "$WYRT")/servers
    found=$folder/$2/usr/bin/$1
    [ -x "$found" ] && return
    found=
    mkdir -p "$folder" && command -v dpkg-deb >/dev/null && command -v apt-get >/dev/null || return
    (cd "$folder" && apt-get -q download "$2" && dpkg-deb -x "$2"_*.deb "$2" && rm -f "$2"_*.deb) >/dev/null 2>&1
    if [ -x "$folder/$2/usr/bin/$1" ]; then found=$folder/$2/usr/bin/$1; fi
}

# groupFor NAME: sets `group` to a new control group, of version 2 or of version 1's pids. Empty: none can be made.
# shellcheck disable=SC2034
groupFor() {
    local folder
    group=
    for folder in /sys/fs/cgroup /sys/fs/cgroup/pids; do
        if [ -e "$folder/cgroup.procs" ] && mkdir "$folder/wyrt-$1-$$" 2>/dev/null; then group=$folder/wyrt-$1-$$; fi
    done
}

# leaveGroup: ends the jobs of the script, and the group.
leaveGroup() {
    # shellcheck disable=SC2046 # one argument for each process
    kill -9 $(jobs -p) 2>/dev/null
    wait 2>/dev/null
    if [ -n "$group" ]; then rmdir "$group"/* "$group" 2>/dev/null; fi
}
