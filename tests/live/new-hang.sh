#!/usr/bin/env bash
# A filesystem whose server never answers: `wyrt live fs` stays on its grid, says since when it is stuck, and ends at once
# when it is told to.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

command -v python3 >/dev/null || { echo 'skip new-hang: there is no python3'; exit 0; }
if ! [ -w /dev/fuse ] || ! grep -qw fuse /proc/filesystems; then
    echo 'skip new-hang: FUSE cannot be used here'
    exit 0
fi
in_namespaces new-hang

sandbox=$(mktemp -d) || exit 1
server=
finish() {
    umount -l "$sandbox/dead"
    if [ -n "$server" ]; then kill -9 "$server" && wait "$server"; fi
    rm -rf "$sandbox"
} 2>/dev/null
trap finish EXIT
cd "$sandbox" || exit 1
mkdir dead

# Holds the kernel's side of a FUSE filesystem open and reads nothing from it.
cat >server.py <<'EOF'
import ctypes, os, sys, time
libc = ctypes.CDLL(None, use_errno=True)
fd = os.open("/dev/fuse", os.O_RDWR)
options = "fd=%d,rootmode=40000,user_id=0,group_id=0,allow_other" % fd
if libc.mount(b"dead", sys.argv[1].encode(), b"fuse", 0, options.encode()) != 0:
    sys.exit(os.strerror(ctypes.get_errno()))
print("mounted", flush=True)
time.sleep(60)
EOF
python3 server.py "$sandbox/dead" >mounted 2>said &
server=$!
for ((tries = 0; tries < 100; tries++)); do
    [ -s mounted ] && break
    kill -0 "$server" 2>/dev/null || break
    sleep 0.05
done
[ -s mounted ] || { echo "skip new-hang: no filesystem can be mounted: $(<said)"; exit 0; }

"$WYRT" record fs self -i 200ms -o log >out 2>err </dev/null &
program=$!
sleep 4
began=$(date +%s%N)
kill -INT "$program"
wait "$program"
status=$?
took=$((($(date +%s%N) - began) / 1000000))
why=
((status == 0)) || why="status $status: $(<err)"
((took < 1000)) || why="it ended after $took ms"
verdict 'it ends at once' "$why"

# cells KIND FIELD... : these fields of the log's lines of a kind, by the names of its head.
cells() {
    awk -F, -v kind="$1" -v names="${*:2}" '
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i; n = split(names, wanted, " ") }
        $1 == kind { for (i = 1; i <= n; i++) printf "%s%s", $at[wanted[i]], i < n ? " " : "\n" }' log
}
why=$(cells SELF late skipped | awk '{ n++; if ($1 > 100000 || $2 > 0) late++ }
    END { if (n < 15) print n " intervals in 4 s"; if (late > 2) print late " of " n " late" }')
verdict 'samples stay on their grid' "$why"
why=
[ "$(cells FS mount stuck | awk -v at="$sandbox/dead" '$1 == at && $2 != ""' | wc -l)" -gt 0 ] ||
    why="no row says since when: $(cells FS mount stuck | tail -n 3)"
verdict 'its row says since when it is stuck' "$why"
"$WYRT" live fs -c 1 -i 1500ms >out 2>err </dev/null
why=
grep -q 'stuck since' out || why="$(tail -n 3 out)"
verdict 'and so does the table' "$why"
