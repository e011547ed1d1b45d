#!/usr/bin/env bash
# 2,000 processes a second that end at once: the exit reports that come are all counted, with the right parent, codes
# and signals; and the CPU time of all processes is accounted for.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

forker=$(dirname -- "$WYRT")/live-forker
[ -x "$forker" ] || { echo "skip new-churn: $forker is not built"; exit 0; }
sandbox=$(mktemp -d) || exit 1
program=
trap '[ -n "$program" ] && kill "$program" 2>/dev/null; rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

# cells KIND FIELD... : these fields of the log's lines of a kind, by the names of its head, with tabs between them.
cells() {
    awk -F, -v kind="$1" -v names="${*:2}" '
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i; n = split(names, wanted, " ") }
        $1 == kind { for (i = 1; i <= n; i++) printf "%s%s", $at[wanted[i]], i < n ? "\t" : "\n" }' log
}

"$WYRT" record proc churn -i 500ms -o log 2>errors &
program=$!
until grep -q ^END,.*,1, log 2>/dev/null; do # something to compare with
    kill -0 "$program" 2>/dev/null || { bad new-churn "the program has ended: $(cat errors)"; exit; }
    sleep 0.1
done
"$forker" 2000 3 >started &
parent=$!
wait "$parent"
sleep 1.2
kill "$program"
wait "$program"
program=
started=$(<started)

read -r forks ended lost < <(cells CHURNS forks ended lost | awk -F '\t' '{ f += $1; e += $2; l += $3 } END { print f, e == "" ? "-" : e, l }')
verdict "new-churn: the kernel counts at least the $started that began" \
    "$([ "${forks:-0}" -ge "$started" ] || echo "$forks forks")"
children=$(cells PROC pid children | awk -F '\t' -v pid="$parent" '$1 == pid { c += $2 } END { print c + 0 }')
echo "# $started processes; their parent's children: $children us"

if [ "$(cells CHURNS ended | tail -n 1)" = "" ]; then
    echo "skip new-churn reports: the kernel does not report here what ends"
    exit 0
fi
[ "$lost" = 0 ] || { echo "skip new-churn reports: $lost times reports were lost"; exit 0; }
# Most are seen by no sample; the others have an EXIT.
read -r unseen failed killed < <(cells CHURN ppid command ended failed killed |
    awk -F '\t' -v pid="$parent" '$1 == pid && $2 == "short" { e += $3; f += $4; k += $5 } END { print e + 0, f + 0, k + 0 }')
read -r seen seenFailed seenKilled < <(cells EXIT ppid name code signal |
    awk -F '\t' -v pid="$parent" '$1 == pid { e++; f += $4 == 0 && $3 > 0; k += $4 > 0 } END { print e + 0, f + 0, k + 0 }')
verdict "new-churn: every process that ended is counted once" \
    "$([ $((unseen + seen)) = "$started" ] || echo "$unseen summed and $seen with a row of their own, of $started")"
verdict "new-churn: by their codes" \
    "$([ $((failed + seenFailed)) = $((started / 10 - started / 100)) ] || echo "$failed and $seenFailed of $started")"
verdict "new-churn: by their signals" \
    "$([ $((killed + seenKilled)) = $((started / 100)) ] || echo "$killed and $seenKilled of $started")"
