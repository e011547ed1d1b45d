#!/usr/bin/env bash
# The page of wyrt chart in Chromium: no error, no request, zoom, links, keyboard, touch, hostile names, logs of every length.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
maker=${wyrt%/*}/live-logmaker
skip() {
    echo "skip chart: $1"
    exit 0
}
[ -x "${wyrt%/*}/wyrtlog" ] || skip 'wyrtlog is not beside wyrt'
[ -x "$maker" ] || skip 'live-logmaker is not beside wyrt'
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

why=
for log in quiet one none hostile year; do
    "$maker" "$log" >"$log.wyrt" || exit 1
    "$wyrt" chart "$log.wyrt" -o "$log.html" >out 2>err </dev/null
    status=$?
    expected=0
    [[ $log == none ]] && expected=1
    ((status == expected)) || why="$log: status $status, said $(<err)"
    [[ -s out || $log != none && -s err ]] && why="$log: said $(<out) $(<err)"
done
verdict 'pages of five logs' "$why"

why=
(($(stat -c %s year.html) < 6000000)) || why="$(stat -c %s year.html) bytes"
verdict 'the size of a year' "$why"

chromium=$(command -v chromium) || chromium=$(command -v chromium-browser) || skip 'there is no chromium'
[ -x /usr/bin/python3 ] || skip 'there is no /usr/bin/python3'
timeout 150 /usr/bin/python3 "$here/browser.py" "$chromium" test "$sandbox" 2>err || bad 'the browser' "$(tail -n 1 err)"

# Five times what docs/performance.md promises, of CPU time where that can be: other tests may run at the same time.
"$maker" day >day.wyrt || exit 1
took=$({ TIMEFORMAT='%U %S' && time "$wyrt" chart day.wyrt -o day.html >/dev/null; } 2>&1)
rm day.wyrt
why=
awk '{ exit !(NF == 2 && $1 + $2 <= 15) }' <<<"$took" || why="CPU time to write it: $took"
(($(stat -c %s day.html) <= 6000000)) || why="$(stat -c %s day.html) bytes"
verdict 'a day of a busy server' "$why"
why=
read -r shown zoomed < <(timeout 60 /usr/bin/python3 "$here/browser.py" "$chromium" time day.html 2>err)
[[ ${shown:-} && $((10#${shown/./})) -le 5000 ]] || why="the first chart after ${shown:-} s $(tail -n 1 err)"
[[ ${zoomed:-} && $((10#${zoomed/./})) -le 500 ]] || why="a zoom takes ${zoomed:-} s"
verdict 'how long the browser takes for it' "$why"
