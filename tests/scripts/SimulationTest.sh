#!/bin/bash
# That the number of a simulated history repeats it, call by call, wherever in a series it stands; that histories which
# once failed do so no more; and that the checker sees what is planted for it.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
simulation=${ZEL_BUILD_DIR:-$root/build/debug}/bin/simulation
[[ -x $simulation ]] || { echo "there is no $simulation"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

for manner in linux windows; do
    "$simulation" --manner "$manner" --seed 12 --trace >"$work/once" || true
    "$simulation" --manner "$manner" --seed 12 --trace >"$work/again" || true
    lines=$(grep -n '^history 12$' "$work/once" | cut -d: -f1)
    (($(wc -l <"$work/once") > lines + 100)) || { echo "$manner: the history has no calls"; exit 1; }
    cmp <(sed 's/, [0-9.]* s$//' "$work/once") <(sed 's/, [0-9.]* s$//' "$work/again")

    "$simulation" --manner "$manner" --seed 9 --histories 4 --trace >"$work/series" || true
    cmp <(sed -n '/^history 12$/,/^sum/p' "$work/once") <(sed -n '/^history 12$/,/^sum/p' "$work/series")
    ! cmp -s <(sed -n '/^history 11$/,/^sum/p' "$work/series" | tail -n +2) \
        <(sed -n '/^history 12$/,/^sum/p' "$work/series" | tail -n +2) || { echo "$manner: seeds make no difference"; exit 1; }
done

failures=0
while read -r line; do
    [[ $line == '#'* ]] && continue
    read -ra arguments <<<"$line"
    "$simulation" "${arguments[@]}" || failures=1
done <"$root/tests/simulation/seeds.txt"

for fault in lost-notice hidden-name move-copies move-in-parts failure-hidden short-write hold-ignored hold-kept \
    removal-undone status-too-early file-not-synced names-not-synced; do
    code=0
    power=()
    [[ $fault != *-not-synced ]] || power=(--power)
    "$simulation" --histories 10000 "${power[@]}" --planted "$fault" >"$work/planted" || code=$?
    if ((code != 1)) || ! grep -q -- "--planted $fault --seed" "$work/planted"; then
        echo "not found: $fault"
        failures=1
    fi
done
exit "$failures"
